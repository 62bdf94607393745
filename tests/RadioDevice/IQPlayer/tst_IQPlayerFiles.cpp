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

/// Recordings that end, change while they are played, or are none.
class tst_IQPlayerFiles : public QObject
{
    Q_OBJECT

private slots:
    void tailThatFillsNoBlockIsSkipped_data();
    void tailThatFillsNoBlockIsSkipped();
    void blockAfterEndIsFirst();
    void fileOfHeaderAlonePublishesOldBlockForEver();
    void fileShorterThanBlockPublishesWhatItHas();
    void fileWithOddNumberOfBytesIsPlayed();
    void recordingCutToNothingPlaysNothingUntilItHoldsSamplesAgain_data();
    void recordingCutToNothingPlaysNothingUntilItHoldsSamplesAgain();
    void recordingCutToNothingIsNoData();
    void fileThatShrinksWhilePlayingIsSurvived_data();
    void fileThatShrinksWhilePlayingIsSurvived();
    void fileThatGrowsWhilePlayingIsPlayedToItsNewEnd();
    void fileThatVanishesPlaysOnAndFailsAtNextStart();
    void fileBeyondTwoGigabytesIsPlayed();

    void missingFileEndsStart();
    void folderNamedLikeRecordingEndsStart();
    void whatIsNoRegularFileEndsStartAtOnce_data();
    void whatIsNoRegularFileEndsStartAtOnce();
    void unreadableFileEndsStart();
    void fileShorterThanHeaderEndsStart_data();
    void fileShorterThanHeaderEndsStart();
    void playerThatFailedCanBeStartedOnceFileIsThere();

private:
    PlayerRig m_rig;
};

void tst_IQPlayerFiles::tailThatFillsNoBlockIsSkipped_data()
{
    QTest::addColumn<int>("tail"); // bytes
    QTest::newRow("one byte") << 1;
    QTest::newRow("one sample") << 4;
    QTest::newRow("all but one byte") << kBlockBytes - 1;
}

void tst_IQPlayerFiles::tailThatFillsNoBlockIsSkipped()
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

void tst_IQPlayerFiles::blockAfterEndIsFirst()
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

void tst_IQPlayerFiles::fileOfHeaderAlonePublishesOldBlockForEver()
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

void tst_IQPlayerFiles::fileShorterThanBlockPublishesWhatItHas()
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

void tst_IQPlayerFiles::fileWithOddNumberOfBytesIsPlayed()
{
    const auto player = m_rig.play(PlayerRig::ones(10) + "abc");
    PlayerRig::tick(*player);
    const PlayerRig::Samples samples = PlayerRig::lastSamples(*player);
    QVERIFY(std::abs(samples[9]) > 0.9);
    QCOMPARE(samples[10], std::complex<double>(0, 0));
}

void tst_IQPlayerFiles::recordingCutToNothingPlaysNothingUntilItHoldsSamplesAgain_data()
{
    QTest::addColumn<int>("size");
    QTest::newRow("to nothing") << 0;
    QTest::newRow("into the header") << 20;
    QTest::newRow("to the header") << 44;
    QTest::newRow("short of a sample") << 47;
}

void tst_IQPlayerFiles::recordingCutToNothingPlaysNothingUntilItHoldsSamplesAgain()
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

void tst_IQPlayerFiles::recordingCutToNothingIsNoData()
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

void tst_IQPlayerFiles::fileThatShrinksWhilePlayingIsSurvived_data()
{
    QTest::addColumn<int>("size");
    QTest::newRow("to one sample") << 48;
    QTest::newRow("into the first block") << 444;
    QTest::newRow("behind the reader") << 44 + kBlockBytes;
}

void tst_IQPlayerFiles::fileThatShrinksWhilePlayingIsSurvived()
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

void tst_IQPlayerFiles::fileThatGrowsWhilePlayingIsPlayedToItsNewEnd()
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

void tst_IQPlayerFiles::fileThatVanishesPlaysOnAndFailsAtNextStart()
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

void tst_IQPlayerFiles::fileBeyondTwoGigabytesIsPlayed()
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

void tst_IQPlayerFiles::missingFileEndsStart()
{
    const auto player = PlayerRig::make(m_rig.path(QStringLiteral("none.wav")));
    verifyFailedStart(*player, QStringLiteral("Error open local file to start radio! No such file"));
}

void tst_IQPlayerFiles::folderNamedLikeRecordingEndsStart()
{
    QVERIFY(QDir().mkpath(m_rig.path(QStringLiteral("x.wav"))));
    const auto player = PlayerRig::make(m_rig.path(QStringLiteral("x.wav")));
    verifyFailedStart(*player, QStringLiteral("Error open local file to start radio! "));
}

void tst_IQPlayerFiles::whatIsNoRegularFileEndsStartAtOnce_data()
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

void tst_IQPlayerFiles::whatIsNoRegularFileEndsStartAtOnce()
{
    QFETCH(const QString, name);
    const auto player = PlayerRig::make(name);
    verifyFailedStart(*player, QStringLiteral("Error open local file to start radio! Not a regular"));
}

void tst_IQPlayerFiles::unreadableFileEndsStart()
{
    const QString name = m_rig.put(wavHeader(0, 48'000));
    QVERIFY(QFile::setPermissions(name, QFile::Permissions()));
    if (QFile probe(name); probe.open(QIODevice::ReadOnly)) {
        QSKIP("Whoever runs this may read every file");
    }
    const auto player = PlayerRig::make(name);
    verifyFailedStart(*player, QStringLiteral("Error open local file to start radio! Permission denied"));
}

void tst_IQPlayerFiles::fileShorterThanHeaderEndsStart_data()
{
    QTest::addColumn<int>("size");
    QTest::newRow("empty") << 0;
    QTest::newRow("one byte") << 1;
    QTest::newRow("all but one byte") << 43;
}

void tst_IQPlayerFiles::fileShorterThanHeaderEndsStart()
{
    QFETCH(int, size);
    const auto player = PlayerRig::make(m_rig.put(wavHeader(0, 48'000).left(size)));
    verifyFailedStart(*player, QStringLiteral("Error read wav header - "));
    QCOMPARE(player->sampleRate(), 48'000.0);
}

void tst_IQPlayerFiles::playerThatFailedCanBeStartedOnceFileIsThere()
{
    const auto player = PlayerRig::make(m_rig.put({}));
    verifyFailedStart(*player, QStringLiteral("Error read wav header - "));
    m_rig.put(wavHeader(0, 48'000) + PlayerRig::ones(kBlock));
    QVERIFY(player->start(false));
    QVERIFY(player->running());
    PlayerRig::tick(*player);
    QVERIFY(std::abs(PlayerRig::lastSamples(*player)[0] - 1.0) < 1e-12);
}

QTEST_GUILESS_MAIN(tst_IQPlayerFiles)
#include "tst_IQPlayerFiles.moc"
