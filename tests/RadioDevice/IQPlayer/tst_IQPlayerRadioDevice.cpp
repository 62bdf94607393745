#include "Core/Worker/DspH/RotatingOscillator.h"
#include "RadioDevice/IQPlayer/IQPlayerRadioDevice.h"

#include "System/Recording.h"
#include "support/LogCapture.h"

#include <QMetaProperty>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtEndian>
#include <QtTest>
#include <cmath>
#include <complex>
#include <memory>

namespace
{

using Samples = std::vector<std::complex<double>>;

constexpr int kBlock = 1200;      // samples of a tick
constexpr int kBlockBytes = 4800; // and their bytes

// `count` samples, of which sample i holds the values start + 2 i and start + 2 i + 1.
QByteArray ramp(int count, int start = 1)
{
    QByteArray bytes(count * 4, '\0');
    for (int i = 0; i < 2 * count; ++i) {
        qToLittleEndian<qint16>(static_cast<qint16>(start + i), bytes.data() + 2 * i);
    }
    return bytes;
}

// `count` samples of the value 1 after scaling.
QByteArray ones(int count)
{
    QByteArray bytes;
    for (int i = 0; i < count; ++i) {
        bytes.append("\x00\x10\x00\x00", 4);
    }
    return bytes;
}

// The last `count` samples of the ring that the device fills.
Samples lastSamples(const AbstractRadioDevice& device, int count = kBlock)
{
    RingBuffer<DoubleComplex>& ring = *device.inBuffer();
    std::vector<DoubleComplex> raw(static_cast<std::size_t>(count));
    const QMutexLocker lock(&ring.mutex);
    ring.read(ring.advance(ring.writeIndex, -count), raw.data(), count);
    Samples result;
    for (const DoubleComplex& sample : raw) {
        result.emplace_back(sample.re, sample.im);
    }
    return result;
}

} // namespace

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
    void fileThatShrinksWhilePlayingIsSurvived_data();
    void fileThatShrinksWhilePlayingIsSurvived();
    void fileThatGrowsWhilePlayingIsPlayedToItsNewEnd();
    void fileThatVanishesPlaysOnAndFailsAtTheNextStart();
    void fileBeyondTwoGigabytesIsPlayed();

    void missingFileEndsTheStart();
    void folderNamedLikeARecordingEndsTheStart();
    void unreadableFileEndsTheStart();
    void fileShorterThanAHeaderEndsTheStart_data();
    void fileShorterThanAHeaderEndsTheStart();
    void playerThatFailedCanBeStartedOnceTheFileIsThere();
    void headerThatLiesIsPlayedAllTheSame_data();
    void headerThatLiesIsPlayedAllTheSame();

    void limitsOfTheBandAreTunedTo_data();
    void limitsOfTheBandAreTunedTo();
    void tuningUpMovesTheRecordingUpInTheRing();
    void resetFrequencyIsTheMiddleWithoutAnOffset();
    void frequencyOutsideTheBandKeepsTheOscillatorAndTellsThePresentOne();
    void frequencyOutsideTheBandIsCorrectedOnceMoreEachTime();
    void frequencyOutsideTheBandNeverEndsTheProcess();
    void frequencyThatIsNoNumberIsRefusedAndKeepsTheOscillator();
    void correctionEntersTheOffset();
    void offsetSetBeforeTheStartIsLost();
    void rateWrittenByAStrangerNeitherStopsNorSpeedsUpThePlayer_data();
    void rateWrittenByAStrangerNeitherStopsNorSpeedsUpThePlayer();

private:
    QString put(const QByteArray& bytes) const;
    static std::unique_ptr<IQPlayerRadioDevice> make(const QString& fileName);
    // A player of these samples that runs, with its first block delivered at the first tick().
    [[nodiscard]] std::unique_ptr<IQPlayerRadioDevice> play(const QByteArray& data,
                                                            quint32 sampleRate = 48'000) const;
    static void tick(IQPlayerRadioDevice& player);

    QTemporaryDir m_folder;
};

QString tst_IQPlayerRadioDevice::put(const QByteArray& bytes) const
{
    QFile file(m_folder.filePath(QStringLiteral("a.wav")));
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size()) {
        qFatal("No file to play");
    }
    return file.fileName();
}

std::unique_ptr<IQPlayerRadioDevice> tst_IQPlayerRadioDevice::make(const QString& fileName)
{
    auto info = QSharedPointer<IQPlayerRadioDevice::DeviceInfo>::create();
    info->identificator = fileName;
    return std::make_unique<IQPlayerRadioDevice>(info, nullptr);
}

std::unique_ptr<IQPlayerRadioDevice> tst_IQPlayerRadioDevice::play(const QByteArray& data,
                                                                   quint32 sampleRate) const
{
    auto player = make(put(wavHeader(static_cast<quint32>(data.size()), sampleRate) + data));
    player->start(false);
    return player;
}

// The timer needs the event loop, which these tests do not enter: no tick but this one takes place.
void tst_IQPlayerRadioDevice::tick(IQPlayerRadioDevice& player)
{
    QVERIFY(QMetaObject::invokeMethod(&player, "onTimeoutData", Qt::DirectConnection));
}

void tst_IQPlayerRadioDevice::newPlayerHasItsFixedTables()
{
    const auto player = make(QStringLiteral("/a.wav"));
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
    auto player = make(QStringLiteral("/a.wav"));
    QCOMPARE(log.texts().constLast(), QStringLiteral("Construct class .. IQPlayerRadioDevice"));
    log.clear();
    player.reset();
    QCOMPARE(log.texts().constFirst(), QStringLiteral("Destruct class .. IQPlayerRadioDevice"));
}

void tst_IQPlayerRadioDevice::startTakesTheRateOfTheHeaderWithoutTellingIt()
{
    const auto player = make(put(wavHeader(0, 96'000)));
    QSignalSpy sampleRateChanged(player.get(), &AbstractRadioDevice::sampleRateChanged);
    QVERIFY(player->start(false));
    QCOMPARE(player->sampleRate(), 96'000.0);
    QVERIFY(sampleRateChanged.isEmpty());
    player->stop();
    QCOMPARE(player->sampleRate(), 96'000.0);
}

void tst_IQPlayerRadioDevice::startHandsTheRateOfTheHeaderToTheSignalPath()
{
    const auto player = make(put(wavHeader(0, 96'000)));
    player->setupDspH(24'000.0, 8000.0);
    QSignalSpy outSampleRateChanged(player.get(), &AbstractRadioDevice::outSampleRateChanged);
    QVERIFY(player->start(false));
    QTRY_COMPARE(outSampleRateChanged.size(), 1);
    QCOMPARE(outSampleRateChanged.constFirst().constFirst().toDouble(), 24'000.0);
}

void tst_IQPlayerRadioDevice::startLogsTheHeader()
{
    const QString name = put(wavHeader(192'000, 48'000) + QByteArray(192'000, '\0'));
    const auto player = make(name);
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
    const auto player = play(ramp(3 * kBlock));
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
    const auto player = play(ramp(3 * kBlock));
    tick(*player);
    tick(*player);
    player->stop();
    put(wavHeader(0, 12'000) + ones(kBlock) + ramp(kBlock));
    QVERIFY(player->start(false));
    QCOMPARE(player->sampleRate(), 12'000.0);
    tick(*player);
    QVERIFY(std::abs(lastSamples(*player).front() - 1.0) < 1e-12);
}

void tst_IQPlayerRadioDevice::stopLeavesNoTickBehind()
{
    const auto player = play(ramp(kBlock));
    player->stop();
    QCOMPARE(player->state(), Worker::STOPPED);
    QVERIFY(!player->findChild<QTimer*>(QString(), Qt::FindDirectChildrenOnly)->isActive());
}

void tst_IQPlayerRadioDevice::samplesAreLeftThenRightByAScaleOf4096()
{
    QByteArray data(kBlockBytes, '\0');
    data.replace(0, 8,
                 QByteArray::fromHex("0080ff7f"
                                     "0100ffff"));
    const auto player = play(data);
    tick(*player);
    const Samples samples = lastSamples(*player);
    // Full scale is 8; an oscillator at rest turns nothing.
    QCOMPARE(samples[0].real(), -8.0);
    QCOMPARE(samples[0].imag(), 32767.0 / 4096.0);
    QVERIFY(std::abs(samples[1] - std::complex<double>(1.0 / 4096.0, -1.0 / 4096.0)) < 1e-4);
}

void tst_IQPlayerRadioDevice::oscillatorAtRestScalesLikeTheReference()
{
    const auto player = play(ramp(kBlock));
    tick(*player);
    std::vector<DoubleComplex> expected(kBlock);
    for (int i = 0; i < kBlock; ++i) {
        expected[static_cast<std::size_t>(i)] = {(1 + 2 * i) / 4096.0, (2 + 2 * i) / 4096.0};
    }
    RotatingOscillator oscillator;
    oscillator.setSampleRate(48'000.0);
    oscillator.process(expected.data(), kBlock);
    const Samples samples = lastSamples(*player);
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
    const auto player =
        make(put(wavHeader(kBlockBytes, 48'000, static_cast<quint16>(channels), static_cast<quint16>(bits)) +
                 ramp(kBlock)));
    QVERIFY(player->start(false));
    tick(*player);
    const Samples samples = lastSamples(*player);
    QCOMPARE(samples[0].real(), 1.0 / 4096.0);
    QCOMPARE(samples[0].imag(), 2.0 / 4096.0);
    QCOMPARE(player->inBuffer()->writeIndex, kBlock);
}

void tst_IQPlayerRadioDevice::swapIQHasNoEffect()
{
    const auto player = play(ramp(kBlock));
    player->setSwapIQ(true);
    tick(*player);
    QCOMPARE(lastSamples(*player)[0].real(), 1.0 / 4096.0);
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
    const auto player = play(ramp(2 * kBlock) + QByteArray(tail, '\x7f'));
    const LogCapture log;
    for (int pass = 0; pass < 3; ++pass) {
        tick(*player);
        QVERIFY(std::abs(lastSamples(*player)[0] - std::complex<double>(1, 2) / 4096.0) < 1e-4);
        tick(*player);
        QVERIFY(std::abs(lastSamples(*player)[0] - std::complex<double>(2401, 2402) / 4096.0) < 0.1);
        QCOMPARE(log.texts().count(QStringLiteral("End file.")), pass);
    }
}

void tst_IQPlayerRadioDevice::blockAfterTheEndIsTheFirst()
{
    // A recording of whole blocks loses nothing.
    const auto player = play(ramp(2 * kBlock));
    const LogCapture log;
    tick(*player);
    tick(*player);
    QVERIFY(!log.texts().contains(QStringLiteral("End file.")));
    tick(*player);
    QCOMPARE(log.texts().count(QStringLiteral("End file.")), 1);
    QVERIFY(std::abs(lastSamples(*player)[0] - std::complex<double>(1, 2) / 4096.0) < 1e-4);
    QCOMPARE(player->inBuffer()->writeIndex, 3 * kBlock);
}

void tst_IQPlayerRadioDevice::fileOfAHeaderAlonePublishesTheOldBlockForEver()
{
    const auto player = play({});
    QVERIFY(player->running());
    const LogCapture log;
    for (int i = 1; i <= 3; ++i) {
        tick(*player);
        QCOMPARE(player->inBuffer()->writeIndex, i * kBlock);
        QCOMPARE(log.texts().count(QStringLiteral("End file.")), i);
    }
    QCOMPARE(lastSamples(*player)[0], std::complex<double>(0, 0));
    QCOMPARE(log.texts(QtWarningMsg), QStringList());
}

void tst_IQPlayerRadioDevice::fileShorterThanABlockPublishesWhatItHas()
{
    const auto player = play(ones(10));
    tick(*player);
    QCOMPARE(player->inBuffer()->writeIndex, kBlock);
    const Samples samples = lastSamples(*player);
    QVERIFY(std::abs(samples[9]) > 0.9);
    QCOMPARE(samples[10], std::complex<double>(0, 0));
    tick(*player);
    QVERIFY(std::abs(lastSamples(*player)[0]) > 0.9);
}

void tst_IQPlayerRadioDevice::fileWithAnOddNumberOfBytesIsPlayed()
{
    const auto player = play(ones(10) + "abc");
    tick(*player);
    const Samples samples = lastSamples(*player);
    QVERIFY(std::abs(samples[9]) > 0.9);
    QCOMPARE(samples[10], std::complex<double>(0, 0));
}

void tst_IQPlayerRadioDevice::fileThatShrinksWhilePlayingIsSurvived_data()
{
    QTest::addColumn<int>("size");
    QTest::newRow("to nothing") << 0;
    QTest::newRow("into the header") << 20;
    QTest::newRow("to the header") << 44;
    QTest::newRow("into the first block") << 444;
    QTest::newRow("behind the reader") << 44 + kBlockBytes;
}

void tst_IQPlayerRadioDevice::fileThatShrinksWhilePlayingIsSurvived()
{
    QFETCH(int, size);
    const auto player = play(ones(20 * kBlock));
    for (int i = 0; i < 10; ++i) {
        tick(*player);
    }
    QVERIFY(QFile::resize(m_folder.filePath(QStringLiteral("a.wav")), size));
    for (int i = 11; i <= 20; ++i) {
        tick(*player);
        QCOMPARE(player->inBuffer()->writeIndex, i * kBlock);
    }
    QVERIFY(player->running());
}

void tst_IQPlayerRadioDevice::fileThatGrowsWhilePlayingIsPlayedToItsNewEnd()
{
    const auto player = play(ones(kBlock));
    QFile file(m_folder.filePath(QStringLiteral("a.wav")));
    QVERIFY(file.open(QIODevice::Append));
    file.write(ramp(kBlock));
    file.close();
    const LogCapture log;
    tick(*player);
    tick(*player);
    QVERIFY(!log.texts().contains(QStringLiteral("End file.")));
    QVERIFY(std::abs(lastSamples(*player)[0] - std::complex<double>(1, 2) / 4096.0) < 1e-3);
}

void tst_IQPlayerRadioDevice::fileThatVanishesPlaysOnAndFailsAtTheNextStart()
{
    const auto player = play(ones(2 * kBlock));
    QVERIFY(QFile::remove(m_folder.filePath(QStringLiteral("a.wav"))));
    tick(*player);
    tick(*player);
    tick(*player);
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
    const QString name = put(wavHeader(0xFFFFFFFF, 48'000) + ones(kBlock));
    if (!QFile::resize(name, 5'000'000'044LL)) {
        QSKIP("This file system has no files with holes of 5 GB");
    }
    const auto player = make(name);
    const LogCapture log;
    QVERIFY(player->start(false));
    QVERIFY(log.texts().join(QLatin1Char('\n')).contains(QLatin1String(" 44739"))); // seconds
    tick(*player);
    QVERIFY(std::abs(lastSamples(*player)[0] - 1.0) < 1e-12);
    tick(*player);
    QCOMPARE(lastSamples(*player)[0], std::complex<double>(0, 0));
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
    const auto player = make(m_folder.filePath(QStringLiteral("none.wav")));
    verifyFailedStart(*player, QStringLiteral("Error open local file to start radio! No such file"));
}

void tst_IQPlayerRadioDevice::folderNamedLikeARecordingEndsTheStart()
{
    QVERIFY(QDir(m_folder.path()).mkpath(QStringLiteral("x.wav")));
    const auto player = make(m_folder.filePath(QStringLiteral("x.wav")));
    verifyFailedStart(*player, QStringLiteral("Error open local file to start radio! "));
}

void tst_IQPlayerRadioDevice::unreadableFileEndsTheStart()
{
    const QString name = put(wavHeader(0, 48'000));
    QVERIFY(QFile::setPermissions(name, QFile::Permissions()));
    if (QFile probe(name); probe.open(QIODevice::ReadOnly)) {
        QSKIP("Whoever runs this may read every file");
    }
    const auto player = make(name);
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
    const auto player = make(put(wavHeader(0, 48'000).left(size)));
    verifyFailedStart(*player, QStringLiteral("Error read wav header - "));
    QCOMPARE(player->sampleRate(), 48'000.0);
}

void tst_IQPlayerRadioDevice::playerThatFailedCanBeStartedOnceTheFileIsThere()
{
    const auto player = make(put({}));
    verifyFailedStart(*player, QStringLiteral("Error read wav header - "));
    put(wavHeader(0, 48'000) + ones(kBlock));
    QVERIFY(player->start(false));
    QVERIFY(player->running());
    tick(*player);
    QVERIFY(std::abs(lastSamples(*player)[0] - 1.0) < 1e-12);
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
    const auto player = make(put(header + ones(kBlock)));
    // A rate of 0 is the signal path's to warn of.
    const LogCapture log;
    QVERIFY(player->start(false));
    QTEST(player->sampleRate(), "rate");
    QVERIFY(player->running());
    tick(*player);
    tick(*player);
    QCOMPARE(player->inBuffer()->writeIndex, 2 * kBlock);
    QVERIFY(lastSamples(*player)[0].real() > 0.97);
    player->setFrequency(14'100'000.0);
    tick(*player);
    for (const std::complex<double>& sample : lastSamples(*player)) {
        QVERIFY(std::isfinite(sample.real()) && std::isfinite(sample.imag()));
    }
    player->stop();
    QCOMPARE(player->state(), Worker::STOPPED);
}

void tst_IQPlayerRadioDevice::limitsOfTheBandAreTunedTo_data()
{
    QTest::addColumn<double>("frequency");
    QTest::addColumn<double>("turn"); // of a sample at 1,000,000 samples a second, in quarters
    QTest::newRow("lowest") << 14'000'000.0 << -1.0;
    QTest::newRow("highest") << 14'500'000.0 << 1.0;
    QTest::newRow("half way up") << 14'375'000.0 << 0.5;
}

void tst_IQPlayerRadioDevice::limitsOfTheBandAreTunedTo()
{
    QFETCH(double, frequency);
    QFETCH(double, turn);
    const auto player = play(ones(kBlock), 1'000'000);
    QSignalSpy frequencyChanged(player.get(), &AbstractRadioDevice::frequencyChanged);
    player->setFrequency(frequency);
    QCOMPARE(player->frequency(), frequency);
    QCOMPARE(frequencyChanged.size(), 1);
    QCOMPARE(frequencyChanged.constFirst().constFirst().toDouble(), frequency);
    tick(*player);
    const Samples samples = lastSamples(*player);
    for (std::size_t i = 0; i + 1 < samples.size(); ++i) {
        const double quarters = std::arg(samples[i + 1] / samples[i]) / (M_PI / 2);
        QVERIFY(std::abs(quarters - turn) < 1e-6);
    }
}

void tst_IQPlayerRadioDevice::tuningUpMovesTheRecordingUpInTheRing()
{
    // A sample is Q + jI there, so that what moves up in it moves down on the air's scale.
    const auto player = play(ones(kBlock));
    player->setFrequency(14'250'000.0 + 1000.0);
    tick(*player);
    const Samples samples = lastSamples(*player);
    QVERIFY(std::abs(std::arg(samples[1] / samples[0]) - 2 * M_PI * 1000.0 / 48'000.0) < 1e-6);
}

void tst_IQPlayerRadioDevice::resetFrequencyIsTheMiddleWithoutAnOffset()
{
    const auto player = play(ones(kBlock));
    player->setFrequency(14'100'000.0);
    player->resetFrequency();
    QCOMPARE(player->frequency(), 14'250'000.0);
    tick(*player);
    const Samples samples = lastSamples(*player);
    QVERIFY(std::abs(std::arg(samples.back())) < 1e-9);
}

void tst_IQPlayerRadioDevice::frequencyOutsideTheBandKeepsTheOscillatorAndTellsThePresentOne()
{
    const auto player = play(ones(kBlock), 1'000'000);
    player->setFrequency(14'375'100.0);
    tick(*player);
    const auto lastBefore = lastSamples(*player).back();
    QSignalSpy frequencyChanged(player.get(), &AbstractRadioDevice::frequencyChanged);
    const LogCapture log;
    player->setFrequency(15'000'000.0);
    QCOMPARE(player->frequency(), 14'375'100.0);
    QCOMPARE(frequencyChanged.size(), 1);
    QCOMPARE(frequencyChanged.constFirst().constFirst().toDouble(), 14'375'100.0);
    QCOMPARE(log.texts(QtWarningMsg), QStringList());
    // Not even the phase starts anew.
    tick(*player);
    const double turn = std::arg(lastSamples(*player).front() / lastBefore);
    QVERIFY(std::abs(turn - 2 * M_PI * 0.1251) < 1e-6);
}

void tst_IQPlayerRadioDevice::frequencyOutsideTheBandIsCorrectedOnceMoreEachTime()
{
    const auto player = play(ones(kBlock));
    player->setPpmCorrection(100);
    player->setFrequency(14'250'000.0);
    QSignalSpy frequencyChanged(player.get(), &AbstractRadioDevice::frequencyChanged);
    double expected = 14'250'000.0 / (1.0 - 100e-6);
    for (int i = 0; i < 3; ++i) {
        player->setFrequency(15'000'000.0);
        expected /= 1.0 - 100e-6;
        QVERIFY(std::abs(frequencyChanged.constLast().constFirst().toDouble() - expected) < 1e-6);
    }
}

void tst_IQPlayerRadioDevice::frequencyOutsideTheBandNeverEndsTheProcess()
{
    const auto player = play(ones(kBlock));
    const LogCapture log;
    for (const int ppm : {999'999, 1'000'000, 1'000'001, -2'000'000'000}) {
        player->setPpmCorrection(ppm);
        for (int i = 0; i < 5; ++i) {
            player->setFrequency(-1e18);
        }
        QVERIFY(std::isfinite(player->frequency()));
    }
    player->setPpmCorrection(0);
    player->setFrequency(14'000'000.0);
    QCOMPARE(player->frequency(), 14'000'000.0);
    tick(*player);
    QVERIFY(std::isfinite(lastSamples(*player).back().real()));
}

void tst_IQPlayerRadioDevice::frequencyThatIsNoNumberIsRefusedAndKeepsTheOscillator()
{
    const auto player = play(ones(kBlock), 1'000'000);
    player->setFrequency(14'375'100.0);
    tick(*player);
    const auto lastBefore = lastSamples(*player).back();
    QSignalSpy frequencyChanged(player.get(), &AbstractRadioDevice::frequencyChanged);
    const LogCapture log;
    for (const double value : {qQNaN(), qInf(), 1e300}) {
        player->setFrequency(value);
    }
    QCOMPARE(log.texts(QtWarningMsg).size(), 3);
    QVERIFY(frequencyChanged.isEmpty());
    QCOMPARE(player->frequency(), 14'375'100.0);
    tick(*player);
    QVERIFY(std::abs(std::arg(lastSamples(*player).front() / lastBefore) - 2 * M_PI * 0.1251) < 1e-6);
}

void tst_IQPlayerRadioDevice::correctionEntersTheOffset()
{
    const auto player = play(ones(kBlock), 1'000'000);
    player->setPpmCorrection(1000);
    player->setFrequency(14'250'000.0);
    tick(*player);
    const Samples samples = lastSamples(*player);
    const double offset = 14'250'000.0 / 0.999 - 14'250'000.0;
    QVERIFY(std::abs(std::arg(samples[1] / samples[0]) - 2 * M_PI * offset / 1e6) < 1e-6);
}

void tst_IQPlayerRadioDevice::offsetSetBeforeTheStartIsLost()
{
    const auto player = make(put(wavHeader(0, 1'000'000) + ones(kBlock)));
    player->setFrequency(14'500'000.0);
    QVERIFY(player->start(false));
    QCOMPARE(player->frequency(), 14'500'000.0);
    tick(*player);
    QVERIFY(std::abs(std::arg(lastSamples(*player).back())) < 1e-9);
    player->setFrequency(14'500'000.0);
    tick(*player);
    QVERIFY(std::abs(std::arg(lastSamples(*player).front()) - M_PI / 2) < 1e-6);
}

void tst_IQPlayerRadioDevice::rateWrittenByAStrangerNeitherStopsNorSpeedsUpThePlayer_data()
{
    QTest::addColumn<double>("rate");
    QTest::newRow("1e18") << 1e18;
    QTest::newRow("0") << 0.0;
    QTest::newRow("-5") << -5.0;
    QTest::newRow("96,000") << 96'000.0;
}

void tst_IQPlayerRadioDevice::rateWrittenByAStrangerNeitherStopsNorSpeedsUpThePlayer()
{
    QFETCH(double, rate);
    const auto player = play(ones(kBlock));
    const LogCapture log;
    QVERIFY(player->QObject::setProperty("sampleRate", rate));
    QCOMPARE(player->sampleRate(), rate);
    tick(*player);
    QCOMPARE(player->inBuffer()->writeIndex, kBlock);
    QCOMPARE(player->blockSize(), kBlock);
    QVERIFY(player->running());
    player->stop();
    // The next start is at the rate of the header again.
    QVERIFY(player->start(false));
    QCOMPARE(player->sampleRate(), 48'000.0);
    player->stop();
}

QTEST_GUILESS_MAIN(tst_IQPlayerRadioDevice)
#include "tst_IQPlayerRadioDevice.moc"
