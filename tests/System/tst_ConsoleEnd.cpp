#include "System/ConsoleStatus.h"
#include "System/PseudoTerminal.h"
#include "System/Recording.h"
#include "System/ServerHome.h"
#include "System/ServerProcess.h"
#include "support/Wait.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTest>
#include <array>
#include <csignal>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

namespace
{

/// A second of the server's own passes, and it takes nothing like a core; one that spins takes all of it.
bool staysIdle(const ServerProcess& server)
{
    if (!ConsoleStatus::answers(server)) {
        return false;
    }
    const qint64 before = server.processorTime();
    QElapsedTimer clock;
    clock.start();
    if (!waitUntil([&clock] { return clock.elapsed() >= 1000; })) {
        return false;
    }
    const qint64 used = server.processorTime() - before;
    return used < clock.elapsed() / 4 && ConsoleStatus::answers(server);
}

} // namespace

/// Standard input that ends, or may not be read: the server serves on, and takes no time for it.
class tst_ConsoleEnd : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void serverRunsOnAfterEndOfInput_data();
    void serverRunsOnAfterEndOfInput();
    void inputThatEndsLaterEndsNothing();
    void endOfInputOnTerminalIsNoEnd();
    void terminalThatHangsUpEndsNothing();
    void backgroundJobIsNotStoppedByItsTerminal();

private:
    std::unique_ptr<ServerHome> m_home;
};

void tst_ConsoleEnd::init()
{
    m_home = std::make_unique<ServerHome>();
    m_home->addRecording(QStringLiteral("a.wav"), recording({}));
}

void tst_ConsoleEnd::serverRunsOnAfterEndOfInput_data()
{
    QTest::addColumn<QByteArray>("path");
    QTest::newRow("closed from the start") << QByteArray();
    QTest::newRow("/dev/null") << QByteArray("/dev/null");
    QTest::newRow("a finished pipe") << QByteArray("pipe");
    QTest::newRow("an empty file") << QByteArray("empty");
    QTest::newRow("a file of lines") << QByteArray("lines");
    QTest::newRow("a folder") << QByteArray("/tmp");
}

void tst_ConsoleEnd::serverRunsOnAfterEndOfInput()
{
    QFETCH(QByteArray, path);
    ServerProcess server(*m_home);
    if (path == "pipe") {
        server.setPreparation([] {
            std::array<int, 2> ends{};
            if (pipe(ends.data()) == 0) {
                dup2(ends[0], STDIN_FILENO);
                close(ends[0]);
                close(ends[1]);
            }
        });
    } else if (path.isEmpty()) {
        server.setPreparation([] { close(STDIN_FILENO); });
    } else {
        if (!path.startsWith('/')) {
            QFile file(m_home->path() + QLatin1Char('/') + QString::fromLatin1(path));
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(path == "lines" ? "nothing\nof\nnote\n" : "");
            path = file.fileName().toLatin1();
        }
        server.setPreparation([path] {
            const int input = open(path.constData(), O_RDONLY);
            dup2(input, STDIN_FILENO);
            close(input);
        });
    }
    QVERIFY(server.serve());
    QVERIFY(staysIdle(server));
    QCOMPARE(server.count(QStringLiteral("QSocketNotifier")), 0); // two would share a descriptor
    server.signal(SIGTERM);
    QCOMPARE(server.waitForExitCode(), 0);
}

void tst_ConsoleEnd::inputThatEndsLaterEndsNothing()
{
    ServerProcess server(*m_home);
    QVERIFY(server.serve());
    server.type("stat\n");
    QVERIFY(ConsoleStatus::waitFor(server, 1));
    server.closeInput();
    QVERIFY(staysIdle(server));
}

void tst_ConsoleEnd::endOfInputOnTerminalIsNoEnd()
{
    const PseudoTerminal terminal;
    ServerProcess server(*m_home);
    server.setInputFile(terminal.device());
    QVERIFY(server.serve());
    terminal.type("\4");
    QVERIFY(ConsoleStatus::answers(server));
    terminal.type("stat\n");
    QVERIFY(ConsoleStatus::waitFor(server, 1));
    terminal.type("\4\4");
    QVERIFY(staysIdle(server));
    terminal.type("q\n");
    QCOMPARE(server.waitForExitCode(), 0);
}

void tst_ConsoleEnd::terminalThatHangsUpEndsNothing()
{
    PseudoTerminal terminal;
    ServerProcess server(*m_home);
    server.setInputFile(terminal.device());
    QVERIFY(server.serve());
    terminal.type("stat\n");
    QVERIFY(ConsoleStatus::waitFor(server, 1));
    terminal.hangUp();
    QVERIFY(staysIdle(server));
}

void tst_ConsoleEnd::backgroundJobIsNotStoppedByItsTerminal()
{
    const PseudoTerminal terminal;
    ServerProcess server(*m_home);
    server.setInputFile(terminal.device());
    // A shell with job control keeps the foreground; its job may not read the terminal.
    server.startBy(QStringLiteral("setsid"),
                   {QStringLiteral("--ctty"), QStringLiteral("sh"), QStringLiteral("-c"),
                    QStringLiteral("set -m; setpriv --pdeathsig KILL \"$0\" & wait"),
                    QStringLiteral(ORVENLINK_SERVER)});
    QVERIFY(server.waitUntilServing());
    terminal.type("typed for the shell\n");
    QVERIFY(staysIdle(server));
}

QTEST_GUILESS_MAIN(tst_ConsoleEnd)
#include "tst_ConsoleEnd.moc"
