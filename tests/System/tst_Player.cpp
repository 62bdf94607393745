#include "System/Served.h"
#include "support/Wait.h"
#include "support/WireClient.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTest>
#include <sys/stat.h>

namespace
{

const QString kError = QStringLiteral("error_happen");
const QString kLeave = QStringLiteral("disconnect_from_host");

} // namespace

class tst_Player : public QObject
{
    Q_OBJECT

private slots:
    void fileThatCannotBePlayedEndsSessionAlone_data();
    void fileThatCannotBePlayedEndsSessionAlone();
    void headerThatLiesEndsNothing_data();
    void headerThatLiesEndsNothing();
    void recordingAtRateZeroTakesNoCore();
    void fileThatVanishesDuringSessionPlaysOn();
    void fileThatShrinksDuringSessionPlaysOn();
    void fileCutToNothingDuringSessionIsNoData();
};

void tst_Player::fileThatCannotBePlayedEndsSessionAlone_data()
{
    QTest::addColumn<QString>("state");
    QTest::addColumn<QString>("error");
    const QString open = QStringLiteral("Error open local file to start radio! ");
    const QString header = QStringLiteral("Error read wav header - ");
    QTest::newRow("gone") << QStringLiteral("gone") << open;
    QTest::newRow("a folder by now") << QStringLiteral("folder") << QString();
    QTest::newRow("a pipe by now") << QStringLiteral("pipe") << open + QStringLiteral("Not a regular file");
    QTest::newRow("empty") << QStringLiteral("empty") << header;
    QTest::newRow("43 bytes") << QStringLiteral("short") << header;
}

void tst_Player::fileThatCannotBePlayedEndsSessionAlone()
{
    QFETCH(QString, state);
    QFETCH(QString, error);
    Served served(recording({}));
    QVERIFY(served.server.serve());
    WireClient client(served.server);
    QVERIFY(client.open(served.file));
    QVERIFY(client.close());
    QVERIFY(QFile::remove(served.file));
    if (state == QStringLiteral("folder")) {
        QVERIFY(QDir().mkdir(served.file));
    } else if (state == QStringLiteral("pipe")) {
        QCOMPARE(mkfifo(qPrintable(served.file), 0600), 0);
    } else if (state == QStringLiteral("empty")) {
        served.home.addRecording(QStringLiteral("a.wav"), {});
    } else if (state == QStringLiteral("short")) {
        served.home.addRecording(QStringLiteral("a.wav"), wavHeader(0, 48'000).left(43));
    }
    client.forgetCalls();

    QVERIFY(client.open(served.file));
    QVERIFY(client.waitForCall(kLeave));
    const QVector<WireClient::Message> errors = client.calls(kError);
    QCOMPARE(errors.size(), 1);
    QCOMPARE(errors[0].sender, client.sessionId());
    const QString text = errors[0].body.value(QStringLiteral("err")).toString();
    QVERIFY2(text.startsWith(error), qPrintable(text));

    QDir().rmdir(served.file);
    QFile::remove(served.file);
    served.home.addRecording(QStringLiteral("a.wav"), recording({}));
    QVERIFY(client.open(served.file));
    client.forgetSamples();
    QVERIFY(client.waitForSamples(4800));
    QVERIFY(served.server.quit());
}

void tst_Player::headerThatLiesEndsNothing_data()
{
    QTest::addColumn<QByteArray>("file");
    const QByteArray samples(48'000 * 4, '\1');
    const auto wav = [&samples](quint32 size, quint32 rate, quint16 channels, quint16 bits) {
        return wavHeader(size, rate, channels, bits) + samples;
    };
    QTest::newRow("rate 0") << wav(192'000, 0, 2, 16);
    QTest::newRow("rate 1") << wav(192'000, 1, 2, 16);
    QTest::newRow("the highest rate") << wav(192'000, 0xFFFF'FFFF, 2, 16);
    QTest::newRow("a negative rate") << wav(192'000, 0x8000'0000, 2, 16);
    QTest::newRow("2.4 million a second") << wav(192'000, 2'400'000, 2, 16);
    QTest::newRow("0 bits") << wav(192'000, 48'000, 2, 0);
    QTest::newRow("no channel") << wav(192'000, 48'000, 0, 16);
    QTest::newRow("24 bits") << wav(192'000, 48'000, 2, 24);
    QTest::newRow("more data than there is") << wav(0xFFFF'FFFF, 48'000, 2, 16);
    QTest::newRow("44 bytes alone") << wavHeader(192'000, 48'000);
    QTest::newRow("44 bytes and one") << wavHeader(192'000, 48'000) + '\1';
    QTest::newRow("less than a block") << wavHeader(192'000, 48'000) + QByteArray(4799, '\1');
    QTest::newRow("no WAV file at all") << QByteArray(100'000, '\x5A');
    QTest::newRow("all ones") << QByteArray(100'000, '\xFF');
}

void tst_Player::headerThatLiesEndsNothing()
{
    QFETCH(QByteArray, file);
    Served served(file);
    QVERIFY(served.server.serve());
    WireClient client(served.server);
    QVERIFY(client.open(served.file));
    QVERIFY(client
                .askSession(QStringLiteral("fft_data_range"), {{QStringLiteral("startIndex"), 0},
                                                               {QStringLiteral("stopIndex"), 512},
                                                               {QStringLiteral("dataSize"), 512},
                                                               {QStringLiteral("fftSize"), 512}})
                .has_value());
    QVERIFY(client.nextFrame(512).has_value());
    QVERIFY(client.askSession(QStringLiteral("ping")).has_value());
    QVERIFY(client.close());
    // The next session is none the worse for it.
    served.home.addRecording(QStringLiteral("a.wav"), recording({}));
    QVERIFY(client.open(served.file));
    client.forgetSamples();
    QVERIFY(client.waitForSamples(4800));
    QVERIFY(served.server.quit());
}

void tst_Player::recordingAtRateZeroTakesNoCore()
{
    Served served(wavHeader(192'000, 0) + QByteArray(192'000, '\1'));
    QVERIFY(served.server.serve());
    WireClient client(served.server);
    QVERIFY(client.open(served.file));
    const qint64 before = served.server.processorTime();
    QElapsedTimer clock;
    clock.start();
    QVERIFY(waitUntil([&clock] { return clock.elapsed() >= 1000; }));
    // A worker that spins takes all of it.
    QVERIFY(served.server.processorTime() - before < clock.elapsed() / 2);
    QVERIFY(client.close());
    QVERIFY(served.server.quit());
}

void tst_Player::fileThatVanishesDuringSessionPlaysOn()
{
    Served served(recording({}));
    QVERIFY(served.server.serve());
    WireClient client(served.server);
    QVERIFY(client.open(served.file));
    QVERIFY(client.waitForSamples(4800));
    QVERIFY(QFile::remove(served.file));
    client.forgetSamples();
    QVERIFY(client.waitForSamples(9600));
    QVERIFY(served.server.quit());
}

void tst_Player::fileThatShrinksDuringSessionPlaysOn()
{
    Served served(recording({}));
    QVERIFY(served.server.serve());
    WireClient client(served.server);
    QVERIFY(client.open(served.file));
    QVERIFY(client.waitForSamples(4800));
    QVERIFY(QFile::resize(served.file, 444));
    client.forgetSamples();
    QVERIFY(client.waitForSamples(9600));
    QVERIFY(client.close());
    QVERIFY(served.server.quit());
}

void tst_Player::fileCutToNothingDuringSessionIsNoData()
{
    Served served(recording({}));
    QVERIFY(served.server.serve());
    WireClient client(served.server);
    QVERIFY(client.open(served.file));
    QVERIFY(client.waitForSamples(4800));
    QVERIFY(QFile::resize(served.file, 10));
    const int before = served.server.count(QStringLiteral("End file."));
    // The watchdog looks every 6 s.
    QVERIFY(client.waitForCall(QStringLiteral("error_happen")));
    QCOMPARE(client.calls(QStringLiteral("error_happen")).constFirst().body.value(QStringLiteral("err")),
             QJsonValue(QStringLiteral("No IQ data - stop!")));
    QVERIFY(client.waitForCall(QStringLiteral("disconnect_from_host")));
    QVERIFY(served.server.count(QStringLiteral("End file.")) <= before + 1);
    QVERIFY(served.server.quit());
}

QTEST_GUILESS_MAIN(tst_Player)
#include "tst_Player.moc"
