#include "System/Served.h"
#include "support/WireClient.h"

#include <QElapsedTimer>
#include <QTest>

namespace
{

constexpr int kBudget = 32 * 1024; // bytes in 10 s
constexpr int kMuch = 48'000;      // samples: a second of them, and six times the budget
constexpr int kReplies = 1000;     // bytes that answers may take besides
const QString kOther = QStringLiteral("any other");
const QString kLost = QStringLiteral("datagrams, beyond the budget of unproven addresses");

/// Takes over, which frees the server, and comes again. What tells of the one may be beyond the budget.
bool driveOut(WireClient& client, const QString& identificator)
{
    return client.open(kOther) && waitUntil([&] { return client.open(identificator); });
}

} // namespace

/// Whoever asks for a session may write any address as its own, and what is sent goes there.
class tst_Amplification : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void oneSilentClientPerMinuteIsSentEverything();
    void furtherSilentClientsShareSmallBudget();
    void firstCallLiftsBound();
    void clientThatAnswersIsNeverBound();

private:
    [[nodiscard]] bool waitForLosses(int reports) const;

    std::unique_ptr<Served> m_served;
};

void tst_Amplification::init()
{
    m_served = std::make_unique<Served>(recording({{3000, 1000}}));
    QVERIFY(m_served->server.serve());
}

bool tst_Amplification::waitForLosses(int reports) const
{
    return waitUntil([this, reports] { return m_served->server.count(kLost) >= reports; });
}

void tst_Amplification::oneSilentClientPerMinuteIsSentEverything()
{
    WireClient silent(m_served->server);
    silent.setSilent(true);
    QVERIFY(silent.open(m_served->file));
    QVERIFY(silent.waitForSamples(kMuch));
}

void tst_Amplification::furtherSilentClientsShareSmallBudget()
{
    WireClient first(m_served->server);
    WireClient second(m_served->server);
    WireClient third(m_served->server);
    for (WireClient* const client : {&first, &second, &third}) {
        client->setSilent(true);
    }
    QVERIFY(first.open(m_served->file));
    QElapsedTimer clock;
    clock.start();
    QVERIFY(driveOut(second, m_served->file));
    QVERIFY(waitForLosses(1));
    // Who asks for the properties, under whatever name, has them sent there too.
    second.call(second.serverId(), QStringLiteral("it_ra_rrd"));
    QVERIFY(driveOut(third, m_served->file));
    QVERIFY(waitForLosses(3));
    const qint64 windows = clock.elapsed() / 10'000 + 1; // one, unless the machine is slow
    const qint64 heard = second.bytesHeard() + third.bytesHeard();
    QVERIFY2(heard <= windows * kBudget + kReplies, qPrintable(QString::number(heard)));
    QVERIFY(heard > kBudget / 2);
}

void tst_Amplification::firstCallLiftsBound()
{
    WireClient first(m_served->server);
    WireClient second(m_served->server);
    first.setSilent(true);
    second.setSilent(true);
    QVERIFY(first.open(m_served->file));
    QVERIFY(driveOut(second, m_served->file));
    QVERIFY(waitForLosses(1));
    QVERIFY(second.askSession(QStringLiteral("ping")).has_value());
    second.forgetSamples();
    QVERIFY(second.waitForSamples(kMuch));
    second.setSilent(false);

    // And the session of the minute is still the first one's.
    WireClient third(m_served->server);
    third.setSilent(true);
    QVERIFY(driveOut(third, m_served->file));
    QVERIFY(waitForLosses(2));
}

void tst_Amplification::clientThatAnswersIsNeverBound()
{
    for (int i = 0; i < 5; ++i) {
        WireClient client(m_served->server);
        QVERIFY(client.open(m_served->file));
        QVERIFY(client.waitForSamples(kMuch / 2));
        QVERIFY(client.close());
    }
    WireClient last(m_served->server);
    QVERIFY(last.open(m_served->file));
    QVERIFY(last.waitForSamples(2 * kMuch)); // losses are told every second
    QCOMPARE(m_served->server.count(kLost), 0);
}

QTEST_GUILESS_MAIN(tst_Amplification)
#include "tst_Amplification.moc"
