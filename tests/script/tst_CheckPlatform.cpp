#include "script/SmallTree.h"

#include <QtTest>
#include <memory>

namespace
{

const QString kScript = QStringLiteral(ORVENLINK_SCRIPT);

} // namespace

/// script/check-platform, run on a small tree: each row adds a line to it.
class tst_CheckPlatform : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void ownTreePasses();
    void sourcesOfPlatformMayHaveAnything();
    void whatIsNoSystemsPasses_data();
    void whatIsNoSystemsPasses();
    void whatIsSystemsIsRefused_data();
    void whatIsSystemsIsRefused();
    void headersOfPlatformAreHeldToo();
    void everyViolationIsTold();

private:
    std::unique_ptr<SmallTree> m_tree;
};

void tst_CheckPlatform::init()
{
    m_tree = std::make_unique<SmallTree>();
    m_tree->put(QStringLiteral("Platform/Clock.h"), "#pragma once\n#include <cstdint>\n");
    m_tree->put(QStringLiteral("Platform/ClockPosix.cpp"), "#include <time.h>\n#ifdef __linux__\n#endif\n");
    m_tree->put(QStringLiteral("Server/Server.cpp"), "#include \"Platform/Clock.h\"\n");
}

void tst_CheckPlatform::ownTreePasses()
{
    const SmallTree::Result result = SmallTree::run(kScript, {});
    QCOMPARE(result.text, QString());
    QCOMPARE(result.exitCode, 0);
}

void tst_CheckPlatform::sourcesOfPlatformMayHaveAnything()
{
    const SmallTree::Result result = m_tree->check(kScript);
    QCOMPARE(result.text, QString());
    QCOMPARE(result.exitCode, 0);
}

void tst_CheckPlatform::whatIsNoSystemsPasses_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::newRow("C++") << QByteArray("#include <system_error>");
    QTest::newRow("C by its C++ name") << QByteArray("#include <cerrno>");
    QTest::newRow("Qt") << QByteArray("#include <QUdpSocket>");
    QTest::newRow("vectors") << QByteArray("#include <hwy/highway.h>");
    QTest::newRow("receiver's library") << QByteArray("#include <rtl-sdr.h>");
    QTest::newRow("our own library") << QByteArray("#include <orvenlink/Client.h>");
    QTest::newRow("comment") << QByteArray("int x; // as <poll.h>, where __linux__ is told");
    QTest::newRow("part of another name") << QByteArray("#ifdef USE_WIN32_NAMES");
    QTest::newRow("another condition") << QByteArray("#if HWY_ONCE");
}

void tst_CheckPlatform::whatIsNoSystemsPasses()
{
    QFETCH(QByteArray, line);
    m_tree->put(QStringLiteral("Server/Server.cpp"), line + '\n');
    const SmallTree::Result result = m_tree->check(kScript);
    QCOMPARE(result.text, QString());
    QCOMPARE(result.exitCode, 0);
}

void tst_CheckPlatform::whatIsSystemsIsRefused_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QString>("what");
    for (const char* header : {"unistd.h", "fcntl.h", "poll.h", "sys/socket.h", "netinet/in.h", "termios.h",
                               "pthread.h", "dlfcn.h", "signal.h", "csignal", "windows.h", "winsock2.h",
                               "qt_windows.h", "QWinEventNotifier", "QtCore/private/qthread_p.h"}) {
        const QByteArray name = '<' + QByteArray(header) + '>';
        QTest::newRow(header) << "#include " + name << QString::fromLatin1(name);
    }
    QTest::newRow("blanks") << QByteArray("\t#  include  <poll.h> // to wait") << "<poll.h>";
    QTest::newRow("Qt's macro") << QByteArray("#ifdef Q_OS_LINUX") << "Q_OS_LINUX";
    QTest::newRow("compiler's macro") << QByteArray("#if defined(_WIN32)") << "_WIN32";
    QTest::newRow("GNU's macro") << QByteArray("#  elif defined __linux__ && X") << "__linux__";
    QTest::newRow("macro within a line") << QByteArray("if (x) { return Q_OS_WIN; }") << "Q_OS_WIN";
}

void tst_CheckPlatform::whatIsSystemsIsRefused()
{
    QFETCH(QByteArray, line);
    QFETCH(QString, what);
    m_tree->put(QStringLiteral("Server/Server.cpp"), line + '\n');
    const SmallTree::Result result = m_tree->check(kScript);
    QCOMPARE(
        result.text,
        QStringLiteral("src/Server/Server.cpp:2: %1 is for the sources of src/Platform alone\n").arg(what));
    QVERIFY(result.exitCode > 0);
}

void tst_CheckPlatform::headersOfPlatformAreHeldToo()
{
    m_tree->put(QStringLiteral("Platform/Clock.h"), "#include <time.h>\n");
    QVERIFY(m_tree->check(kScript).text.startsWith(QLatin1String("src/Platform/Clock.h:3: <time.h>")));
}

void tst_CheckPlatform::everyViolationIsTold()
{
    m_tree->put(QStringLiteral("Server/Server.cpp"), "#include <poll.h>\n#include <unistd.h>\n");
    m_tree->put(QStringLiteral("Client/Client-inl.h"), "#ifdef __APPLE__\n");
    m_tree->put(QStringLiteral("Client/Id.h.in"), "#include <io.h>\n");
    QCOMPARE(m_tree->check(kScript).text.count(QLatin1Char('\n')), 4);
}

QTEST_GUILESS_MAIN(tst_CheckPlatform)
#include "tst_CheckPlatform.moc"
