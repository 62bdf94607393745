#include "System/Served.h"
#include "support/WireClient.h"

#include <QTest>
#include <csignal>
#include <optional>

namespace
{

const QString kGreet = QStringLiteral("connect_to_host");
const QString kLeave = QStringLiteral("disconnect_from_host");
const QString kRequest = QStringLiteral("admin_request");
const QString kOther = QStringLiteral("any other");

/// Commands called under a session's id, the pings left out.
QStringList told(const WireClient& client, const QByteArray& sender)
{
    QStringList result;
    for (const WireClient::Message& call : client.calls()) {
        if (call.sender == sender && call.command != QStringLiteral("ping")) {
            result.append(call.command);
        }
    }
    return result;
}

bool waitForStatus(ServerProcess& server, const char* connected, int connections)
{
    const QString first = QStringLiteral("\tConnected: %1").arg(QLatin1String(connected));
    const QString second = QStringLiteral("\tCount connections: %1").arg(connections);
    const int before = server.lines().size();
    server.type("stat\n");
    return waitUntil(
        [&server, before, first, second] {
            const QStringList fresh = server.lines().mid(before);
            const int at = fresh.indexOf(first);
            return at >= 0 && fresh.value(at + 1) == second;
        },
        10'000);
}

bool setFrequency(WireClient& client, double frequency)
{
    return client
        .ask(client.serverId(), QStringLiteral("wp_rrd"),
             {{QStringLiteral("n"), QStringLiteral("frequency")}, {QStringLiteral("v"), frequency}})
        .has_value();
}

/// The last one that the client has heard of.
double toldFrequency(const WireClient& client)
{
    double frequency = 0.0;
    for (const WireClient::Message& call : client.calls(QStringLiteral("pci_rrd"))) {
        if (call.body.value(QStringLiteral("n")).toString() == QStringLiteral("frequency")) {
            frequency = call.body.value(QStringLiteral("v")).toDouble();
        }
    }
    return frequency;
}

/// Sends both while the server is stopped, so that it finds them together.
void sendTogether(const ServerProcess& server, const std::function<void()>& send)
{
    server.signal(SIGSTOP);
    send();
    server.signal(SIGCONT);
}

} // namespace

class tst_Takeover : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void secondClientFindsServerBusy();
    void sameClientFindsServerBusy();
    void otherIdentificatorTakesOverAndFreesServer();
    void takeoverOfFreeServerIsOrdinarySession();
    void takeoverOfOneself();
    void leavingAndComingInOneGoLeavesNewSessionAlive();
    void leavingAndComingInOneGoSavesOldProperties();
    void leavingAndComingManyTimesOver();
    void takeoverInOneGoWithLeave();
    void sessionTakenOverWhileItsEndIsOnItsWayIsSaved();

private:
    std::optional<QJsonObject> leaveAndTakeOver(WireClient& client, WireClient& administrator);

    std::unique_ptr<Served> m_served;
};

void tst_Takeover::init()
{
    m_served = std::make_unique<Served>(recording({}));
    QVERIFY(m_served->server.serve());
}

void tst_Takeover::secondClientFindsServerBusy()
{
    WireClient first(m_served->server);
    QVERIFY(first.open(m_served->file));
    WireClient second(m_served->server);
    const auto answer = second.ask(second.serverId(), kGreet, Wire::greeting(m_served->file));
    QVERIFY(answer.has_value());
    QCOMPARE(answer->keys(), QStringList({QStringLiteral("cd"), QStringLiteral("err")}));
    QCOMPARE(answer->value(QStringLiteral("err")).toString(), QStringLiteral("Server busy!"));
    QCOMPARE(m_served->server.count(QStringLiteral("Server busy!")), 1);

    first.forgetSamples();
    QVERIFY(first.waitForSamples(4800));
    QVERIFY(first.askSession(QStringLiteral("ping")).has_value());
    QVERIFY(!told(first, first.sessionId()).contains(kRequest));
    QCOMPARE(second.iqBlockSizes().size(), 0);
    QVERIFY(waitForStatus(m_served->server, "true", 1));
}

void tst_Takeover::sameClientFindsServerBusy()
{
    WireClient client(m_served->server);
    QVERIFY(client.open(m_served->file));
    const auto answer = client.ask(client.serverId(), kGreet, Wire::greeting(m_served->file));
    QVERIFY(answer.has_value());
    QCOMPARE(answer->value(QStringLiteral("err")).toString(), QStringLiteral("Server busy!"));
    QVERIFY(client.askSession(QStringLiteral("ping")).has_value());
}

void tst_Takeover::otherIdentificatorTakesOverAndFreesServer()
{
    WireClient client(m_served->server);
    QVERIFY(client.open(m_served->file));
    QVERIFY(client.waitForSamples(4800));
    WireClient administrator(m_served->server);

    QVERIFY(administrator.open(kOther));

    // The one is asked to go, then told that it is over ...
    QVERIFY(client.waitForCall(kLeave));
    QStringList heard = told(client, client.sessionId());
    heard.removeAll(QStringLiteral("outSampleRateChanged"));
    QCOMPARE(heard, QStringList({kRequest, kLeave}));
    // ... and so is the other, once it has its session: the server is free then.
    QVERIFY(administrator.waitForCall(kLeave));
    QCOMPARE(told(administrator, administrator.sessionId()).last(), kLeave);
    QVERIFY(!told(administrator, administrator.sessionId()).contains(kRequest));
    QVERIFY(waitForStatus(m_served->server, "false", 2));
    const quint32 number = administrator.call(administrator.sessionId(), QStringLiteral("ping"));

    // It comes again, as an ordinary client.
    QVERIFY(administrator.open(m_served->file));
    QVERIFY(!administrator.hasReply(number));
    administrator.forgetSamples();
    QVERIFY(administrator.waitForSamples(4800));
    QVERIFY(administrator.askSession(QStringLiteral("ping")).has_value());
    QCOMPARE(client.calls(kLeave).size(), 1);
    QVERIFY(waitForStatus(m_served->server, "true", 3));
}

void tst_Takeover::takeoverOfFreeServerIsOrdinarySession()
{
    WireClient administrator(m_served->server);
    QVERIFY(administrator.open(kOther));
    QVERIFY(administrator.waitForSamples(9600));
    QVERIFY(administrator.askSession(QStringLiteral("ping")).has_value());
    QVERIFY(waitForStatus(m_served->server, "true", 1));
    // An empty one is as good as any.
    QVERIFY(administrator.close());
    QVERIFY(administrator.open(QString()));
    QVERIFY(administrator.waitForSamples(9600));
}

void tst_Takeover::takeoverOfOneself()
{
    WireClient client(m_served->server);
    QVERIFY(client.open(m_served->file));
    const QByteArray first = client.sessionId();
    QVERIFY(client.open(kOther));
    QVERIFY(client.sessionId() != first);
    QVERIFY(client.waitForCall(kLeave, 2));
    QVERIFY(told(client, first).contains(kRequest));
    QVERIFY(client.open(m_served->file));
    QVERIFY(client.askSession(QStringLiteral("ping")).has_value());
}

void tst_Takeover::leavingAndComingInOneGoLeavesNewSessionAlive()
{
    WireClient first(m_served->server);
    QVERIFY(first.open(m_served->file));
    WireClient second(m_served->server);
    quint32 leave = 0;
    quint32 greet = 0;
    sendTogether(m_served->server, [&] {
        leave = first.call(first.sessionId(), kLeave);
        greet = second.call(second.serverId(), kGreet, Wire::greeting(m_served->file));
    });
    QVERIFY(waitUntil([&] { return first.hasReply(leave) && second.hasReply(greet); }));
    const QByteArray session =
        QByteArray::fromHex(second.reply(greet).value(QStringLiteral("session_id")).toString().toLatin1());
    QCOMPARE(session.size(), 20);

    // It would have ended with the old device's notice, before anything else was answered.
    for (int i = 0; i < 3; ++i) {
        QVERIFY(second.ask(session, QStringLiteral("ping")).has_value());
    }
    second.forgetSamples();
    QVERIFY(second.waitForSamples(9600));
    QVERIFY(!told(second, session).contains(kLeave));
    QCOMPARE(second.ask(second.serverId(), QStringLiteral("it_ra_rrd")).has_value(), true);
    QVERIFY(waitForStatus(m_served->server, "true", 2));
}

void tst_Takeover::leavingAndComingInOneGoSavesOldProperties()
{
    WireClient client(m_served->server);
    QVERIFY(client.open(m_served->file));
    QVERIFY(setFrequency(client, 14'012'345.0));
    quint32 greet = 0;
    sendTogether(m_served->server, [&] {
        client.call(client.sessionId(), kLeave);
        greet = client.call(client.serverId(), kGreet, Wire::greeting(m_served->file));
    });
    QVERIFY(waitUntil([&] { return client.hasReply(greet); }));
    QVERIFY(client.reply(greet).contains(QStringLiteral("session_id")));
    client.forgetCalls();
    QVERIFY(client.ask(client.serverId(), QStringLiteral("it_ra_rrd")).has_value());
    QCOMPARE(toldFrequency(client), 14'012'345.0);
}

void tst_Takeover::leavingAndComingManyTimesOver()
{
    constexpr int kRounds = 20;
    WireClient client(m_served->server);
    QVERIFY(client.open(m_served->file));
    QByteArray session = client.sessionId();
    for (int round = 0; round < kRounds; ++round) {
        quint32 greet = 0;
        sendTogether(m_served->server, [&] {
            client.call(session, kLeave);
            greet = client.call(client.serverId(), kGreet, Wire::greeting(m_served->file));
        });
        QVERIFY(waitUntil([&] { return client.hasReply(greet); }));
        session = QByteArray::fromHex(
            client.reply(greet).value(QStringLiteral("session_id")).toString().toLatin1());
        QCOMPARE(session.size(), 20);
    }
    QVERIFY(client.ask(session, QStringLiteral("ping")).has_value());
    QVERIFY(waitForStatus(m_served->server, "true", kRounds + 1));
}

// What the administrator is answered; nothing if he isn't.
std::optional<QJsonObject> tst_Takeover::leaveAndTakeOver(WireClient& client, WireClient& administrator)
{
    quint32 greet = 0;
    sendTogether(m_served->server, [&] {
        client.call(client.sessionId(), kLeave);
        greet = administrator.call(administrator.serverId(), kGreet, Wire::greeting(kOther));
    });
    if (!waitUntil([&] { return administrator.hasReply(greet); })) {
        return std::nullopt;
    }
    return administrator.reply(greet);
}

void tst_Takeover::takeoverInOneGoWithLeave()
{
    // The client leaves and the administrator comes: by then there is nobody to drive out.
    WireClient client(m_served->server);
    QVERIFY(client.open(m_served->file));
    WireClient administrator(m_served->server);
    const auto reply = leaveAndTakeOver(client, administrator);
    QVERIFY(reply.has_value());
    const QByteArray session =
        QByteArray::fromHex(reply->value(QStringLiteral("session_id")).toString().toLatin1());
    QVERIFY(administrator.waitForSamples(9600));
    QVERIFY(administrator.ask(session, QStringLiteral("ping")).has_value());
    QVERIFY(!told(client, client.sessionId()).contains(kRequest));
}

void tst_Takeover::sessionTakenOverWhileItsEndIsOnItsWayIsSaved()
{
    WireClient client(m_served->server);
    QVERIFY(client.open(m_served->file));
    QVERIFY(setFrequency(client, 14'012'345.0));
    WireClient administrator(m_served->server);
    const auto reply = leaveAndTakeOver(client, administrator);
    QVERIFY(reply.has_value());
    QVERIFY(reply->contains(QStringLiteral("session_id")));
    QVERIFY(administrator.ask(administrator.serverId(), QStringLiteral("it_ra_rrd")).has_value());
    QCOMPARE(toldFrequency(administrator), 14'012'345.0);
}

QTEST_GUILESS_MAIN(tst_Takeover)
#include "tst_Takeover.moc"
