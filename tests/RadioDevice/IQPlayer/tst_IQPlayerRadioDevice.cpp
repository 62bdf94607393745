#include "Core/Worker/DspH/RotatingOscillator.h"

#include "RadioDevice/IQPlayer/PlayerRig.h"
#include "RadioDevice/Watchdog.h"
#include "System/Recording.h"
#include "support/LogCapture.h"

#include <QDir>
#include <QSignalSpy>
#include <QtTest>
#include <cmath>
#include <sys/stat.h>

namespace
{

constexpr int kBlockBytes = 4 * kBlock;

} // namespace

/// What is played, from the header to the loop, and what ends a start.
class tst_IQPlayerRadioDevice : public QObject
{
    Q_OBJECT

private slots:
    void newPlayerHasItsFixedTables();
    void constructionAndDestructionAreLogged();

    void startTakesTheRateOfTheHeaderWithoutTellingIt();
    void startHandsTheRateOfTheHeaderToTheSignalPath();
    void startLogsTheHeader();
    void blockLasts25MsAndIsPaced();
    void restartRereadsTheHeaderAndPlaysFromItsEnd();
    void stopLeavesNoTickBehind();
    void stopOnTheNewsOfTheStartLeavesNoTickBehind();

    void samplesAreLeftThenRightByAScaleOf4096();
    void oscillatorAtRestScalesLikeTheReference();
    void readerTakes16BitPairsWhateverTheHeaderSays_data();
    void readerTakes16BitPairsWhateverTheHeaderSays();
    void swapIQHasNoEffect();

    void tailThatFillsNoBlockIsSkipped_data();
    void tailThatFillsNoBlockIsSkipped();
    void blockAfterTheEndIsTheFirst();
    void fileOfAHeaderAlonePublishesTheOldBlockForEver();
    void fileShorterThanABlockPublishesWhatItHas();
    void fileWithAnOddNumberOfBytesIsPlayed();
    void recordingCutToNothingPlaysNothingUntilItHoldsSamplesAgain_data();
    void recordingCutToNothingPlaysNothingUntilItHoldsSamplesAgain();
    void recordingCutToNothingIsNoData();
    void fileThatShrinksWhilePlayingIsSurvived_data();
    void fileThatShrinksWhilePlayingIsSurvived();
    void fileThatGrowsWhilePlayingIsPlayedToItsNewEnd();
    void fileThatVanishesPlaysOnAndFailsAtTheNextStart();
    void fileBeyondTwoGigabytesIsPlayed();

    void missingFileEndsTheStart();
    void folderNamedLikeARecordingEndsTheStart();
    void whatIsNoRegularFileEndsTheStartAtOnce_data();
    void whatIsNoRegularFileEndsTheStartAtOnce();
    void unreadableFileEndsTheStart();
    void fileShorterThanAHeaderEndsTheStart_data();
    void fileShorterThanAHeaderEndsTheStart();
    void playerThatFailedCanBeStartedOnceTheFileIsThere();
    void headerThatLiesIsPlayedAllTheSame_data();
    void headerThatLiesIsPlayedAllTheSame();

private:
    PlayerRig m_rig;
};

void tst_IQPlayerRadioDevice::newPlayerHasItsFixedTables()
{
    const auto player = PlayerRig::make(QStringLiteral("/a.wav"));
    QCOMPARE(player->type(), 0);
    QCOMPARE(player->supportSampleRates(), QStringList{QStringLiteral("48000")});
    QCOMPARE(player->supportFrequencies(), (QStringList{QStringLiteral("14000"), QStringLiteral("14500")}));
    QCOMPARE(player->sampleRate(), 48'000.0);
    QCOMPARE(player->frequency(), 14'250'000.0);
    QVERIFY(player->isFrequencySupported(14'000'000.0));
    QVERIFY(player->isFrequencySupported(14'500'000.0));
    QVERIFY(!player->isFrequencySupported(13'999'999.9));
    QVERIFY(!player->isFrequencySupported(14'500'000.1));
    QCOMPARE(player->blockSize(), 0);
    const auto timers = player->findChildren<QTimer*>(QString(), Qt::FindDirectChildrenOnly);
    QCOMPARE(timers.size(), 1);
    QCOMPARE(timers.constFirst()->timerType(), Qt::PreciseTimer);
    QCOMPARE(timers.constFirst()->interval(), 25);
    QVERIFY(!timers.constFirst()->isActive());
    // It adds no properties.
    QCOMPARE(player->metaObject()->propertyCount(), AbstractRadioDevice::staticMetaObject.propertyCount());
}

void tst_IQPlayerRadioDevice::constructionAndDestructionAreLogged()
{
    LogCapture log;
    auto player = PlayerRig::make(QStringLiteral("/a.wav"));
    QCOMPARE(log.texts().constLast(), QStringLiteral("Construct class .. IQPlayerRadioDevice"));
    log.clear();
    player.reset();
    QCOMPARE(log.texts().constFirst(), QStringLiteral("Destruct class .. IQPlayerRadioDevice"));
}

void tst_IQPlayerRadioDevice::startTakesTheRateOfTheHeaderWithoutTellingIt()
{
    const auto player = PlayerRig::make(m_rig.put(wavHeader(0, 96'000)));
    QSignalSpy sampleRateChanged(player.get(), &AbstractRadioDevice::sampleRateChanged);
    QVERIFY(player->start(false));
    QCOMPARE(player->sampleRate(), 96'000.0);
    QVERIFY(sampleRateChanged.isEmpty());
    player->stop();
    QCOMPARE(player->sampleRate(), 96'000.0);
}

void tst_IQPlayerRadioDevice::startHandsTheRateOfTheHeaderToTheSignalPath()
{
    const auto player = PlayerRig::make(m_rig.put(wavHeader(0, 96'000)));
    player->setupDspH(24'000.0, 8000.0);
    QSignalSpy outSampleRateChanged(player.get(), &AbstractRadioDevice::outSampleRateChanged);
    QVERIFY(player->start(false));
    QTRY_COMPARE(outSampleRateChanged.size(), 1);
    QCOMPARE(outSampleRateChanged.constFirst().constFirst().toDouble(), 24'000.0);
}

void tst_IQPlayerRadioDevice::startLogsTheHeader()
{
    const QString name = m_rig.put(wavHeader(192'000, 48'000) + QByteArray(192'000, '\0'));
    const auto player = PlayerRig::make(name);
    const LogCapture log;
    QVERIFY(player->start(false));
    const QStringList texts = log.texts();
    QVERIFY2(texts.contains(QStringLiteral("Open file ...  ") + name),
             qPrintable(texts.join(QLatin1Char('\n'))));
    const int at = texts.indexOf(QStringLiteral("Read wav header"));
    QVERIFY(at > 0);
    QCOMPARE(texts.at(at + 1),
             QStringLiteral("chunk size 16 format type code 1 channels 2 sampleRate 48000 192000 4 "
                            "bitsPerSample 16 duration QTime(00:00:02.000) 2"));
}

void tst_IQPlayerRadioDevice::blockLasts25MsAndIsPaced()
{
    const auto player = m_rig.play(PlayerRig::ramp(3 * kBlock));
    QCOMPARE(player->blockSize(), kBlock);
    const auto* timer = player->findChild<QTimer*>(QString(), Qt::FindDirectChildrenOnly);
    QVERIFY(timer->isActive());
    QCOMPARE(timer->interval(), 25);
    QVERIFY(!timer->isSingleShot());
    // The timer is what ticks.
    QTRY_VERIFY(player->inBuffer()->writeIndex >= 2 * kBlock);
}

void tst_IQPlayerRadioDevice::restartRereadsTheHeaderAndPlaysFromItsEnd()
{
    const auto player = m_rig.play(PlayerRig::ramp(3 * kBlock));
    PlayerRig::tick(*player);
    PlayerRig::tick(*player);
    player->stop();
    m_rig.put(wavHeader(0, 12'000) + PlayerRig::ones(kBlock) + PlayerRig::ramp(kBlock));
    QVERIFY(player->start(false));
    QCOMPARE(player->sampleRate(), 12'000.0);
    PlayerRig::tick(*player);
    QVERIFY(std::abs(PlayerRig::lastSamples(*player).front() - 1.0) < 1e-12);
}

void tst_IQPlayerRadioDevice::stopLeavesNoTickBehind()
{
    const auto player = m_rig.play(PlayerRig::ramp(kBlock));
    player->stop();
    QCOMPARE(player->state(), Worker::STOPPED);
    QVERIFY(!player->findChild<QTimer*>(QString(), Qt::FindDirectChildrenOnly)->isActive());
}

void tst_IQPlayerRadioDevice::stopOnTheNewsOfTheStartLeavesNoTickBehind()
{
    const auto player = PlayerRig::make(m_rig.put(wavHeader(0, 48'000) + PlayerRig::ones(kBlock)));
    connect(player.get(), &Worker::started, player.get(), &Worker::stop);
    QVERIFY(player->start(false));
    QCOMPARE(player->state(), Worker::STOPPED);
    QVERIFY(!player->findChild<QTimer*>(QString(), Qt::FindDirectChildrenOnly)->isActive());
}

void tst_IQPlayerRadioDevice::samplesAreLeftThenRightByAScaleOf4096()
{
    QByteArray data(kBlockBytes, '\0');
    data.replace(0, 8,
                 QByteArray::fromHex("0080ff7f"
                                     "0100ffff"));
    const auto player = m_rig.play(data);
    PlayerRig::tick(*player);
    const PlayerRig::Samples samples = PlayerRig::lastSamples(*player);
    // Full scale is 8; an oscillator at rest turns nothing.
    QCOMPARE(samples[0].real(), -8.0);
    QCOMPARE(samples[0].imag(), 32767.0 / 4096.0);
    QVERIFY(std::abs(samples[1] - std::complex<double>(1.0 / 4096.0, -1.0 / 4096.0)) < 1e-4);
}

void tst_IQPlayerRadioDevice::oscillatorAtRestScalesLikeTheReference()
{
    const auto player = m_rig.play(PlayerRig::ramp(kBlock));
    PlayerRig::tick(*player);
    std::vector<DoubleComplex> expected(kBlock);
    for (int i = 0; i < kBlock; ++i) {
        expected[static_cast<std::size_t>(i)] = {(1 + 2 * i) / 4096.0, (2 + 2 * i) / 4096.0};
    }
    RotatingOscillator oscillator;
    oscillator.setSampleRate(48'000.0);
    oscillator.process(expected.data(), kBlock);
    const PlayerRig::Samples samples = PlayerRig::lastSamples(*player);
    for (std::size_t i = 0; i < kBlock; ++i) {
        QCOMPARE(samples[i].real(), expected[i].re);
        QCOMPARE(samples[i].imag(), expected[i].im);
    }
}

void tst_IQPlayerRadioDevice::readerTakes16BitPairsWhateverTheHeaderSays_data()
{
    QTest::addColumn<int>("channels");
    QTest::addColumn<int>("bits");
    QTest::newRow("one channel") << 1 << 16;
    QTest::newRow("8 bits") << 2 << 8;
    QTest::newRow("24 bits in six channels") << 6 << 24;
    QTest::newRow("nothing") << 0 << 0;
}

void tst_IQPlayerRadioDevice::readerTakes16BitPairsWhateverTheHeaderSays()
{
    QFETCH(int, channels);
    QFETCH(int, bits);
    const auto player = PlayerRig::make(
        m_rig.put(wavHeader(kBlockBytes, 48'000, static_cast<quint16>(channels), static_cast<quint16>(bits)) +
                  PlayerRig::ramp(kBlock)));
    QVERIFY(player->start(false));
    PlayerRig::tick(*player);
    const PlayerRig::Samples samples = PlayerRig::lastSamples(*player);
    QCOMPARE(samples[0].real(), 1.0 / 4096.0);
    QCOMPARE(samples[0].imag(), 2.0 / 4096.0);
    QCOMPARE(player->inBuffer()->writeIndex, kBlock);
}

void tst_IQPlayerRadioDevice::swapIQHasNoEffect()
{
    const auto player = m_rig.play(PlayerRig::ramp(kBlock));
    player->setSwapIQ(true);
    PlayerRig::tick(*player);
    QCOMPARE(PlayerRig::lastSamples(*player)[0].real(), 1.0 / 4096.0);
}

void tst_IQPlayerRadioDevice::tailThatFillsNoBlockIsSkipped_data()
{
    QTest::addColumn<int>("tail"); // bytes
    QTest::newRow("one byte") << 1;
    QTest::newRow("one sample") << 4;
    QTest::newRow("all but one byte") << kBlockBytes - 1;
}

void tst_IQPlayerRadioDevice::tailThatFillsNoBlockIsSkipped()
{
    QFETCH(int, tail);
    const auto player = m_rig.play(PlayerRig::ramp(2 * kBlock) + QByteArray(tail, '\x7f'));
    const LogCapture log;
    for (int pass = 0; pass < 3; ++pass) {
        PlayerRig::tick(*player);
        QVERIFY(std::abs(PlayerRig::lastSamples(*player)[0] - std::complex<double>(1, 2) / 4096.0) < 1e-4);
        PlayerRig::tick(*player);
        QVERIFY(std::abs(PlayerRig::lastSamples(*player)[0] - std::complex<double>(2401, 2402) / 4096.0) <
                0.1);
        QCOMPARE(log.texts().count(QStringLiteral("End file.")), pass);
    }
}

void tst_IQPlayerRadioDevice::blockAfterTheEndIsTheFirst()
{
    // A recording of whole blocks loses nothing.
    const auto player = m_rig.play(PlayerRig::ramp(2 * kBlock));
    const LogCapture log;
    PlayerRig::tick(*player);
    PlayerRig::tick(*player);
    QVERIFY(!log.texts().contains(QStringLiteral("End file.")));
    PlayerRig::tick(*player);
    QCOMPARE(log.texts().count(QStringLiteral("End file.")), 1);
    QVERIFY(std::abs(PlayerRig::lastSamples(*player)[0] - std::complex<double>(1, 2) / 4096.0) < 1e-4);
    QCOMPARE(player->inBuffer()->writeIndex, 3 * kBlock);
}

void tst_IQPlayerRadioDevice::fileOfAHeaderAlonePublishesTheOldBlockForEver()
{
    const auto player = m_rig.play({});
    QVERIFY(player->running());
    const LogCapture log;
    for (int i = 1; i <= 3; ++i) {
        PlayerRig::tick(*player);
        QCOMPARE(player->inBuffer()->writeIndex, i * kBlock);
        QCOMPARE(log.texts().count(QStringLiteral("End file.")), i);
    }
    QCOMPARE(PlayerRig::lastSamples(*player)[0], std::complex<double>(0, 0));
    QCOMPARE(log.texts(QtWarningMsg), QStringList());
}

void tst_IQPlayerRadioDevice::fileShorterThanABlockPublishesWhatItHas()
{
    const auto player = m_rig.play(PlayerRig::ones(10));
    PlayerRig::tick(*player);
    QCOMPARE(player->inBuffer()->writeIndex, kBlock);
    const PlayerRig::Samples samples = PlayerRig::lastSamples(*player);
    QVERIFY(std::abs(samples[9]) > 0.9);
    QCOMPARE(samples[10], std::complex<double>(0, 0));
    PlayerRig::tick(*player);
    QVERIFY(std::abs(PlayerRig::lastSamples(*player)[0]) > 0.9);
}

void tst_IQPlayerRadioDevice::fileWithAnOddNumberOfBytesIsPlayed()
{
    const auto player = m_rig.play(PlayerRig::ones(10) + "abc");
    PlayerRig::tick(*player);
    const PlayerRig::Samples samples = PlayerRig::lastSamples(*player);
    QVERIFY(std::abs(samples[9]) > 0.9);
    QCOMPARE(samples[10], std::complex<double>(0, 0));
}

void tst_IQPlayerRadioDevice::recordingCutToNothingPlaysNothingUntilItHoldsSamplesAgain_data()
{
    QTest::addColumn<int>("size");
    QTest::newRow("to nothing") << 0;
    QTest::newRow("into the header") << 20;
    QTest::newRow("to the header") << 44;
    QTest::newRow("short of a sample") << 47;
}

void tst_IQPlayerRadioDevice::recordingCutToNothingPlaysNothingUntilItHoldsSamplesAgain()
{
    QFETCH(int, size);
    const auto player = m_rig.play(PlayerRig::ones(20 * kBlock));
    PlayerRig::tick(*player);
    PlayerRig::tick(*player);
    QVERIFY(QFile::resize(m_rig.path(QStringLiteral("a.wav")), size));
    {
        const LogCapture log;
        for (int i = 0; i < 1000; ++i) {
            PlayerRig::tick(*player);
        }
        QCOMPARE(player->inBuffer()->writeIndex, 2 * kBlock);
        QVERIFY2(log.texts().size() <= 1, qPrintable(log.texts().join(QLatin1Char('\n'))));
    }
    QVERIFY(player->running());
    m_rig.put(wavHeader(0, 48'000) + PlayerRig::ramp(kBlock));
    PlayerRig::tick(*player);
    QCOMPARE(player->inBuffer()->writeIndex, 3 * kBlock);
    QVERIFY(std::abs(PlayerRig::lastSamples(*player)[0] - std::complex<double>(1, 2) / 4096.0) < 1e-3);
}

void tst_IQPlayerRadioDevice::recordingCutToNothingIsNoData()
{
    auto info = QSharedPointer<IQPlayerRadioDevice::DeviceInfo>::create();
    info->identificator = m_rig.put(wavHeader(0, 48'000) + PlayerRig::ones(20 * kBlock));
    const Watchdog watchdog;
    IQPlayerRadioDevice player(info, nullptr, Watchdog::kAtOnce);
    QSignalSpy noData(&player, &AbstractRadioDevice::noData);
    QVERIFY(player.start(false));
    QTRY_VERIFY(watchdog.isCaught());
    PlayerRig::tick(player);
    watchdog.tick();
    QVERIFY(noData.isEmpty());
    QVERIFY(QFile::resize(info->identificator, 44));
    PlayerRig::tick(player);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("No IQ data - stop!$")));
    watchdog.tick();
    QCOMPARE(noData.size(), 1);
    player.stop();
}

void tst_IQPlayerRadioDevice::fileThatShrinksWhilePlayingIsSurvived_data()
{
    QTest::addColumn<int>("size");
    QTest::newRow("to one sample") << 48;
    QTest::newRow("into the first block") << 444;
    QTest::newRow("behind the reader") << 44 + kBlockBytes;
}

void tst_IQPlayerRadioDevice::fileThatShrinksWhilePlayingIsSurvived()
{
    QFETCH(int, size);
    const auto player = m_rig.play(PlayerRig::ones(20 * kBlock));
    for (int i = 0; i < 10; ++i) {
        PlayerRig::tick(*player);
    }
    QVERIFY(QFile::resize(m_rig.path(QStringLiteral("a.wav")), size));
    for (int i = 11; i <= 20; ++i) {
        PlayerRig::tick(*player);
        QCOMPARE(player->inBuffer()->writeIndex, i * kBlock);
    }
    QVERIFY(player->running());
}

void tst_IQPlayerRadioDevice::fileThatGrowsWhilePlayingIsPlayedToItsNewEnd()
{
    const auto player = m_rig.play(PlayerRig::ones(kBlock));
    QFile file(m_rig.path(QStringLiteral("a.wav")));
    QVERIFY(file.open(QIODevice::Append));
    file.write(PlayerRig::ramp(kBlock));
    file.close();
    const LogCapture log;
    PlayerRig::tick(*player);
    PlayerRig::tick(*player);
    QVERIFY(!log.texts().contains(QStringLiteral("End file.")));
    QVERIFY(std::abs(PlayerRig::lastSamples(*player)[0] - std::complex<double>(1, 2) / 4096.0) < 1e-3);
}

void tst_IQPlayerRadioDevice::fileThatVanishesPlaysOnAndFailsAtTheNextStart()
{
    const auto player = m_rig.play(PlayerRig::ones(2 * kBlock));
    QVERIFY(QFile::remove(m_rig.path(QStringLiteral("a.wav"))));
    PlayerRig::tick(*player);
    PlayerRig::tick(*player);
    PlayerRig::tick(*player);
    QCOMPARE(player->inBuffer()->writeIndex, 3 * kBlock);
    player->stop();
    QSignalSpy errorHappen(player.get(), &Worker::errorHappen);
    const LogCapture log;
    player->start(false);
    QCOMPARE(errorHappen.size(), 1);
    QVERIFY(!player->running());
}

void tst_IQPlayerRadioDevice::fileBeyondTwoGigabytesIsPlayed()
{
    const QString name = m_rig.put(wavHeader(0xFFFFFFFF, 48'000) + PlayerRig::ones(kBlock));
    if (!QFile::resize(name, 5'000'000'044LL)) {
        QSKIP("This file system has no files with holes of 5 GB");
    }
    const auto player = PlayerRig::make(name);
    const LogCapture log;
    QVERIFY(player->start(false));
    QVERIFY(log.texts().join(QLatin1Char('\n')).contains(QLatin1String(" 44739"))); // seconds
    PlayerRig::tick(*player);
    QVERIFY(std::abs(PlayerRig::lastSamples(*player)[0] - 1.0) < 1e-12);
    PlayerRig::tick(*player);
    QCOMPARE(PlayerRig::lastSamples(*player)[0], std::complex<double>(0, 0));
    QVERIFY(!log.texts().contains(QStringLiteral("End file.")));
}

namespace
{

// What a start that fails leaves: one error, one warning with the same text, a stopped device.
void verifyFailedStart(IQPlayerRadioDevice& player, const QString& text)
{
    QStringList errors;
    QObject context;
    QObject::connect(&player, &Worker::errorHappen, &context, [&](const QString& e) { errors.append(e); });
    QSignalSpy stopped(&player, &Worker::stopped);
    QSignalSpy started(&player, &Worker::started);
    const LogCapture log;
    QVERIFY(player.start(false));
    QCOMPARE(errors.size(), 1);
    QVERIFY2(errors.constFirst().startsWith(text), qPrintable(errors.constFirst()));
    QVERIFY(errors.constFirst().size() > text.size());
    const QStringList warnings = log.texts(QtWarningMsg);
    QCOMPARE(warnings.size(), 1);
    QVERIFY2(
        warnings.constFirst().startsWith(QLatin1String("[ W ][ RadioDevice/IQPlayer/IQPlayerRadioDevice ] ")),
        qPrintable(warnings.constFirst()));
    QVERIFY2(warnings.constFirst().endsWith(errors.constFirst()), qPrintable(warnings.constFirst()));
    QCOMPARE(player.state(), Worker::STOPPED);
    QCOMPARE(stopped.size(), 1);
    QVERIFY(started.isEmpty());
    QVERIFY(!player.findChild<QTimer*>(QString(), Qt::FindDirectChildrenOnly)->isActive());
}

} // namespace

void tst_IQPlayerRadioDevice::missingFileEndsTheStart()
{
    const auto player = PlayerRig::make(m_rig.path(QStringLiteral("none.wav")));
    verifyFailedStart(*player, QStringLiteral("Error open local file to start radio! No such file"));
}

void tst_IQPlayerRadioDevice::folderNamedLikeARecordingEndsTheStart()
{
    QVERIFY(QDir().mkpath(m_rig.path(QStringLiteral("x.wav"))));
    const auto player = PlayerRig::make(m_rig.path(QStringLiteral("x.wav")));
    verifyFailedStart(*player, QStringLiteral("Error open local file to start radio! "));
}

void tst_IQPlayerRadioDevice::whatIsNoRegularFileEndsTheStartAtOnce_data()
{
    QTest::addColumn<QString>("name");
    const QString pipe = m_rig.path(QStringLiteral("pipe.wav"));
    // To open it waits for a writer.
    QVERIFY(mkfifo(qPrintable(pipe), 0600) == 0);
    const QString link = m_rig.path(QStringLiteral("link.wav"));
    QVERIFY(QFile::link(pipe, link));
    QTest::newRow("a pipe") << pipe;
    QTest::newRow("a link to a pipe") << link;
    QTest::newRow("a device") << QStringLiteral("/dev/zero");
}

void tst_IQPlayerRadioDevice::whatIsNoRegularFileEndsTheStartAtOnce()
{
    QFETCH(const QString, name);
    const auto player = PlayerRig::make(name);
    verifyFailedStart(*player, QStringLiteral("Error open local file to start radio! Not a regular"));
}

void tst_IQPlayerRadioDevice::unreadableFileEndsTheStart()
{
    const QString name = m_rig.put(wavHeader(0, 48'000));
    QVERIFY(QFile::setPermissions(name, QFile::Permissions()));
    if (QFile probe(name); probe.open(QIODevice::ReadOnly)) {
        QSKIP("Whoever runs this may read every file");
    }
    const auto player = PlayerRig::make(name);
    verifyFailedStart(*player, QStringLiteral("Error open local file to start radio! Permission denied"));
}

void tst_IQPlayerRadioDevice::fileShorterThanAHeaderEndsTheStart_data()
{
    QTest::addColumn<int>("size");
    QTest::newRow("empty") << 0;
    QTest::newRow("one byte") << 1;
    QTest::newRow("all but one byte") << 43;
}

void tst_IQPlayerRadioDevice::fileShorterThanAHeaderEndsTheStart()
{
    QFETCH(int, size);
    const auto player = PlayerRig::make(m_rig.put(wavHeader(0, 48'000).left(size)));
    verifyFailedStart(*player, QStringLiteral("Error read wav header - "));
    QCOMPARE(player->sampleRate(), 48'000.0);
}

void tst_IQPlayerRadioDevice::playerThatFailedCanBeStartedOnceTheFileIsThere()
{
    const auto player = PlayerRig::make(m_rig.put({}));
    verifyFailedStart(*player, QStringLiteral("Error read wav header - "));
    m_rig.put(wavHeader(0, 48'000) + PlayerRig::ones(kBlock));
    QVERIFY(player->start(false));
    QVERIFY(player->running());
    PlayerRig::tick(*player);
    QVERIFY(std::abs(PlayerRig::lastSamples(*player)[0] - 1.0) < 1e-12);
}

void tst_IQPlayerRadioDevice::headerThatLiesIsPlayedAllTheSame_data()
{
    QTest::addColumn<QByteArray>("header");
    QTest::addColumn<double>("rate");
    QTest::newRow("rate 0") << wavHeader(kBlockBytes, 0) << 0.0;
    QTest::newRow("rate -1") << wavHeader(kBlockBytes, 0xFFFFFFFF) << 4294967295.0;
    QTest::newRow("rate 1") << wavHeader(kBlockBytes, 1) << 1.0;
    QTest::newRow("all zero") << QByteArray(44, '\0') << 0.0;
    QTest::newRow("all ones") << QByteArray(44, '\xff') << 4294967295.0;
    QTest::newRow("text") << QByteArray("This is not a recording at all, but a letter") << 1629516897.0;
}

void tst_IQPlayerRadioDevice::headerThatLiesIsPlayedAllTheSame()
{
    QFETCH(QByteArray, header);
    const auto player = PlayerRig::make(m_rig.put(header + PlayerRig::ones(kBlock)));
    // A rate of 0 is the signal path's to warn of.
    const LogCapture log;
    QVERIFY(player->start(false));
    QTEST(player->sampleRate(), "rate");
    QVERIFY(player->running());
    PlayerRig::tick(*player);
    PlayerRig::tick(*player);
    QCOMPARE(player->inBuffer()->writeIndex, 2 * kBlock);
    QVERIFY(PlayerRig::lastSamples(*player)[0].real() > 0.97);
    player->setFrequency(14'100'000.0);
    PlayerRig::tick(*player);
    for (const std::complex<double>& sample : PlayerRig::lastSamples(*player)) {
        QVERIFY(std::isfinite(sample.real()) && std::isfinite(sample.imag()));
    }
    player->stop();
    QCOMPARE(player->state(), Worker::STOPPED);
}

QTEST_GUILESS_MAIN(tst_IQPlayerRadioDevice)
#include "tst_IQPlayerRadioDevice.moc"
