#include "System/ConsoleStatus.h"
#include "System/Recording.h"
#include "System/ServerHome.h"
#include "System/ServerProcess.h"
#include "support/Wait.h"
#include "support/WireClient.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTest>
#include <QUdpSocket>
#include <memory>
#include <sched.h>
#include <sys/mount.h>

namespace
{

const QStringList kFree{QStringLiteral("\tConnected: false"), QStringLiteral("\tCount connections: 0"),
                        QStringLiteral("\tSuccess hole punching: 0"),
                        QStringLiteral("\tFail hole punching: 0")};

} // namespace

/// The lines that the server takes from its standard input.
class tst_Console : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void qEndsProcess_data();
    void qEndsProcess();
    void qEndsProcessWhileNameLookUpHangs();
    void statPrintsFourLines_data();
    void statPrintsFourLines();
    void statTellsOfSession();
    void statTellsWhatWasLostAfterFourLines();
    void otherLinesAreIgnoredSilently();
    void twoLinesInOneReadAreBothHandledInOrder();
    void manyLinesInOneReadAllPrint();
    void partialLineWaitsAndHoldsUpNothing();
    void unterminatedLastLineCounts();

private:
    std::unique_ptr<ServerHome> m_home;
    QString m_file;
};

void tst_Console::init()
{
    m_home = std::make_unique<ServerHome>();
    m_file = m_home->addRecording(QStringLiteral("a.wav"), recording({}));
}

void tst_Console::qEndsProcess_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::newRow("q") << QByteArray("q\n");
    QTest::newRow("Q between blanks") << QByteArray("  Q \t\n");
    QTest::newRow("as a Windows console ends a line") << QByteArray("q\r\n");
}

void tst_Console::qEndsProcess()
{
    QFETCH(QByteArray, line);
    ServerProcess server(*m_home);
    QVERIFY(server.serve());
    server.type(line);
    QCOMPARE(server.waitForExitCode(), 0);
}

void tst_Console::qEndsProcessWhileNameLookUpHangs()
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

void tst_Console::statPrintsFourLines_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::newRow("stat") << QByteArray("stat\n");
    QTest::newRow("a trailing blank") << QByteArray("stat \n");
    QTest::newRow("capitals") << QByteArray("\tSTAT\n");
}

void tst_Console::statPrintsFourLines()
{
    QFETCH(QByteArray, line);
    ServerProcess server(*m_home);
    QVERIFY(server.serve());
    server.type(line);
    QVERIFY(ConsoleStatus::waitFor(server, 1));
    QCOMPARE(ConsoleStatus::lines(server), kFree);
    QVERIFY(server.quit());
    QCOMPARE(ConsoleStatus::lines(server), kFree);
}

void tst_Console::statTellsOfSession()
{
    ServerProcess server(*m_home);
    QVERIFY(server.serve());
    WireClient client(server);
    QVERIFY(client.open(m_file));
    server.type("stat\n");
    QVERIFY(ConsoleStatus::waitFor(server, 1));
    QCOMPARE(ConsoleStatus::lines(server).mid(0, 2),
             QStringList({QStringLiteral("\tConnected: true"), QStringLiteral("\tCount connections: 1")}));

    QVERIFY(client.close());
    server.type("stat\n");
    QVERIFY(ConsoleStatus::waitFor(server, 2));
    QCOMPARE(ConsoleStatus::lines(server).mid(4, 2),
             QStringList({QStringLiteral("\tConnected: false"), QStringLiteral("\tCount connections: 1")}));
    QVERIFY(server.quit());
}

void tst_Console::statTellsWhatWasLostAfterFourLines()
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
    QVERIFY(ConsoleStatus::waitFor(server, 1));
    QCOMPARE(ConsoleStatus::lines(server), kFree);
    QVERIFY(server.quit());
    QCOMPARE(ConsoleStatus::lines(server), kFree);
}

void tst_Console::twoLinesInOneReadAreBothHandledInOrder()
{
    ServerProcess server(*m_home);
    QVERIFY(server.serve());
    server.type("stat\nq\nstat\n");
    QCOMPARE(server.waitForExitCode(), 0);
    QCOMPARE(ConsoleStatus::lines(server), kFree);
}

void tst_Console::manyLinesInOneReadAllPrint()
{
    // What the operator asks for is not rationed, as what a stranger causes is and a place's own lines are.
    constexpr int kRuns = 1200;
    ServerProcess server(*m_home);
    QVERIFY(server.serve());
    server.type(QByteArray("stat\n").repeated(kRuns));
    QVERIFY(ConsoleStatus::waitFor(server, kRuns));
    QVERIFY(server.quit());
    QCOMPARE(ConsoleStatus::lines(server).size(), 4 * kRuns);
}

void tst_Console::partialLineWaitsAndHoldsUpNothing()
{
    ServerProcess server(*m_home);
    QVERIFY(server.serve());
    server.type("st");
    QVERIFY(ConsoleStatus::answers(server));
    QVERIFY(ConsoleStatus::lines(server).isEmpty());
    server.type("at\n");
    QVERIFY(ConsoleStatus::waitFor(server, 1));
    QVERIFY(server.quit());
}

void tst_Console::unterminatedLastLineCounts()
{
    ServerProcess server(*m_home);
    QVERIFY(server.serve());
    server.type("nothing\nstat");
    server.closeInput();
    QVERIFY(ConsoleStatus::waitFor(server, 1));
    QVERIFY(ConsoleStatus::answers(server));
}

QTEST_GUILESS_MAIN(tst_Console)
#include "tst_Console.moc"
