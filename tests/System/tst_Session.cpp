#include "System/Measure.h"
#include "System/Served.h"
#include "support/WireClient.h"

#include <QFile>
#include <QRegularExpression>
#include <QTest>
#include <algorithm>
#include <cmath>
#include <sys/resource.h>
#include <unistd.h>

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
    void clientGetsASessionOfItsOwn();
    void stationHasItsFrequencyAndLevelInTheSamples();
    void sampleDatagramsHold128ComplexSamples_data();
    void sampleDatagramsHold128ComplexSamples();
    void samplesComeAtTheRateOfTheRecording();
    void rateOfTheSamplesIsToldAtTheStart();
    void runningIsToldAtTheStart();
    void clientIsPinged();
    void badGreetingsAreRefused_data();
    void badGreetingsAreRefused();
    void minorVersionIsNotLookedAt();
    void sessionCommandsAreUnknownUnderTheServersId();
    void sessionCommandsAnswerWithAnEmptyObject_data();
    void sessionCommandsAnswerWithAnEmptyObject();
    void leavingEndsTheStreamsAndFreesTheServer();
    void nextSessionHasAnotherId();
    void oldSessionIdIsDead();
    void leavingTwiceIsNotAnswered();
    void sessionAcrossARestart();
    void serverThatGetsNoThreadRefusesAndServesOnceItGetsOne();
};

void tst_Session::clientGetsASessionOfItsOwn()
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

void tst_Session::stationHasItsFrequencyAndLevelInTheSamples()
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

void tst_Session::samplesComeAtTheRateOfTheRecording()
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

void tst_Session::rateOfTheSamplesIsToldAtTheStart()
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

void tst_Session::runningIsToldAtTheStart()
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

void tst_Session::badGreetingsAreRefused_data()
{
    const QString values = QStringLiteral("Error get client packet values!");
    const QString version = QStringLiteral("Unsupported version protocol!");
    const QJsonValue file(QStringLiteral("FILE"));
    QTest::addColumn<QJsonObject>("greeting");
    QTest::addColumn<QString>("refusal");
    const auto row = [](const char* name, const QJsonObject& greeting, const QString& refusal) {
        QTest::newRow(name) << greeting << refusal;
    };
    const QString vma = QStringLiteral("vma");
    const QString vmi = QStringLiteral("vmi");
    const QString identificator = QStringLiteral("identificator");
    row("nothing", {}, values);
    row("no vma", {{vmi, 0}, {identificator, file}}, values);
    row("no vmi", {{vma, 8}, {identificator, file}}, values);
    row("no identificator", {{vma, 8}, {vmi, 0}}, values);
    row("identificator is a number", {{vma, 8}, {vmi, 0}, {identificator, 5}}, values);
    row("identificator is null", {{vma, 8}, {vmi, 0}, {identificator, QJsonValue()}}, values);
    row("vma 9, no identificator", {{vma, 9}, {vmi, 0}}, values);
    row("vma 9, no vmi", {{vma, 9}, {identificator, file}}, values);
    row("vma is no number", {{vma, QStringLiteral("eight")}, {vmi, 0}, {identificator, file}}, values);
    row("vma is null", {{vma, QJsonValue()}, {vmi, 0}, {identificator, file}}, values);
    row("vma is an object", {{vma, QJsonObject()}, {vmi, 0}, {identificator, file}}, values);
    row("vma 9", {{vma, 9}, {vmi, 0}, {identificator, file}}, version);
    row("vma 0, the application's", {{vma, 0}, {vmi, 8}, {identificator, file}}, version);
    row("vma -8", {{vma, -8}, {vmi, 0}, {identificator, file}}, version);
    row("vma 7, another identificator", {{vma, 7}, {vmi, 0}, {identificator, QString()}}, version);
}

void tst_Session::badGreetingsAreRefused()
{
    QFETCH(QJsonObject, greeting);
    QFETCH(QString, refusal);
    static Served served(recording({}));
    if (!served.server.isRunning()) {
        QVERIFY(served.server.serve());
    }
    if (greeting.value(QStringLiteral("identificator")) == QJsonValue(QStringLiteral("FILE"))) {
        greeting.insert(QStringLiteral("identificator"), served.file);
    }
    WireClient client(served.server);
    const auto answer = client.ask(client.serverId(), QStringLiteral("connect_to_host"), greeting);
    QVERIFY(answer.has_value());
    QCOMPARE(answer->keys(), QStringList({QStringLiteral("cd"), QStringLiteral("err")}));
    QCOMPARE(text(*answer, "err"), refusal);
    QVERIFY(served.server.waitForLine(refusal));
    // Nobody is served, and nobody is kept out.
    WireClient other(served.server);
    QVERIFY(other.open(served.file));
    QVERIFY(other.close());
    QVERIFY(other.waitForCall(QStringLiteral("pc_rrd")));
    QCOMPARE(client.calls().size(), 0);
    QCOMPARE(client.iqBlockSizes().size(), 0);
}

void tst_Session::minorVersionIsNotLookedAt()
{
    Served served(recording({}));
    QVERIFY(served.server.serve());
    WireClient client(served.server);
    const auto answer =
        client.ask(client.serverId(), QStringLiteral("connect_to_host"), Wire::greeting(served.file, 8, 77));
    QVERIFY(answer.has_value());
    QVERIFY(answer->contains(QStringLiteral("session_id")));
    QVERIFY(served.server.quit());
}

void tst_Session::sessionCommandsAreUnknownUnderTheServersId()
{
    Served served(recording({}));
    QVERIFY(served.server.serve());
    WireClient client(served.server);
    QVERIFY(client.open(served.file));
    QVector<quint32> numbers;
    const QStringList commands{QStringLiteral("setIF"), QStringLiteral("setupDspH"),
                               QStringLiteral("fft_data_range"), QStringLiteral("ping"),
                               QStringLiteral("disconnect_from_host")};
    for (const QString& command : commands) {
        numbers.append(client.call(client.serverId(), command));
        QVERIFY(served.server.waitForLine(
            QStringLiteral("Error invoke rpc command \"%1\" - command name not found!").arg(command)));
    }
    QVERIFY(client.askSession(QStringLiteral("ping")).has_value());
    for (const quint32 number : qAsConst(numbers)) {
        QVERIFY(!client.hasReply(number));
    }
    QVERIFY(served.server.quit());
}

void tst_Session::sessionCommandsAnswerWithAnEmptyObject_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QJsonObject>("arguments");
    const auto row = [](const char* name, const char* command, const QJsonObject& arguments) {
        QTest::newRow(name) << QString::fromLatin1(command) << arguments;
    };
    const QString bandWidth = QStringLiteral("prefBandWidth");
    const QString aliasFree = QStringLiteral("aliasFree");
    const QString startIndex = QStringLiteral("startIndex");
    const QString stopIndex = QStringLiteral("stopIndex");
    const QString dataSize = QStringLiteral("dataSize");
    row("setIF", "setIF", {{QStringLiteral("IF"), 1000}});
    row("setIF without IF", "setIF", {});
    row("setIF of a word", "setIF", {{QStringLiteral("IF"), QStringLiteral("up")}});
    row("setIF beyond all reason", "setIF", {{QStringLiteral("IF"), 1e300}});
    row("setupDspH", "setupDspH", {{bandWidth, 6000}, {aliasFree, 3000}});
    row("setupDspH without aliasFree", "setupDspH", {{bandWidth, 6000}});
    row("setupDspH of nothing", "setupDspH", {{bandWidth, 0}, {aliasFree, 0}});
    row("setupDspH below nothing", "setupDspH", {{bandWidth, -1e300}, {aliasFree, -5}});
    row("fft_data_range", "fft_data_range",
        {{startIndex, 0}, {stopIndex, 512}, {dataSize, 512}, {QStringLiteral("fftSize"), 512}});
    row("fft_data_range without fftSize", "fft_data_range",
        {{startIndex, 0}, {stopIndex, 512}, {dataSize, 512}});
}

void tst_Session::sessionCommandsAnswerWithAnEmptyObject()
{
    QFETCH(QString, command);
    QFETCH(QJsonObject, arguments);
    static Served served(recording({}));
    if (!served.server.isRunning()) {
        QVERIFY(served.server.serve());
    }
    WireClient client(served.server);
    QVERIFY(client.open(served.file));
    const auto answer = client.askSession(command, arguments);
    QVERIFY(answer.has_value());
    QCOMPARE(answer->keys(), QStringList(QStringLiteral("cd")));
    QVERIFY(client.close());
}

void tst_Session::leavingEndsTheStreamsAndFreesTheServer()
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

void tst_Session::sessionAcrossARestart()
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

namespace
{

void limit(qint64 pid, __rlimit_resource resource, rlim_t bytes)
{
    rlimit present{};
    QCOMPARE(prlimit(static_cast<pid_t>(pid), resource, nullptr, &present), 0);
    present.rlim_cur = std::min(bytes, present.rlim_max);
    QCOMPARE(prlimit(static_cast<pid_t>(pid), resource, &present, nullptr), 0);
}

rlim_t addressSpace(qint64 pid)
{
    QFile file(QStringLiteral("/proc/%1/statm").arg(pid));
    if (!file.open(QIODevice::ReadOnly)) {
        return 0;
    }
    return file.readAll().split(' ').constFirst().toULongLong() * static_cast<rlim_t>(sysconf(_SC_PAGESIZE));
}

} // namespace

void tst_Session::serverThatGetsNoThreadRefusesAndServesOnceItGetsOne()
{
    constexpr rlim_t kGibi = 1ULL << 30U;
    Served served(recording({}));
    // A thread gets a stack as large as this; half of it is left for everything else.
    served.server.setPreparation([] { limit(0, RLIMIT_STACK, kGibi); });
    QVERIFY(served.server.serve());
    // Until then the look-up of a name may still start threads, after what there is was measured.
    QVERIFY(served.server.waitForLine(QStringLiteral("DNS lookup")));
    limit(served.server.pid(), RLIMIT_AS, addressSpace(served.server.pid()) + kGibi / 2);
    WireClient client(served.server);
    for (int i = 0; i < 3; ++i) {
        const auto answer =
            client.ask(client.serverId(), QStringLiteral("connect_to_host"), Wire::greeting(served.file));
        QVERIFY(answer.has_value());
        QCOMPARE(text(*answer, "err"), QStringLiteral("Error factory RadioDevice!"));
    }
    limit(served.server.pid(), RLIMIT_AS, RLIM_INFINITY);
    QVERIFY(client.open(served.file));
    QVERIFY(client.waitForSamples(4800));
    QVERIFY(served.server.quit());
}

QTEST_GUILESS_MAIN(tst_Session)
#include "tst_Session.moc"
