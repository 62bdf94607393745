#include "ClientApplication/Program/ClientProcess.h"
#include "ClientApplication/Program/Noise.h"
#include "System/Served.h"
#include "support/Wait.h"

#include <QtEndian>
#include <QtTest>
#include <cmath>
#include <csignal>
#include <cstring>
#include <sys/ioctl.h>
#include <unistd.h>

/// The command `stream`, and readers of all kinds.
class tst_ClientStreaming : public QObject
{
    Q_OBJECT

private slots:
    void streamHoldsFile_data();
    void streamHoldsFile();
    void readerWhoGoesIsNoError();
    void readerWhoStandsStillHoldsUpNobody();
};

void tst_ClientStreaming::streamHoldsFile_data()
{
    QTest::addColumn<QString>("format");
    QTest::newRow("cs16") << QStringLiteral("cs16");
    QTest::newRow("cf32") << QStringLiteral("cf32");
}

void tst_ClientStreaming::streamHoldsFile()
{
    QFETCH(QString, format);
    const Noise::Samples original = Noise::samples();
    Served served(Noise::toRecording(original));
    QVERIFY(served.server.serve());
    ClientProcess client;
    QCOMPARE(client.runWithoutLosses(
                 QStringLiteral("stream"), served.server,
                 {QStringLiteral("--format"), format, QStringLiteral("--seconds"), QStringLiteral("0.5")}),
             0);
    const QByteArray bytes = client.output();
    Noise::Samples received;
    if (format == QLatin1String("cs16")) {
        received = Noise::toSamples(bytes);
    } else {
        for (int n = 0; n + 8 <= bytes.size(); n += 8) {
            const auto part = [&bytes](int at) {
                const auto bits = qFromLittleEndian<quint32>(bytes.constData() + at);
                float value = 0.0F;
                std::memcpy(&value, &bits, sizeof value);
                return static_cast<int>(std::lround(value * 32'768.0F));
            };
            received.emplace_back(part(n), part(n + 4));
        }
    }
    QCOMPARE(received.size(), std::size_t(24'000));
    const double worst = Noise::difference(received, Noise::atFullRate(original));
    QVERIFY2(worst <= 1.01, qPrintable(QString::number(worst)));
    QVERIFY(served.server.quit());
}

void tst_ClientStreaming::readerWhoGoesIsNoError()
{
    Served served(recording({}));
    QVERIFY(served.server.serve());
    QProcess shell;
    shell.start(
        QStringLiteral("sh"),
        QStringList{QStringLiteral("-c"),
                    QStringLiteral("{ \"$0\" stream \"$@\"; echo $? >&2; } | head -c 10000 >/dev/null"),
                    QStringLiteral(ORVENLINK_CLIENT)} +
            ClientProcess::at(served.server));
    QVERIFY(waitUntil([&] { return shell.state() == QProcess::NotRunning; }));
    const QStringList lines =
        QString::fromUtf8(shell.readAllStandardError()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    QCOMPARE(lines.last(), QStringLiteral("0"));
    QCOMPARE(lines.size(), 2); // what was carried, and the code
    QVERIFY(served.server.quit());
}

// The session goes on: pings are answered, and it is left politely.
void tst_ClientStreaming::readerWhoStandsStillHoldsUpNobody()
{
    Served served(recording({}));
    QVERIFY(served.server.serve());
    int ends[2] = {-1, -1};
    QCOMPARE(::pipe(ends), 0);
    QProcess client;
    client.setStandardOutputFile(QStringLiteral("/proc/self/fd/%1").arg(ends[1]));
    client.start(QStringLiteral(ORVENLINK_CLIENT),
                 QStringList{QStringLiteral("stream")} + ClientProcess::at(served.server));
    // The pipe is full after 64 KiB, a third of a second; the server would take 7 seconds to call it silent.
    QVERIFY(waitUntil([&] {
        int filled = 0;
        return ::ioctl(ends[0], FIONREAD, &filled) == 0 && filled >= 60'000;
    }));
    ::kill(static_cast<pid_t>(client.processId()), SIGINT);
    QVERIFY(waitUntil([&] { return client.state() == QProcess::NotRunning; }));
    QCOMPARE(client.exitCode(), 0);
    ::close(ends[0]);
    ::close(ends[1]);
    QVERIFY(served.server.quit());
}

QTEST_GUILESS_MAIN(tst_ClientStreaming)
#include "tst_ClientStreaming.moc"
