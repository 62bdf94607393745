#include "Platform/Interrupt.h"

#include <QtTest>
#include <array>
#include <csignal>

namespace
{

constexpr std::array kRequests{SIGINT, SIGTERM, SIGHUP};

auto handlerOf(int number)
{
    struct sigaction action = {};
    sigaction(number, nullptr, &action);
    return action.sa_handler;
}

} // namespace

class tst_Interrupt : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup() { init(); }
    void eachRequestIsToldOnce_data();
    void eachRequestIsToldOnce();
    void secondRequestOfItsKindEndsProcess();
    void terminalOfServiceMayEndTwice();
    void whatServiceWasStartedToIgnoreStaysIgnored();
    void commandCatchesWhatItWasStartedToIgnore();
    void requestsEndProcessAfterwards();
};

void tst_Interrupt::init()
{
    for (const int number : kRequests) {
        std::signal(number, SIG_DFL);
    }
}

void tst_Interrupt::eachRequestIsToldOnce_data()
{
    QTest::addColumn<int>("number");
    QTest::newRow("Ctrl-C") << SIGINT;
    QTest::newRow("service manager") << SIGTERM;
    QTest::newRow("end of the terminal") << SIGHUP;
}

void tst_Interrupt::eachRequestIsToldOnce()
{
    QFETCH(int, number);
    for (const auto program : {Interrupt::Program::Command, Interrupt::Program::Service}) {
        const Interrupt interrupt(program);
        QSignalSpy told(&interrupt, &Interrupt::interrupted);
        QCOMPARE(raise(number), 0);
        QCOMPARE(told.size(), 0); // it is told by the event loop, not within the handler
        QTRY_COMPARE(told.size(), 1);
        QCoreApplication::processEvents();
        QCOMPARE(told.size(), 1);
    }
}

void tst_Interrupt::secondRequestOfItsKindEndsProcess()
{
    const Interrupt interrupt(Interrupt::Program::Command);
    for (const int number : kRequests) {
        QCOMPARE(raise(number), 0);
        QVERIFY(handlerOf(number) == SIG_DFL);
    }
}

void tst_Interrupt::terminalOfServiceMayEndTwice()
{
    const Interrupt interrupt(Interrupt::Program::Service);
    QCOMPARE(raise(SIGHUP), 0);
    QCOMPARE(raise(SIGHUP), 0);
    QVERIFY(handlerOf(SIGHUP) != SIG_DFL);
    QCOMPARE(raise(SIGTERM), 0);
    QVERIFY(handlerOf(SIGTERM) == SIG_DFL);
}

void tst_Interrupt::whatServiceWasStartedToIgnoreStaysIgnored()
{
    std::signal(SIGHUP, SIG_IGN); // as nohup does
    {
        const Interrupt interrupt(Interrupt::Program::Service);
        QVERIFY(handlerOf(SIGHUP) == SIG_IGN);
        QVERIFY(handlerOf(SIGINT) != SIG_DFL);
    }
    QVERIFY(handlerOf(SIGHUP) == SIG_IGN);
}

void tst_Interrupt::commandCatchesWhatItWasStartedToIgnore()
{
    std::signal(SIGINT, SIG_IGN); // as a shell does for "&" in a script
    const Interrupt interrupt(Interrupt::Program::Command);
    QSignalSpy told(&interrupt, &Interrupt::interrupted);
    QCOMPARE(raise(SIGINT), 0);
    QTRY_COMPARE(told.size(), 1);
}

void tst_Interrupt::requestsEndProcessAfterwards()
{
    for (const auto program : {Interrupt::Program::Command, Interrupt::Program::Service}) {
        {
            const Interrupt interrupt(program);
        }
        for (const int number : kRequests) {
            QVERIFY(handlerOf(number) == SIG_DFL);
        }
    }
}

QTEST_GUILESS_MAIN(tst_Interrupt)
#include "tst_Interrupt.moc"
