#include "System/Measure.h"
#include "System/Served.h"
#include "support/WireClient.h"

#include <QRegularExpression>
#include <QTest>
#include <cmath>

namespace
{

constexpr int kRate = 48'000;        // the player's, hertz
constexpr double kCounts = 1000;     // of a station, in the recording
constexpr size_t kMeasured = 16'384; // samples of one measurement
// From a count in the recording to one on the wire: full scale of the player is 4096, that of the wire 32768,
// and each of the two rotating oscillators on the way settles at an amplitude of the root of 0.95.
constexpr double kGain = 32768.0 / 4096.0 * 0.95;

QString text(const QJsonObject& object, const char* key)
{
    return object.value(QLatin1String(key)).toString();
}

} // namespace

class tst_Session : public QObject
{
    Q_OBJECT

private slots:
    void clientGetsSessionOfItsOwn();
    void stationHasItsFrequencyAndLevelInSamples();
    void sampleDatagramsHold128ComplexSamples_data();
    void sampleDatagramsHold128ComplexSamples();
    void samplesComeAtRateOfRecording();
    void rateOfSamplesIsToldAtStart();
    void runningIsToldAtStart();
    void clientIsPinged();
    void leavingEndsStreamsAndFreesServer();
    void nextSessionHasAnotherId();
    void oldSessionIdIsDead();
    void leavingTwiceIsNotAnswered();
    void sessionAcrossRestart();
};

void tst_Session::clientGetsSessionOfItsOwn()
{
    Served served(recording({}));
    QVERIFY(served.server.serve());
    WireClient client(served.server);

    const auto answer =
        client.ask(client.serverId(), QStringLiteral("connect_to_host"), Wire::greeting(served.file));

    QVERIFY(answer.has_value());
    QCOMPARE(answer->keys(), QStringList({QStringLiteral("cd"), QStringLiteral("session_id")}));
    QCOMPARE(text(*answer, "cd"), QString());
    static const QRegularExpression form(QStringLiteral("^[0-9a-f]{40}$"));
    QVERIFY(form.match(text(*answer, "session_id")).hasMatch());
    QVERIFY(text(*answer, "session_id").toLatin1() != served.server.id().toHex());
    QVERIFY(client.waitForSamples(1));
    QVERIFY(served.server.quit());
}

void tst_Session::stationHasItsFrequencyAndLevelInSamples()
{
    Served served(recording({{3000, kCounts}}));
    QVERIFY(served.server.serve());
    WireClient client(served.server);
    QVERIFY(client.open(served.file));
    QVERIFY(client.waitForSamples(kRate / 10)); // the first ones may still be settling
    client.forgetSamples();
    QVERIFY(client.waitForSamples(kMeasured));

    const double level = Measure::amplitude(client.samples(), 3000, kRate);
    QVERIFY2(std::abs(level - kCounts * kGain) < 0.01 * kCounts * kGain, qPrintable(QString::number(level)));
    for (const double elsewhere : {-3000.0, 0.0, 2950.0, 3050.0, 20'000.0}) {
        const double stray = Measure::amplitude(client.samples(), elsewhere, kRate);
        QVERIFY2(stray < 0.002 * level, qPrintable(QStringLiteral("%1 at %2").arg(stray).arg(elsewhere)));
    }
    QVERIFY(served.server.quit());
}

void tst_Session::sampleDatagramsHold128ComplexSamples_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("otherType");
    QTest::newRow("compressed") << QStringList() << 3 << 2;
    QTest::newRow("plain by -c") << QStringList(QStringLiteral("-c")) << 2 << 3;
}

void tst_Session::sampleDatagramsHold128ComplexSamples()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, type);
    QFETCH(int, otherType);
    Served served(recording({{3000, kCounts}}));
    QVERIFY(served.server.serve(arguments));
    WireClient client(served.server);
    QVERIFY(client.open(served.file));
    QVERIFY(client.waitForSamples(kMeasured));
    QCOMPARE(client.iqBlockSizes(), QVector<int>(client.iqBlockSizes().size(), 256));
    QVERIFY(client.heard(type) > 0);
    QCOMPARE(client.heard(otherType), 0);
    QVERIFY(std::abs(Measure::amplitude(client.samples(), 3000, kRate) - kCounts * kGain) <
            0.05 * kCounts * kGain);
    QVERIFY(served.server.quit());
}

void tst_Session::samplesComeAtRateOfRecording()
{
    Served served(recording({}));
    QVERIFY(served.server.serve());
    WireClient client(served.server);
    QVERIFY(client.open(served.file));
    QVERIFY(client.waitForSamples(kRate / 4));
    client.forgetSamples();
    const qint64 start = client.now();
    QVERIFY(client.waitForSamples(kRate));
    const qint64 taken = client.now() - start;
    // A loaded machine may deliver late, never early: the player's clock sets the pace.
    QVERIFY2(taken > 800, qPrintable(QString::number(taken)));
    QVERIFY(served.server.quit());
}

void tst_Session::rateOfSamplesIsToldAtStart()
{
    Served served(recording({}));
    QVERIFY(served.server.serve());
    WireClient client(served.server);
    QVERIFY(client.open(served.file));
    QVERIFY(client.waitForCall(QStringLiteral("outSampleRateChanged")));
    const WireClient::Message call = client.calls(QStringLiteral("outSampleRateChanged")).first();
    QCOMPARE(call.sender, client.sessionId());
    QCOMPARE(call.body.value(QStringLiteral("outSampleRate")).toDouble(), double(kRate));
    QVERIFY(served.server.quit());
}

void tst_Session::runningIsToldAtStart()
{
    Served served(recording({}));
    QVERIFY(served.server.serve());
    WireClient client(served.server);
    QVERIFY(client.open(served.file));
    QVERIFY(client.waitForCall(QStringLiteral("pc_rrd")));
    const WireClient::Message call = client.calls(QStringLiteral("pc_rrd")).first();
    QCOMPARE(call.sender, client.serverId());
    QCOMPARE(text(call.body, "n"), QStringLiteral("running"));
    QCOMPARE(call.body.value(QStringLiteral("v")), QJsonValue(true));
    QVERIFY(served.server.quit());
}

void tst_Session::clientIsPinged()
{
    Served served(recording({}));
    QVERIFY(served.server.serve());
    WireClient client(served.server);
    QVERIFY(client.open(served.file));
    QVERIFY(client.waitForCall(QStringLiteral("ping"), 2));
    const QVector<WireClient::Message> pings = client.calls(QStringLiteral("ping"));
    QCOMPARE(pings[0].sender, client.sessionId());
    const double first = pings[0].body.value(QStringLiteral("c")).toDouble(-1);
    const double second = pings[1].body.value(QStringLiteral("c")).toDouble(-1);
    QVERIFY(first > 0);
    QVERIFY2(second > first + 10, "the count of datagrams sent grows with the streams");
    // The other way round as well.
    const auto answer = client.askSession(QStringLiteral("ping"), {{QStringLiteral("c"), 5}});
    QVERIFY(answer.has_value());
    QCOMPARE(answer->keys(), QStringList(QStringLiteral("cd")));
    QVERIFY(served.server.quit());
}

void tst_Session::leavingEndsStreamsAndFreesServer()
{
    Served served(recording({}));
    QVERIFY(served.server.serve());
    WireClient client(served.server);
    QVERIFY(client.open(served.file));
    QVERIFY(client.waitForSamples(kRate / 10));
    const auto answer = client.askSession(QStringLiteral("disconnect_from_host"));
    QVERIFY(answer.has_value());
    QCOMPARE(answer->keys(), QStringList(QStringLiteral("cd")));
    client.forgetSamples();
    // A whole session of another client later, nothing more has come.
    WireClient other(served.server);
    QVERIFY(other.open(served.file));
    QVERIFY(other.waitForSamples(kRate / 4));
    QCOMPARE(client.samples().size(), size_t(0));
    QCOMPARE(client.calls(QStringLiteral("disconnect_from_host")).size(), 0);
    QVERIFY(served.server.quit());
}

void tst_Session::nextSessionHasAnotherId()
{
    Served served(recording({}));
    QVERIFY(served.server.serve());
    WireClient client(served.server);
    QVERIFY(client.open(served.file));
    const QByteArray first = client.sessionId();
    QVERIFY(client.close());
    QVERIFY(client.open(served.file));
    QVERIFY(client.sessionId() != first);
    QVERIFY(served.server.quit());
}

void tst_Session::oldSessionIdIsDead()
{
    Served served(recording({}));
    QVERIFY(served.server.serve());
    WireClient client(served.server);
    QVERIFY(client.open(served.file));
    const QByteArray first = client.sessionId();
    QVERIFY(client.close());
    QVERIFY(client.open(served.file));
    const quint32 number = client.call(first, QStringLiteral("disconnect_from_host"));
    QVERIFY(client.askSession(QStringLiteral("ping")).has_value());
    QVERIFY(!client.hasReply(number));
    client.forgetSamples();
    QVERIFY(client.waitForSamples(kRate / 10));
    QVERIFY(served.server.quit());
}

void tst_Session::leavingTwiceIsNotAnswered()
{
    Served served(recording({}));
    QVERIFY(served.server.serve());
    WireClient client(served.server);
    QVERIFY(client.open(served.file));
    QVERIFY(client.close());
    // The session's id is off the port with its end: what comes for it is for nobody.
    const quint32 number = client.call(client.sessionId(), QStringLiteral("disconnect_from_host"));
    QVERIFY(client.open(served.file));
    QVERIFY(!client.hasReply(number));
    QVERIFY(served.server.quit());
}

void tst_Session::sessionAcrossRestart()
{
    Served served(recording({}));
    QVERIFY(served.server.serve());
    const QByteArray id = served.server.id();
    QVERIFY(served.server.quit());
    QVERIFY(served.server.serve());
    QCOMPARE(served.server.id(), id);
    WireClient client(served.server);
    QVERIFY(client.open(served.file));
    QVERIFY(client.waitForSamples(1));
    QVERIFY(served.server.quit());
}

QTEST_GUILESS_MAIN(tst_Session)
#include "tst_Session.moc"
