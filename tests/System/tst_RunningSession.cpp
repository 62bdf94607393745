#include "System/Receiver.h"
#include "System/Served.h"
#include "support/WireClient.h"

#include <QTest>

namespace
{

/// A receiver, and what its session may be changed to while samples flow.
struct Subject
{
    const char* name;                 ///< Of a row of `allReceivers`; the player if empty.
    std::array<double, 2> rates;      ///< Hertz.
    std::array<double, 2> tunings;    ///< Hertz.
    std::array<double, 2> bandwidths; ///< Hertz.
};

const std::array<Subject, 5> kSubjects{{
    {"", {48'000, 48'000}, {14'250'000, 14'253'000}, {8'000, 20'000}},
    {"RTL", {1'024'000, 2'048'000}, {100'000'000, 101'500'000}, {12'000, 200'000}},
    {"Airspy HF+", {384'000, 768'000}, {7'100'000, 15'750'000}, {12'000, 100'000}},
    {"Airspy", {3'000'000, 6'000'000}, {100'000'000, 433'920'000}, {12'000, 200'000}},
    {"RSP", {2'048'000, 2'048'000}, {1'000'500'000, 1'001'000'000}, {12'000, 200'000}},
}};

constexpr int kRounds = 6;
constexpr std::array<int, 2> kFrameSizes{512, 1'000}; // points
constexpr size_t kFresh = 2'000;                      // samples: some blocks beyond those under way

QJsonObject property(const char* name, double value)
{
    return {{QStringLiteral("n"), QLatin1String(name)}, {QStringLiteral("v"), value}};
}

/// Sends every change there is, without waiting: the later ones find the device at work on the earlier ones.
QVector<quint32> changeAll(WireClient& client, const Subject& subject, int round)
{
    const size_t turn = static_cast<size_t>(round) % 2;
    const QByteArray session = client.sessionId();
    const QString write = QStringLiteral("wp_rrd");
    const QString tune = QStringLiteral("setIF");
    const double intermediate = subject.rates[turn] / 8;
    return {
        client.call(session, QStringLiteral("setupDspH"),
                    {{QStringLiteral("prefBandWidth"), subject.bandwidths[turn]},
                     {QStringLiteral("aliasFree"), subject.bandwidths[turn] * 0.8}}),
        client.call(session, tune, {{QStringLiteral("IF"), intermediate}}),
        client.call(session, QStringLiteral("fft_data_range"),
                    {{QStringLiteral("startIndex"), 0},
                     {QStringLiteral("stopIndex"), 2'048 << turn},
                     {QStringLiteral("dataSize"), kFrameSizes[turn]},
                     {QStringLiteral("fftSize"), 2'048 << turn}}),
        client.call(client.serverId(), write, property("sampleRate", subject.rates[turn])),
        client.call(client.serverId(), write, property("frequency", subject.tunings[turn])),
        client.call(session, tune, {{QStringLiteral("IF"), -intermediate}}),
    };
}

bool waitForReplies(const WireClient& client, const QVector<quint32>& numbers)
{
    return waitUntil([&client, &numbers] {
        return std::all_of(numbers.cbegin(), numbers.cend(),
                           [&client](quint32 number) { return client.hasReply(number); });
    });
}

/// A property as the server tells it when it is asked for all.
double told(WireClient& client, const char* name)
{
    client.forgetCalls();
    if (!client.ask(client.serverId(), QStringLiteral("it_ra_rrd"))) {
        return -1;
    }
    for (const WireClient::Message& call : client.calls(QStringLiteral("pci_rrd"))) {
        if (call.body.value(QStringLiteral("n")).toString() == QLatin1String(name)) {
            return call.body.value(QStringLiteral("v")).toDouble();
        }
    }
    return -1;
}

} // namespace

Q_DECLARE_METATYPE(Subject)

/// Whole sessions that are changed, left and taken over while samples flow.
class tst_RunningSession : public QObject
{
    Q_OBJECT

private slots:
    void everyChangeReachesRunningSession_data() { rows(); }
    void everyChangeReachesRunningSession();
    void sessionCanBeLeftAmidChanges_data() { rows(); }
    void sessionCanBeLeftAmidChanges();
    void sessionCanBeTakenOverAmidChanges_data() { rows(); }
    void sessionCanBeTakenOverAmidChanges();
    void cleanup();

private:
    static void rows();
    /// A server for the subject, running, with a session for `m_client`.
    [[nodiscard]] bool serve(const Subject& subject);

    std::unique_ptr<Served> m_player;
    std::unique_ptr<ServedReceiver> m_receiver;
    ServerProcess* m_server = nullptr;
    QString m_identificator;
    std::unique_ptr<WireClient> m_client;
};

void tst_RunningSession::rows()
{
    QTest::addColumn<Subject>("subject");
    for (const Subject& subject : kSubjects) {
        QTest::newRow(*subject.name == '\0' ? "player" : subject.name) << subject;
    }
}

bool tst_RunningSession::serve(const Subject& subject)
{
    if (*subject.name == '\0') {
        m_player = std::make_unique<Served>(recording({{5'000, 1'000}}));
        m_server = &m_player->server;
        m_identificator = m_player->file;
    } else {
        m_receiver = std::make_unique<ServedReceiver>(receiver(subject.name));
        m_server = &m_receiver->server;
        m_identificator = m_receiver->which.identificator;
    }
    if (!m_server->serve()) {
        return false;
    }
    m_client = std::make_unique<WireClient>(*m_server);
    return m_client->open(m_identificator) && m_client->waitForSamples(kFresh);
}

void tst_RunningSession::cleanup()
{
    m_client.reset();
    m_player.reset();
    m_receiver.reset();
}

void tst_RunningSession::everyChangeReachesRunningSession()
{
    QFETCH(Subject, subject);
    QVERIFY(serve(subject));
    for (int round = 0; round < kRounds; ++round) {
        QVERIFY(waitForReplies(*m_client, changeAll(*m_client, subject, round)));
        QVERIFY(m_client->nextFrame(kFrameSizes[static_cast<size_t>(round) % 2]).has_value());
        m_client->forgetSamples();
        QVERIFY(m_client->waitForSamples(kFresh));
    }
    QVERIFY(m_client->calls(QStringLiteral("error_happen")).isEmpty());
    QCOMPARE(told(*m_client, "frequency"), subject.tunings[(kRounds - 1) % 2]);
    QCOMPARE(told(*m_client, "sampleRate"), subject.rates[(kRounds - 1) % 2]);
    QVERIFY(m_client->close());
    QVERIFY(m_server->quit());
}

void tst_RunningSession::sessionCanBeLeftAmidChanges()
{
    QFETCH(Subject, subject);
    QVERIFY(serve(subject));
    for (int round = 0; round < kRounds; ++round) {
        changeAll(*m_client, subject, round);
        QVERIFY(m_client->close());
        QVERIFY(m_client->open(m_identificator));
        m_client->forgetSamples();
        QVERIFY(m_client->waitForSamples(kFresh));
    }
    QVERIFY(m_server->quit());
}

void tst_RunningSession::sessionCanBeTakenOverAmidChanges()
{
    QFETCH(Subject, subject);
    QVERIFY(serve(subject));
    WireClient administrator(*m_server);
    for (int round = 0; round < kRounds / 2; ++round) {
        changeAll(*m_client, subject, round);
        m_client->forgetCalls();
        QVERIFY(administrator.open(QStringLiteral("any other")));
        QVERIFY(m_client->waitForCall(QStringLiteral("disconnect_from_host")));
        QVERIFY(administrator.waitForCall(QStringLiteral("disconnect_from_host"), round + 1));
        QVERIFY(m_client->open(m_identificator));
        m_client->forgetSamples();
        QVERIFY(m_client->waitForSamples(kFresh));
    }
    QVERIFY(m_client->close());
    QVERIFY(m_server->quit());
}

QTEST_GUILESS_MAIN(tst_RunningSession)
#include "tst_RunningSession.moc"
