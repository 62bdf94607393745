#include "Server/UnprovenSessions.h"

#include "Network/Socket/UnprovenBudget.h"

#include <QtTest>

namespace
{

const QHostAddress kHost(QStringLiteral("192.0.2.1"));

} // namespace

class tst_UnprovenSessions : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void oneSessionEachMinuteIsFree();
    void minuteOfFreeOneEndsWithMinute();
    void provenSessionIsChargedNoMore();
    void provenSessionDoesNotUseUpMinute();
    void anotherPortIsAnotherClient();
    void addressStaysChargedForOneMinuteAndNoLonger();
    void addressThatComesAgainIsChargedOnceAndFreedOnce();
    void freeSessionIsNotChargedForItsPredecessor();

private:
    void begin(quint16 port) { m_sessions->begin(kHost, port); }
    [[nodiscard]] bool isCharged(quint16 port) const { return m_sessions->budget()->isLimited(kHost, port); }

    qint64 m_now = 0;
    std::unique_ptr<UnprovenSessions> m_sessions;
};

void tst_UnprovenSessions::init()
{
    m_now = 0;
    m_sessions = std::make_unique<UnprovenSessions>(QSharedPointer<UnprovenBudget>::create(),
                                                    [this] { return m_now; });
}

void tst_UnprovenSessions::oneSessionEachMinuteIsFree()
{
    begin(1);
    QVERIFY(!isCharged(1));
    begin(2);
    begin(3);
    QVERIFY(!isCharged(1));
    QVERIFY(isCharged(2));
    QVERIFY(isCharged(3));
}

void tst_UnprovenSessions::minuteOfFreeOneEndsWithMinute()
{
    begin(1);
    m_now = 59'999;
    begin(2);
    QVERIFY(isCharged(2));
    m_now = 60'000;
    begin(3);
    QVERIFY(!isCharged(3));
    m_now = 119'999;
    begin(4);
    QVERIFY(isCharged(4));
}

void tst_UnprovenSessions::provenSessionIsChargedNoMore()
{
    begin(1);
    begin(2);
    begin(3);
    m_sessions->prove(kHost, 2);
    QVERIFY(!isCharged(2));
    QVERIFY(isCharged(3));
}

void tst_UnprovenSessions::provenSessionDoesNotUseUpMinute()
{
    for (int i = 0; i < 10; ++i) {
        begin(1);
        QVERIFY(!isCharged(1));
        m_sessions->prove(kHost, 1);
    }
    begin(2);
    QVERIFY(!isCharged(2));
    // Which another one, proven or not, leaves as it is.
    begin(3);
    m_sessions->prove(kHost, 3);
    begin(4);
    QVERIFY(isCharged(4));
}

void tst_UnprovenSessions::anotherPortIsAnotherClient()
{
    begin(1);
    m_sessions->prove(kHost, 2);
    begin(2);
    QVERIFY(isCharged(2));
    m_sessions->prove(kHost, 1);
    QVERIFY(isCharged(2));
    m_sessions->prove(QHostAddress(QStringLiteral("192.0.2.2")), 2);
    QVERIFY(isCharged(2));
}

void tst_UnprovenSessions::addressStaysChargedForOneMinuteAndNoLonger()
{
    begin(1);
    m_now = 10'000;
    begin(2);
    m_now = 69'999;
    begin(3); // the free one of the next minute
    QVERIFY(isCharged(2));
    m_now = 70'000;
    begin(4);
    QVERIFY(!isCharged(2));
    QVERIFY(isCharged(4));
}

void tst_UnprovenSessions::addressThatComesAgainIsChargedOnceAndFreedOnce()
{
    begin(1);
    begin(2);
    m_now = 50'000;
    begin(2);
    m_now = 60'000; // a minute after its first session, and not after its second
    begin(3);
    QVERIFY(isCharged(2));
    m_sessions->prove(kHost, 2);
    QVERIFY(!isCharged(2));
}

void tst_UnprovenSessions::freeSessionIsNotChargedForItsPredecessor()
{
    begin(1);
    m_now = 59'000;
    begin(2);
    QVERIFY(isCharged(2));
    m_now = 61'000;
    begin(2);
    QVERIFY(!isCharged(2));
}

QTEST_GUILESS_MAIN(tst_UnprovenSessions)
#include "tst_UnprovenSessions.moc"
