#include "System/Recording.h"
#include "System/ServerHome.h"
#include "System/ServerProcess.h"
#include "System/Wait.h"
#include "System/WireClient.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTest>
#include <QUdpSocket>
#include <array>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

namespace
{

const QStringList kFree{QStringLiteral("\tConnected: false"), QStringLiteral("\tCount connections: 0"),
                        QStringLiteral("\tSuccess hole punching: 0"),
                        QStringLiteral("\tFail hole punching: 0")};

/// The master side of a terminal.
class Terminal
{
public:
    Terminal()
        : m_master(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC))
    {
        grantpt(m_master);
        unlockpt(m_master);
        m_device = QString::fromLatin1(ptsname(m_master));
    }
    ~Terminal() { hangUp(); }

    [[nodiscard]] QString device() const { return m_device; }
    void type(const QByteArray& bytes) const
    {
        [[maybe_unused]] const ssize_t written =
            write(m_master, bytes.constData(), static_cast<size_t>(bytes.size()));
    }
    void hangUp()
    {
        if (m_master >= 0) {
            close(m_master);
        }
        m_master = -1;
    }

private:
    Q_DISABLE_COPY_MOVE(Terminal)
    int m_master;
    QString m_device;
};

/// The lines that "stat" has printed so far, of all its runs.
QStringList status(const ServerProcess& server)
{
    QStringList result;
    const QStringList all = server.lines();
    for (const QString& line : all) {
        if (line.startsWith(QLatin1Char('\t')) && !line.contains(QStringLiteral("found .."))) {
            result.append(line);
        }
    }
    return result;
}

bool waitForStatus(const ServerProcess& server, int runs)
{
    return waitUntil([&server, runs] { return status(server).size() >= 4 * runs; });
}

/// Any answer proves that the event loop turns.
bool answers(const ServerProcess& server)
{
    WireClient stranger(server);
    return stranger.ask(server.id(), QStringLiteral("connect_to_host")).has_value();
}

/// A second of the server's own passes, and it takes nothing like a core; one that spins takes all of it.
bool staysIdle(const ServerProcess& server)
{
    if (!answers(server)) {
        return false;
    }
    const qint64 before = server.processorTime();
    QElapsedTimer clock;
    clock.start();
    if (!waitUntil([&clock] { return clock.elapsed() >= 1000; })) {
        return false;
    }
    const qint64 used = server.processorTime() - before;
    return used < clock.elapsed() / 4 && answers(server);
}

} // namespace

class tst_Console : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void qEndsTheProcess_data();
    void qEndsTheProcess();
    void statPrintsTheFourLines_data();
    void statPrintsTheFourLines();
    void statTellsOfASession();
    void statTellsWhatWasLostAfterTheFourLines();
    void otherLinesAreIgnoredSilently();
    void twoLinesInOneReadAreBothHandledInOrder();
    void manyLinesInOneReadAllPrint();
    void partialLineWaitsAndHoldsUpNothing();
    void serverRunsOnAfterTheEndOfInput_data();
    void serverRunsOnAfterTheEndOfInput();
    void inputThatEndsLaterEndsNothing();
    void unterminatedLastLineCounts();
    void endOfInputOnATerminalIsNoEnd();
    void terminalThatHangsUpEndsNothing();
    void backgroundJobIsNotStoppedByItsTerminal();
    void signalsDoWhatQDoes_data();
    void signalsDoWhatQDoes();
    void closedTerminalEndsItsServer();
    void ignoredHangupEndsNothing();
    void signalEndsTheProcessAfterTheEndOfInput();
    void qEndsTheProcessWhileANameLookUpHangs();

private:
    std::unique_ptr<ServerHome> m_home;
    QString m_file;
};

void tst_Console::init()
{
    m_home = std::make_unique<ServerHome>();
    m_file = m_home->addRecording(QStringLiteral("a.wav"), recording({}));
}

void tst_Console::qEndsTheProcess_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::newRow("q") << QByteArray("q\n");
    QTest::newRow("Q between blanks") << QByteArray("  Q \t\n");
    QTest::newRow("as a Windows console ends a line") << QByteArray("q\r\n");
}

void tst_Console::qEndsTheProcess()
{
    QFETCH(QByteArray, line);
    ServerProcess server(*m_home);
    QVERIFY(server.serve());
    server.type(line);
    QCOMPARE(server.waitForExitCode(), 0);
}

void tst_Console::statPrintsTheFourLines_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::newRow("stat") << QByteArray("stat\n");
    QTest::newRow("a trailing blank") << QByteArray("stat \n");
    QTest::newRow("capitals") << QByteArray("\tSTAT\n");
}

void tst_Console::statPrintsTheFourLines()
{
    QFETCH(QByteArray, line);
    ServerProcess server(*m_home);
    QVERIFY(server.serve());
    server.type(line);
    QVERIFY(waitForStatus(server, 1));
    QCOMPARE(status(server), kFree);
    QVERIFY(server.quit());
    QCOMPARE(status(server), kFree);
}

void tst_Console::statTellsOfASession()
{
    ServerProcess server(*m_home);
    QVERIFY(server.serve());
    WireClient client(server);
    QVERIFY(client.open(m_file));
    server.type("stat\n");
    QVERIFY(waitForStatus(server, 1));
    QCOMPARE(status(server).mid(0, 2),
             QStringList({QStringLiteral("\tConnected: true"), QStringLiteral("\tCount connections: 1")}));

    QVERIFY(client.close());
    server.type("stat\n");
    QVERIFY(waitForStatus(server, 2));
    QCOMPARE(status(server).mid(4, 2),
             QStringList({QStringLiteral("\tConnected: false"), QStringLiteral("\tCount connections: 1")}));
    QVERIFY(server.quit());
}

void tst_Console::statTellsWhatWasLostAfterTheFourLines()
{
    ServerProcess server(*m_home);
    QVERIFY(server.serve());
    server.type("stat\n");
    QVERIFY(server.waitForLine(QStringLiteral("Lost samples, overrun in ring \"out\": 0")));
    QVERIFY(server.waitForLine(QStringLiteral("Lost datagrams, not taken by the system: 0")));
    const QStringList lines = server.lines();
    QVERIFY(lines.indexOf(kFree.last()) < lines.indexOf(lines.filter(QStringLiteral("Lost ")).value(0)));
    QVERIFY(server.quit());
}

void tst_Console::otherLinesAreIgnoredSilently()
{
    ServerProcess server(*m_home);
    QVERIFY(server.serve());
    server.type("\nstat now\nquit\nstats\nqq\n\xff\xfe\nstat\n");
    QVERIFY(waitForStatus(server, 1));
    QCOMPARE(status(server), kFree);
    QVERIFY(server.quit());
    QCOMPARE(status(server), kFree);
}

void tst_Console::twoLinesInOneReadAreBothHandledInOrder()
{
    ServerProcess server(*m_home);
    QVERIFY(server.serve());
    server.type("stat\nq\nstat\n");
    QCOMPARE(server.waitForExitCode(), 0);
    QCOMPARE(status(server), kFree);
}

void tst_Console::manyLinesInOneReadAllPrint()
{
    // What the operator asks for is not rationed, as what a stranger causes is and a place's own lines are.
    constexpr int kRuns = 1200;
    ServerProcess server(*m_home);
    QVERIFY(server.serve());
    server.type(QByteArray("stat\n").repeated(kRuns));
    QVERIFY(waitForStatus(server, kRuns));
    QVERIFY(server.quit());
    QCOMPARE(status(server).size(), 4 * kRuns);
}

void tst_Console::partialLineWaitsAndHoldsUpNothing()
{
    ServerProcess server(*m_home);
    QVERIFY(server.serve());
    server.type("st");
    QVERIFY(answers(server));
    QVERIFY(status(server).isEmpty());
    server.type("at\n");
    QVERIFY(waitForStatus(server, 1));
    QVERIFY(server.quit());
}

void tst_Console::serverRunsOnAfterTheEndOfInput_data()
{
    QTest::addColumn<QByteArray>("path");
    QTest::newRow("closed from the start") << QByteArray();
    QTest::newRow("/dev/null") << QByteArray("/dev/null");
    QTest::newRow("a finished pipe") << QByteArray("pipe");
    QTest::newRow("an empty file") << QByteArray("empty");
    QTest::newRow("a file of lines") << QByteArray("lines");
    QTest::newRow("a folder") << QByteArray("/tmp");
}

void tst_Console::serverRunsOnAfterTheEndOfInput()
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

void tst_Console::inputThatEndsLaterEndsNothing()
{
    ServerProcess server(*m_home);
    QVERIFY(server.serve());
    server.type("stat\n");
    QVERIFY(waitForStatus(server, 1));
    server.closeInput();
    QVERIFY(staysIdle(server));
}

void tst_Console::unterminatedLastLineCounts()
{
    ServerProcess server(*m_home);
    QVERIFY(server.serve());
    server.type("nothing\nstat");
    server.closeInput();
    QVERIFY(waitForStatus(server, 1));
    QVERIFY(answers(server));
}

void tst_Console::endOfInputOnATerminalIsNoEnd()
{
    const Terminal terminal;
    ServerProcess server(*m_home);
    server.setInputFile(terminal.device());
    QVERIFY(server.serve());
    terminal.type("\4");
    QVERIFY(answers(server));
    terminal.type("stat\n");
    QVERIFY(waitForStatus(server, 1));
    terminal.type("\4\4");
    QVERIFY(staysIdle(server));
    terminal.type("q\n");
    QCOMPARE(server.waitForExitCode(), 0);
}

void tst_Console::terminalThatHangsUpEndsNothing()
{
    Terminal terminal;
    ServerProcess server(*m_home);
    server.setInputFile(terminal.device());
    QVERIFY(server.serve());
    terminal.type("stat\n");
    QVERIFY(waitForStatus(server, 1));
    terminal.hangUp();
    QVERIFY(staysIdle(server));
}

void tst_Console::backgroundJobIsNotStoppedByItsTerminal()
{
    const Terminal terminal;
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

void tst_Console::signalsDoWhatQDoes_data()
{
    QTest::addColumn<int>("number");
    QTest::newRow("SIGINT") << SIGINT;
    QTest::newRow("SIGTERM") << SIGTERM;
    QTest::newRow("SIGHUP") << SIGHUP;
}

void tst_Console::signalsDoWhatQDoes()
{
    QFETCH(int, number);
    ServerProcess server(*m_home);
    QVERIFY(server.serve());
    server.signal(number);
    QCOMPARE(server.waitForExitCode(), 0);
}

void tst_Console::closedTerminalEndsItsServer()
{
    Terminal terminal;
    ServerProcess server(*m_home);
    server.setInputFile(terminal.device());
    server.startBy(QStringLiteral("setsid"), {QStringLiteral("--ctty"), QStringLiteral(ORVENLINK_SERVER)});
    QVERIFY(server.waitUntilServing());
    terminal.hangUp();
    QCOMPARE(server.waitForExitCode(), 0);
}

void tst_Console::ignoredHangupEndsNothing()
{
    ServerProcess server(*m_home);
    server.setPreparation([] { std::signal(SIGHUP, SIG_IGN); }); // as nohup does
    QVERIFY(server.serve());
    server.signal(SIGHUP);
    QVERIFY(answers(server));
    QVERIFY(server.quit());
}

void tst_Console::signalEndsTheProcessAfterTheEndOfInput()
{
    ServerProcess server(*m_home);
    QVERIFY(server.serve());
    server.closeInput();
    QVERIFY(answers(server));
    server.signal(SIGTERM);
    QCOMPARE(server.waitForExitCode(), 0);
}

void tst_Console::qEndsTheProcessWhileANameLookUpHangs()
{
    // A name server that hears and never answers.
    QUdpSocket nameServer;
    QVERIFY(nameServer.bind(QHostAddress(QHostAddress::LocalHost), 53));
    const QByteArray list = m_home->path().toLocal8Bit() + "/resolv.conf";
    QFile file(QString::fromLocal8Bit(list));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("nameserver 127.0.0.1\n");
    file.close();
    ServerProcess server(*m_home);
    server.setPreparation([list] {
        unshare(CLONE_NEWNS);
        mount(list.constData(), "/etc/resolv.conf", nullptr, MS_BIND, nullptr);
    });
    QVERIFY(server.serve());
    QVERIFY(waitUntil([&nameServer] { return nameServer.hasPendingDatagrams(); }));

    QElapsedTimer clock;
    clock.start();
    QVERIFY(server.quit());
    // The look-up itself would go on for ten seconds.
    QVERIFY2(clock.elapsed() < 4000, qPrintable(QString::number(clock.elapsed())));
}

QTEST_GUILESS_MAIN(tst_Console)
#include "tst_Console.moc"
