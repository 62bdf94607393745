#include "System/Served.h"
#include "support/WireClient.h"

#include <QTest>

namespace
{

constexpr int kWarmUp = 100; // sessions, until every pool has its size
constexpr int kSessions = 1000;
// One session's rings alone take 5 MiB: a device that stayed would show after a handful.
constexpr qint64 kGrowth = 24 * 1024; // KiB

} // namespace

class tst_ThousandSessions : public QObject
{
    Q_OBJECT

private slots:
    void leaveNothingBehind();
};

void tst_ThousandSessions::leaveNothingBehind()
{
    Served served(recording({}));
    // What an address sanitizer holds back to catch late uses is no growth of ours.
    served.server.setVariable(QStringLiteral("ASAN_OPTIONS"), QStringLiteral("quarantine_size_mb=4"));
    QVERIFY(served.server.serve());
    WireClient client(served.server);
    qint64 memory = 0;
    int threads = 0;
    int files = 0;
    for (int session = 0; session < kSessions; ++session) {
        QVERIFY(client.open(served.file));
        if (session % 10 == 0) {
            client.forgetSamples();
            QVERIFY(client.waitForSamples(128));
        }
        QVERIFY(client.close());
        client.forgetCalls();
        if (session == kWarmUp) {
            memory = served.server.residentMemory();
            threads = served.server.threads();
            files = served.server.openFiles();
        }
    }
    const qint64 growth = served.server.residentMemory() - memory;
    QVERIFY2(growth < kGrowth, qPrintable(QStringLiteral("%1 KiB more").arg(growth)));
    // The end of a session goes on for a moment after its answer; and what only the start has used goes.
    QVERIFY2(waitUntil([&] { return served.server.threads() <= threads; }, 10'000),
             qPrintable(QString::number(served.server.threads())));
    QVERIFY2(waitUntil([&] { return served.server.openFiles() <= files; }, 10'000),
             qPrintable(QString::number(served.server.openFiles())));
    QVERIFY(served.server.quit());
}

QTEST_GUILESS_MAIN(tst_ThousandSessions)
#include "tst_ThousandSessions.moc"
