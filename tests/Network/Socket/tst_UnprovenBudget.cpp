#include "Network/Socket/UnprovenBudget.h"

#include <QtTest>

class tst_UnprovenBudget : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_budget = UnprovenBudget([this] { return m_now; });
    }

    void addressThatIsNotLimitedGetsAnything();
    void limitedOneGetsThirtyTwoKibibytesAndNoMore();
    void allLimitedOnesShareOneBudget();
    void addressAndPortDecideTogether();
    void iPv4AddressIsSameInItsLongForm();
    void noTenSecondsHoldMoreThanBudget();
    void whatIsRefusedIsNotCharged();
    void releasedAddressGetsAnythingAgain();
    void limitedTwiceItIsReleasedAtOnce();

private:
    int admitted(const QHostAddress& address, quint16 port, int tries, int size = 1024);

    qint64 m_now = 0;
    UnprovenBudget m_budget;
};

namespace
{

const QHostAddress kFirst(QStringLiteral("192.0.2.1"));
const QHostAddress kSecond(QStringLiteral("192.0.2.2"));
constexpr quint16 kPort = 4000;

} // namespace

int tst_UnprovenBudget::admitted(const QHostAddress& address, quint16 port, int tries, int size)
{
    int count = 0;
    for (int i = 0; i < tries; ++i) {
        count += m_budget.admit(address, port, size) ? 1 : 0;
    }
    return count;
}

void tst_UnprovenBudget::addressThatIsNotLimitedGetsAnything()
{
    QCOMPARE(admitted(kFirst, kPort, 100), 100);
    m_budget.limit(kSecond, kPort);
    QCOMPARE(admitted(kSecond, kPort, 100), 32); // what the other got hasn't cost it anything
}

void tst_UnprovenBudget::limitedOneGetsThirtyTwoKibibytesAndNoMore()
{
    m_budget.limit(kFirst, kPort);
    QVERIFY(m_budget.isLimited(kFirst, kPort));
    QVERIFY(m_budget.admit(kFirst, kPort, 32'768));
    QVERIFY(!m_budget.admit(kFirst, kPort, 1));
}

void tst_UnprovenBudget::allLimitedOnesShareOneBudget()
{
    m_budget.limit(kFirst, kPort);
    m_budget.limit(kSecond, kPort);
    QCOMPARE(admitted(kFirst, kPort, 20), 20);
    QCOMPARE(admitted(kSecond, kPort, 20), 12);
}

void tst_UnprovenBudget::addressAndPortDecideTogether()
{
    m_budget.limit(kFirst, kPort);
    QVERIFY(!m_budget.isLimited(kFirst, kPort + 1));
    QVERIFY(!m_budget.isLimited(kSecond, kPort));
    QCOMPARE(admitted(kFirst, kPort + 1, 50), 50);
}

void tst_UnprovenBudget::iPv4AddressIsSameInItsLongForm()
{
    m_budget.limit(QHostAddress(QStringLiteral("::ffff:192.0.2.1")), kPort);
    QVERIFY(m_budget.isLimited(kFirst, kPort));
    QVERIFY(!m_budget.isLimited(kSecond, kPort));
}

void tst_UnprovenBudget::noTenSecondsHoldMoreThanBudget()
{
    m_budget.limit(kFirst, kPort);
    QCOMPARE(admitted(kFirst, kPort, 16), 16);
    m_now += 6000;
    QCOMPARE(admitted(kFirst, kPort, 100), 16);
    m_now += 3999; // the first half was charged 9,999 ms ago
    QCOMPARE(admitted(kFirst, kPort, 1), 0);
    m_now += 1;
    QCOMPARE(admitted(kFirst, kPort, 100), 16);
    m_now += 6000;
    QCOMPARE(admitted(kFirst, kPort, 100), 16);
}

void tst_UnprovenBudget::whatIsRefusedIsNotCharged()
{
    m_budget.limit(kFirst, kPort);
    QCOMPARE(admitted(kFirst, kPort, 10, 40'000), 0);
    QCOMPARE(admitted(kFirst, kPort, 100), 32);
}

void tst_UnprovenBudget::releasedAddressGetsAnythingAgain()
{
    m_budget.limit(kFirst, kPort);
    m_budget.limit(kSecond, kPort);
    QCOMPARE(admitted(kFirst, kPort, 100), 32);
    m_budget.release(kFirst, kPort);
    QCOMPARE(admitted(kFirst, kPort, 100), 100);
    QCOMPARE(admitted(kSecond, kPort, 100), 0); // what was spent stays spent
    m_budget.release(QHostAddress(QStringLiteral("192.0.2.3")), kPort);
    QVERIFY(m_budget.isLimited(kSecond, kPort));
}

void tst_UnprovenBudget::limitedTwiceItIsReleasedAtOnce()
{
    m_budget.limit(kFirst, kPort);
    m_budget.limit(kFirst, kPort);
    m_budget.release(kFirst, kPort);
    QVERIFY(!m_budget.isLimited(kFirst, kPort));
}

QTEST_GUILESS_MAIN(tst_UnprovenBudget)
#include "tst_UnprovenBudget.moc"
