#include "Platform/Output.h"

#include <QtTest>
#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <thread>
#include <unistd.h>

/// A pipe, written to by the functions under test and read by the test itself.
class tst_Output : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { Output::ignoreBrokenPipes(); }
    void init();
    void cleanup();
    void slowReaderGetsEveryByte();
    void fullPipeIsGivenUpAfterPatience();
    void pipeTakesWhatFitsWithoutWaiting();
    void readerWhoGoesIsBrokenPipe();
    void deviceThatIsFullIsTold();
    void terminalTellsItsSize();
    void whatIsNoTerminalHasUsualSize();
    void coloursFollowEnvironment_data();
    void coloursFollowEnvironment();

private:
    void fill() const;
    void closeEnd(std::size_t end);
    [[nodiscard]] int writer() const { return m_ends[1]; }

    std::array<int, 2> m_ends{-1, -1};
};

void tst_Output::init()
{
    QCOMPARE(pipe2(m_ends.data(), O_CLOEXEC), 0);
}

void tst_Output::cleanup()
{
    closeEnd(0);
    closeEnd(1);
}

void tst_Output::closeEnd(std::size_t end)
{
    if (m_ends.at(end) >= 0) {
        close(std::exchange(m_ends.at(end), -1));
    }
}

void tst_Output::fill() const
{
    const QByteArray bytes(4096, 'x');
    while (Output::writeReady(writer(), bytes.constData(), bytes.size(), 0) > 0) {
    }
}

void tst_Output::slowReaderGetsEveryByte()
{
    const QByteArray bytes = QByteArray("0123456789").repeated(50'000); // more than the pipe holds
    QByteArray read;
    std::thread reader([this, &read, size = bytes.size()] {
        std::array<char, 1000> buffer{};
        while (read.size() < size) {
            read.append(buffer.data(), static_cast<int>(::read(m_ends[0], buffer.data(), buffer.size())));
        }
    });
    const bool isWritten = Output::write(writer(), bytes.constData(), bytes.size());
    reader.join();
    QVERIFY(isWritten);
    QCOMPARE(read, bytes);
}

void tst_Output::fullPipeIsGivenUpAfterPatience()
{
    fill();
    QElapsedTimer clock;
    clock.start();
    QCOMPARE(Output::writeReady(writer(), "x", 1, 50), 0);
    QVERIFY(clock.elapsed() >= 49);
}

void tst_Output::pipeTakesWhatFitsWithoutWaiting()
{
    fill();
    std::array<char, 4096> buffer{};
    QCOMPARE(::read(m_ends[0], buffer.data(), buffer.size()), ssize_t(buffer.size()));
    const QByteArray bytes(10'000, 'y');
    QCOMPARE(Output::writeReady(writer(), bytes.constData(), bytes.size(), 0), 4096);
    QCOMPARE(Output::writeReady(writer(), bytes.constData(), bytes.size(), 0), 0);
}

void tst_Output::readerWhoGoesIsBrokenPipe()
{
    closeEnd(0);
    errno = 0;
    QVERIFY(!Output::write(writer(), "x", 1));
    QCOMPARE(errno, EPIPE);
    errno = 0;
    QCOMPARE(Output::writeReady(writer(), "x", 1, 0), -1);
    QCOMPARE(errno, EPIPE);
}

void tst_Output::deviceThatIsFullIsTold()
{
    const int device = open("/dev/full", O_WRONLY | O_CLOEXEC);
    errno = 0;
    QVERIFY(!Output::write(device, "x", 1));
    QCOMPARE(errno, ENOSPC);
    close(device);
}

void tst_Output::terminalTellsItsSize()
{
    const int master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    QCOMPARE(grantpt(master), 0);
    QCOMPARE(unlockpt(master), 0);
    const int terminal = open(ptsname(master), O_RDWR | O_NOCTTY | O_CLOEXEC);
    QVERIFY(Output::isTerminal(terminal));
    QCOMPARE(Output::terminalSize(terminal).columns, 80); // one without a size so far
    const winsize size{40, 132, 0, 0};
    QCOMPARE(ioctl(master, TIOCSWINSZ, &size), 0);
    QCOMPARE(Output::terminalSize(terminal).columns, 132);
    QCOMPARE(Output::terminalSize(terminal).rows, 40);
    close(terminal);
    close(master);
}

void tst_Output::whatIsNoTerminalHasUsualSize()
{
    QVERIFY(!Output::isTerminal(writer()));
    QCOMPARE(Output::terminalSize(writer()).columns, 80);
    QCOMPARE(Output::terminalSize(writer()).rows, 24);
}

void tst_Output::coloursFollowEnvironment_data()
{
    QTest::addColumn<QByteArray>("terminal");
    QTest::addColumn<QByteArray>("depth");
    QTest::addColumn<QByteArray>("unwanted");
    QTest::addColumn<int>("colours");
    const auto row = [](const char* name, const char* terminal, const char* depth, const char* unwanted,
                        Output::Colours colours) {
        QTest::newRow(name) << QByteArray(terminal) << QByteArray(depth) << QByteArray(unwanted)
                            << static_cast<int>(colours);
    };
    row("most terminals", "xterm", "", "", Output::Colours::Palette);
    row("true colours", "xterm", "truecolor", "", Output::Colours::True);
    row("24 bits", "xterm", "24bit", "", Output::Colours::True);
    row("not wanted", "xterm", "truecolor", "1", Output::Colours::None);
    row("dumb", "dumb", "truecolor", "", Output::Colours::None);
    row("no terminal", "", "truecolor", "", Output::Colours::None);
}

void tst_Output::coloursFollowEnvironment()
{
    QFETCH(QByteArray, terminal);
    QFETCH(QByteArray, depth);
    QFETCH(QByteArray, unwanted);
    qputenv("TERM", terminal);
    qputenv("COLORTERM", depth);
    qputenv("NO_COLOR", unwanted);
    QTEST(static_cast<int>(Output::colours()), "colours");
}

QTEST_GUILESS_MAIN(tst_Output)
#include "tst_Output.moc"
