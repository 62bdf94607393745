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

void deliver(const void* context)
{
    Gate::visit(context, [](Device& device) { ++device.delivered; });
}

} // namespace

class tst_DeliveryGate : public QObject
{
    Q_OBJECT

private slots:
    void newGateIsShut();
    void openGateGivesDevice();
    void closedGateGivesNothing();
    void gateThatIsGoneGivesNothing();
    void numberOfEarlierStartGivesNothing();
    void gatesOfTwoDevicesGiveEachItsOwn();
    void numberOfNoStartGivesNothing();
    void closeWaitsForWhoeverIsInside();
    void noVisitReachesDeviceThatIsGone();
};

void tst_DeliveryGate::newGateIsShut()
{
    Gate gate;
    gate.close();
    void* const context = gate.begin();
    QVERIFY(context != nullptr);
    deliver(context);
}

void tst_DeliveryGate::openGateGivesDevice()
{
    Device device;
    Gate gate;
    void* const context = gate.begin();
    gate.open(&device);
    deliver(context);
    deliver(context);
    QCOMPARE(device.delivered.load(), 2);
}

void tst_DeliveryGate::closedGateGivesNothing()
{
    Device device;
    Gate gate;
    void* const context = gate.begin();
    gate.open(&device);
    gate.close();
    deliver(context);
    gate.close();
    deliver(context);
    QCOMPARE(device.delivered.load(), 0);
}

void tst_DeliveryGate::gateThatIsGoneGivesNothing()
{
    Device device;
    auto gate = std::make_unique<Gate>();
    void* const context = gate->begin();
    gate->open(&device);
    gate.reset();
    deliver(context);
    QCOMPARE(device.delivered.load(), 0);
}

void tst_DeliveryGate::numberOfEarlierStartGivesNothing()
{
    Device device;
    Gate gate;
    void* const first = gate.begin();
    gate.open(&device);
    void* const second = gate.begin();
    deliver(second);
    QCOMPARE(device.delivered.load(), 0);
    gate.open(&device);
    deliver(first);
    QCOMPARE(device.delivered.load(), 0);
    deliver(second);
    QCOMPARE(device.delivered.load(), 1);
}

void tst_DeliveryGate::gatesOfTwoDevicesGiveEachItsOwn()
{
    Device one;
    Device other;
    Gate gate;
    Gate otherGate;
    void* const context = gate.begin();
    void* const otherContext = otherGate.begin();
    gate.open(&one);
    otherGate.open(&other);
    gate.close();
    deliver(context);
    deliver(otherContext);
    QCOMPARE(one.delivered.load(), 0);
    QCOMPARE(other.delivered.load(), 1);
}

void tst_DeliveryGate::numberOfNoStartGivesNothing()
{
    Device device;
    Gate gate;
    QVERIFY(gate.begin() != nullptr);
    gate.open(&device);
    deliver(nullptr);
    deliver(&device);
    QCOMPARE(device.delivered.load(), 0);
}

void tst_DeliveryGate::closeWaitsForWhoeverIsInside()
{
    Device device;
    Gate gate;
    void* const context = gate.begin();
    gate.open(&device);
    std::promise<void> inside;
    std::promise<void> leave;
    std::atomic<bool> left{false};
    std::thread visitor([&] {
        Gate::visit(context, [&](Device&) {
            inside.set_value();
            leave.get_future().wait();
            left = true;
        });
    });
    inside.get_future().wait();
    bool leftBeforeClosed = false;
    std::thread closer([&] {
        gate.close();
        leftBeforeClosed = left;
    });
    leave.set_value();
    closer.join();
    visitor.join();
    QVERIFY(leftBeforeClosed);
}

void tst_DeliveryGate::noVisitReachesDeviceThatIsGone()
{
    // Under the sanitizers a visit that came too late would be an error.
    for (int round = 0; round < 200; ++round) {
        auto device = std::make_unique<Device>();
        Gate gate;
        void* const context = gate.begin();
        std::atomic<bool> stop{false};
        std::vector<std::thread> visitors;
        for (int i = 0; i < 2; ++i) {
            visitors.emplace_back([context, &stop] {
                while (!stop) {
                    deliver(context);
                }
            });
        }
        gate.open(device.get());
        while (device->delivered == 0) {
            std::this_thread::yield();
        }
        gate.close();
        device.reset();
        stop = true;
        for (std::thread& visitor : visitors) {
            visitor.join();
        }
    }
}

QTEST_GUILESS_MAIN(tst_DeliveryGate)
#include "tst_DeliveryGate.moc"
