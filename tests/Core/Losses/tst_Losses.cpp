#include "Core/Losses/Losses.h"

#include "support/LogCapture.h"

#include <QtTest>
#include <thread>
#include <vector>

class tst_Losses : public QObject
{
    Q_OBJECT

private slots:
    void reportTellsEachCauseInOneLine();
    void causeIsToldOncePerSecondAtMost();
    void withoutNewLossNothingIsTold();
    void totalsNameEveryCause();
    void lossesOfManyThreadsAddUp();
    void programCountsInOnePlace();
};

void tst_Losses::reportTellsEachCauseInOneLine()
{
    Losses losses([] { return 0; });
    losses.add(Losses::Cause::InRing, 1000);
    losses.add(Losses::Cause::InRing, 24);
    losses.add(Losses::Cause::Unsent, 3);
    const LogCapture log;
    losses.report();
    const QStringList lines = log.texts(QtWarningMsg);
    QCOMPARE(lines.size(), 2);
    QCOMPARE(log.records().size(), 2);
    QVERIFY2(
        lines[0].endsWith(QStringLiteral("=>\t Lost: 1024 samples, overrun in ring \"in\" (1024 in all)")),
        qPrintable(lines[0]));
    QVERIFY2(lines[1].endsWith(QStringLiteral("=>\t Lost: 3 datagrams, not taken by the system (3 in all)")),
             qPrintable(lines[1]));
}

void tst_Losses::causeIsToldOncePerSecondAtMost()
{
    qint64 now = 7000;
    Losses losses([&now] { return now; });
    losses.add(Losses::Cause::Recording, 1200);
    const LogCapture log;
    losses.report();
    QCOMPARE(log.records().size(), 1);

    now += 999;
    losses.add(Losses::Cause::Recording, 300);
    losses.report();
    QCOMPARE(log.records().size(), 1);

    now += 1;
    losses.add(Losses::Cause::OutRing, 1);
    losses.report();
    QCOMPARE(log.records().size(), 3);
    QVERIFY(log.texts()[1].contains(QStringLiteral("Lost: 1 samples, overrun in ring \"out\" (1 in all)")));
    QVERIFY(log.texts()[2].contains(QStringLiteral("Lost: 300 samples")));
    QVERIFY(log.texts()[2].endsWith(QStringLiteral("(1500 in all)")));
}

void tst_Losses::withoutNewLossNothingIsTold()
{
    qint64 now = 0;
    Losses losses([&now] { return now; });
    const LogCapture log;
    losses.report();
    QVERIFY(log.records().isEmpty());
    losses.add(Losses::Cause::OverBudget, 1);
    losses.report();
    now += 60'000;
    losses.report();
    QCOMPARE(log.records().size(), 1);
}

void tst_Losses::totalsNameEveryCause()
{
    Losses losses([] { return 0; });
    losses.add(Losses::Cause::OutRing, 4800);
    losses.add(Losses::Cause::UnusableBlocks, 2);
    const QStringList expected{
        QStringLiteral("Lost samples, overrun in ring \"in\": 0"),
        QStringLiteral("Lost samples, overrun in ring \"out\": 4800"),
        QStringLiteral("Lost samples of the recording, too late to be made up for: 0"),
        QStringLiteral("Lost samples, in blocks too large for the ring: 0"),
        QStringLiteral("Lost blocks, without usable data: 2"),
        QStringLiteral("Lost datagrams, not taken by the system: 0"),
        QStringLiteral("Lost datagrams, beyond the budget of unproven addresses: 0"),
    };
    QCOMPARE(losses.totals(), expected);
    QCOMPARE(losses.total(Losses::Cause::OutRing), 4800);
}

void tst_Losses::lossesOfManyThreadsAddUp()
{
    constexpr int kThreads = 4;
    constexpr int kLosses = 10'000;
    Losses losses;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&losses] {
            for (int i = 0; i < kLosses; ++i) {
                losses.add(Losses::Cause::InRing, 2);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    QCOMPARE(losses.total(Losses::Cause::InRing), qint64(kThreads) * kLosses * 2);
}

void tst_Losses::programCountsInOnePlace()
{
    QCOMPARE(&Losses::process(), &Losses::process());
    Losses::process().add(Losses::Cause::LargeBlocks, 5);
    QCOMPARE(Losses::process().total(Losses::Cause::LargeBlocks), 5);
}

QTEST_GUILESS_MAIN(tst_Losses)
#include "tst_Losses.moc"
