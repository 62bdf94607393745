#include "RadioDevice/Rsp/RspStream.h"

#include <QtTest>
#include <atomic>
#include <future>
#include <memory>
#include <thread>
#include <vector>

class tst_RspStream : public QObject
{
    Q_OBJECT

private slots:
    void streamThatIsNotOpenDeliversToNobody();
    void openStreamDeliversWhatItWasGiven();
    void closedStreamDeliversToNobody();
    void earlierStartOfOneStreamDeliversToNobody();
    void streamThatWasReplacedDeliversToNobody();
    void closingAReplacedStreamLeavesTheOtherOpen();
    void unknownContextDeliversToNobody();
    void closeWaitsForTheDeliveryUnderWay();
    void noDeliveryReachesAReceiverThatIsGone();
};

namespace
{

RspStream::Receiver counter(int& calls)
{
    return [&calls](const short*, const short*, unsigned) { ++calls; };
}

void deliver(const void* context)
{
    const short sample = 1;
    RspStream::deliver(context, &sample, &sample, 1);
}

} // namespace

void tst_RspStream::streamThatIsNotOpenDeliversToNobody()
{
    RspStream stream;
    deliver(stream.begin());
    int calls = 0;
    stream.open(counter(calls));
    stream.close();
    QCOMPARE(calls, 0);
}

void tst_RspStream::openStreamDeliversWhatItWasGiven()
{
    RspStream stream;
    const void* const context = stream.begin();
    const short xi[] = {1, 2};
    const short xq[] = {3, 4};
    int calls = 0;
    stream.open([&](const short* i, const short* q, unsigned count) {
        ++calls;
        QCOMPARE(i, static_cast<const short*>(xi));
        QCOMPARE(q, static_cast<const short*>(xq));
        QCOMPARE(count, 2U);
    });
    RspStream::deliver(context, xi, xq, 2);
    stream.close();
    QCOMPARE(calls, 1);
}

void tst_RspStream::closedStreamDeliversToNobody()
{
    RspStream stream;
    const void* const context = stream.begin();
    int calls = 0;
    stream.open(counter(calls));
    stream.close();
    deliver(context);
    QCOMPARE(calls, 0);
}

void tst_RspStream::earlierStartOfOneStreamDeliversToNobody()
{
    RspStream stream;
    const void* const first = stream.begin();
    const void* const second = stream.begin();
    int calls = 0;
    stream.open(counter(calls));
    deliver(first);
    QCOMPARE(calls, 0);
    deliver(second);
    QCOMPARE(calls, 1);
    stream.close();
}

void tst_RspStream::streamThatWasReplacedDeliversToNobody()
{
    RspStream first;
    const void* const context = first.begin();
    int calls = 0;
    first.open(counter(calls));
    RspStream second;
    QVERIFY(second.begin() != context);
    int others = 0;
    second.open(counter(others));
    deliver(context);
    QCOMPARE(calls, 0);
    QCOMPARE(others, 0);
    second.close();
}

void tst_RspStream::closingAReplacedStreamLeavesTheOtherOpen()
{
    RspStream first;
    QVERIFY(first.begin() != nullptr);
    first.open({});
    RspStream second;
    const void* const context = second.begin();
    int calls = 0;
    second.open(counter(calls));
    first.close();
    deliver(context);
    QCOMPARE(calls, 1);
    second.close();
}

void tst_RspStream::unknownContextDeliversToNobody()
{
    deliver(nullptr);
    RspStream stream;
    QVERIFY(stream.begin() != nullptr);
    int calls = 0;
    stream.open(counter(calls));
    deliver(nullptr);
    deliver(&calls);
    stream.close();
    QCOMPARE(calls, 0);
}

void tst_RspStream::closeWaitsForTheDeliveryUnderWay()
{
    RspStream stream;
    const void* const context = stream.begin();
    std::promise<void> entered;
    std::promise<void> release;
    std::atomic<bool> left{false};
    stream.open([&](const short*, const short*, unsigned) {
        entered.set_value();
        release.get_future().wait();
        left = true;
    });
    std::thread library([context] { deliver(context); });
    entered.get_future().wait();
    std::atomic<bool> leftBeforeClosed{false};
    std::thread closer([&] {
        stream.close();
        leftBeforeClosed = left.load();
    });
    release.set_value();
    closer.join();
    library.join();
    QVERIFY(leftBeforeClosed);
}

void tst_RspStream::noDeliveryReachesAReceiverThatIsGone()
{
    std::atomic<bool> stop{false};
    std::atomic<std::uintptr_t> newest{0};
    std::vector<std::thread> library;
    for (int i = 0; i < 3; ++i) {
        library.emplace_back([&, i] {
            while (!stop) {
                // Of the present start, and of those just over.
                deliver(reinterpret_cast<const void*>(newest.load() - static_cast<unsigned>(i)));
            }
        });
    }
    for (int round = 0; round < 2'000; ++round) {
        const auto calls = std::make_unique<int>(0);
        RspStream stream;
        newest = reinterpret_cast<std::uintptr_t>(stream.begin());
        stream.open([calls = calls.get()](const short*, const short*, unsigned) { ++*calls; });
        stream.close();
    }
    stop = true;
    for (std::thread& thread : library) {
        thread.join();
    }
}

QTEST_GUILESS_MAIN(tst_RspStream)
#include "tst_RspStream.moc"
