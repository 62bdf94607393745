#include "RadioDevice/Vendor/DeliveryGate.h"

#include <QtTest>
#include <atomic>
#include <future>
#include <memory>
#include <thread>
#include <vector>

namespace
{

struct Device
{
    std::atomic<int> delivered{0};
};

using Gate = DeliveryGate<Device>;

} // namespace

class tst_DeliveryGate : public QObject
{
    Q_OBJECT

private slots:
    void newGateIsShut();
    void openGateGivesTheDevice();
    void closedGateGivesNothing();
    void closeWaitsForWhoeverIsInside();
    void closedGateOutlivesItsDevice();
    void gateLeftBehindIsKept();
    void noVisitReachesADeviceThatIsGone();
};

void tst_DeliveryGate::newGateIsShut()
{
    Device device;
    Gate gate(&device);
    QVERIFY(!gate.enter());
    gate.close();
}

void tst_DeliveryGate::openGateGivesTheDevice()
{
    Device device;
    Gate gate(&device);
    gate.open();
    {
        const auto first = gate.enter();
        const auto second = gate.enter();
        QVERIFY(first && second);
        ++first->delivered;
    }
    QCOMPARE(device.delivered.load(), 1);
    gate.close();
}

void tst_DeliveryGate::closedGateGivesNothing()
{
    Device device;
    Gate gate(&device);
    gate.open();
    gate.close();
    QVERIFY(!gate.enter());
    gate.close();
    QVERIFY(!gate.enter());
}

void tst_DeliveryGate::closeWaitsForWhoeverIsInside()
{
    Device device;
    Gate gate(&device);
    gate.open();
    std::promise<void> inside;
    std::promise<void> leave;
    std::atomic<bool> left{false};
    std::thread visitor([&] {
        const auto visit = gate.enter();
        inside.set_value();
        leave.get_future().wait();
        left = true;
    });
    inside.get_future().wait();
    std::thread release([&] {
        // Not before close has begun.
        while (gate.enter()) {
            std::this_thread::yield();
        }
        leave.set_value();
    });
    gate.close();
    QVERIFY(left);
    visitor.join();
    release.join();
}

void tst_DeliveryGate::closedGateOutlivesItsDevice()
{
    auto device = std::make_unique<Device>();
    Gate gate(device.get());
    gate.open();
    gate.close();
    device.reset();
    QVERIFY(!gate.enter());
}

void tst_DeliveryGate::gateLeftBehindIsKept()
{
    std::weak_ptr<Gate> seen;
    Gate* context = nullptr;
    {
        Device device;
        auto gate = std::make_shared<Gate>(&device);
        seen = gate;
        context = gate.get();
        Gate::leaveBehind(std::move(gate));
    }
    QVERIFY(!seen.expired());
    QVERIFY(!context->enter());
}

void tst_DeliveryGate::noVisitReachesADeviceThatIsGone()
{
    // Under the sanitizers a visit that came too late would be an error.
    for (int round = 0; round < 200; ++round) {
        auto device = std::make_unique<Device>();
        auto gate = std::make_shared<Gate>(device.get());
        std::atomic<bool> stop{false};
        std::vector<std::thread> visitors;
        for (int i = 0; i < 2; ++i) {
            visitors.emplace_back([gate, &stop] {
                while (!stop) {
                    if (const auto visit = gate->enter()) {
                        ++visit->delivered;
                    }
                }
            });
        }
        gate->open();
        while (device->delivered == 0) {
            std::this_thread::yield();
        }
        gate->close();
        const int delivered = device->delivered;
        QVERIFY(delivered > 0);
        device.reset();
        stop = true;
        for (std::thread& visitor : visitors) {
            visitor.join();
        }
    }
}

QTEST_GUILESS_MAIN(tst_DeliveryGate)
#include "tst_DeliveryGate.moc"
