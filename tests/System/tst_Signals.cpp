#include "System/ConsoleStatus.h"
#include "System/PseudoTerminal.h"
#include "System/Recording.h"
#include "System/ServerHome.h"
#include "System/ServerProcess.h"

#include <QTest>
#include <csignal>
#include <memory>

/// Requests of the system to end the server.
class tst_Signals : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void signalsDoWhatQDoes_data();
    void signalsDoWhatQDoes();
    void closedTerminalEndsItsServer();
    void ignoredHangupEndsNothing();
    void signalEndsProcessAfterEndOfInput();

private:
    std::unique_ptr<ServerHome> m_home;
};

void tst_Signals::init()
{
    m_home = std::make_unique<ServerHome>();
    m_home->addRecording(QStringLiteral("a.wav"), recording({}));
}

void tst_Signals::signalsDoWhatQDoes_data()
{
    QTest::addColumn<int>("number");
    QTest::newRow("SIGINT") << SIGINT;
    QTest::newRow("SIGTERM") << SIGTERM;
    QTest::newRow("SIGHUP") << SIGHUP;
}

void tst_Signals::signalsDoWhatQDoes()
{
    QFETCH(int, number);
    ServerProcess server(*m_home);
    QVERIFY(server.serve());
    server.signal(number);
    QCOMPARE(server.waitForExitCode(), 0);
}

void tst_Signals::closedTerminalEndsItsServer()
{
    PseudoTerminal terminal;
    ServerProcess server(*m_home);
    server.setInputFile(terminal.device());
    server.startBy(QStringLiteral("setsid"), {QStringLiteral("--ctty"), QStringLiteral(ORVENLINK_SERVER)});
    QVERIFY(server.waitUntilServing());
    terminal.hangUp();
    QCOMPARE(server.waitForExitCode(), 0);
}

void tst_Signals::ignoredHangupEndsNothing()
{
    ServerProcess server(*m_home);
    server.setPreparation([] { std::signal(SIGHUP, SIG_IGN); }); // as nohup does
    QVERIFY(server.serve());
    server.signal(SIGHUP);
    QVERIFY(ConsoleStatus::answers(server));
    QVERIFY(server.quit());
}

void tst_Signals::signalEndsProcessAfterEndOfInput()
{
    ServerProcess server(*m_home);
    QVERIFY(server.serve());
    server.closeInput();
    QVERIFY(ConsoleStatus::answers(server));
    server.signal(SIGTERM);
    QCOMPARE(server.waitForExitCode(), 0);
}

QTEST_GUILESS_MAIN(tst_Signals)
#include "tst_Signals.moc"
