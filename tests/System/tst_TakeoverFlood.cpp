#include "System/Served.h"
#include "support/WireClient.h"

#include <QElapsedTimer>
#include <QTest>

namespace
{

const QString kGreet = QStringLiteral("connect_to_host");
const QString kOther = QStringLiteral("any other");

/// Takes over until the server refuses. Gives the id of the session that is left then.
QByteArray useUp(WireClient& stranger)
{
    QByteArray session;
    for (int i = 0; i < 100 && stranger.open(kOther); ++i) {
        session = stranger.sessionId();
    }
    return stranger.sessionId().isEmpty() ? session : QByteArray();
}

} // namespace

/// Who names another identificator drives out whoever is connected. Anybody may, and each time it costs a
/// device.
class tst_TakeoverFlood : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void floodOfTakeoversCostsLittleMemoryAndHoldsNobodyUp();
    void takeoverBeyondRationFindsServerBusyAndLeavesSessionAsItIs();
    void takeoverWorksAgainSoonAfterFlood();

private:
    std::unique_ptr<Served> m_served;
};

void tst_TakeoverFlood::init()
{
    m_served = std::make_unique<Served>(recording({}));
    QVERIFY(m_served->server.serve());
}

void tst_TakeoverFlood::floodOfTakeoversCostsLittleMemoryAndHoldsNobodyUp()
{
    constexpr int kFlood = 257;
    WireClient owner(m_served->server);
    QElapsedTimer opening;
    opening.start();
    QVERIFY(owner.open(m_served->file));
    const qint64 most = 1000 + 10 * opening.elapsed(); // ms: a device takes longer on a busy machine
    QVERIFY(owner.waitForSamples(4800));
    const qint64 before = m_served->server.residentMemory();

    WireClient stranger(m_served->server);
    for (int i = 0; i < kFlood; ++i) {
        stranger.call(stranger.serverId(), kGreet, Wire::greeting(kOther));
    }
    WireClient other(m_served->server);
    qint64 longest = 0;
    while (stranger.repliesReceived() < kFlood) {
        QElapsedTimer answer;
        answer.start();
        QVERIFY(other.ask(other.serverId(), kGreet, {}, 60'000).has_value());
        longest = std::max(longest, answer.elapsed());
    }
    const qint64 grown = m_served->server.residentMemory() - before;
    QVERIFY2(grown < 40 * 1024, qPrintable(QStringLiteral("%1 KiB").arg(grown)));
    QVERIFY2(longest < most, qPrintable(QStringLiteral("%1 ms").arg(longest)));
}

void tst_TakeoverFlood::takeoverBeyondRationFindsServerBusyAndLeavesSessionAsItIs()
{
    WireClient stranger(m_served->server);
    WireClient client(m_served->server);
    // On a slow machine the ration may have been filled up in between.
    bool busy = false;
    for (int attempt = 0; attempt < 20 && !busy; ++attempt) {
        const QByteArray session = useUp(stranger);
        QVERIFY(stranger.ask(session, QStringLiteral("disconnect_from_host")).has_value());
        // A free server takes its own identificator all the same.
        QVERIFY(client.open(m_served->file));
        client.forgetCalls();
        const auto answer = stranger.ask(stranger.serverId(), kGreet, Wire::greeting(kOther));
        QVERIFY(answer.has_value());
        busy = answer->value(QStringLiteral("err")).toString() == QStringLiteral("Server busy!");
    }
    QVERIFY(busy);
    client.forgetSamples();
    QVERIFY(client.waitForSamples(4800));
    QVERIFY(client.askSession(QStringLiteral("ping")).has_value());
    QCOMPARE(client.calls(QStringLiteral("admin_request")).size(), 0);
    QCOMPARE(client.calls(QStringLiteral("disconnect_from_host")).size(), 0);
}

void tst_TakeoverFlood::takeoverWorksAgainSoonAfterFlood()
{
    WireClient stranger(m_served->server);
    QVERIFY(!useUp(stranger).isEmpty());
    stranger.forgetCalls();
    WireClient owner(m_served->server);
    QVERIFY(waitUntil([&owner] { return owner.open(kOther); }));
    QVERIFY(stranger.waitForCall(QStringLiteral("admin_request")));
}

QTEST_GUILESS_MAIN(tst_TakeoverFlood)
#include "tst_TakeoverFlood.moc"
