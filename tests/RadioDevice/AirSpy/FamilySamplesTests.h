#pragma once

#include "RadioDevice/AirSpy/ReceiverRig.h"

/// What holds for the samples of both Airspy families, on their way from the library's callback to the ring;
/// the test of each adds its own.
class FamilySamplesTests : public QObject, protected SampleRing
{
    Q_OBJECT

protected:
    /// `library`: what its functions and its fake's keys begin with.
    explicit FamilySamplesTests(QString library)
        : m_library(std::move(library))
    {
    }

    virtual FakeVendor& vendor() = 0;
    [[nodiscard]] virtual std::unique_ptr<AbstractRadioDevice> make() const = 0;
    virtual void deliver(AbstractRadioDevice& receiver, const float* samples, int count) const = 0;

    /// Running, with the calls of its start forgotten.
    [[nodiscard]] std::unique_ptr<AbstractRadioDevice> started();
    [[nodiscard]] QString name(const char* rest) const { return m_library + QLatin1String(rest); }

private slots:
    void init();
    void cleanupTestCase();

    void numberOfTheFirstTransferMovesTheBlockSize();
    void blockSizeFollowsEveryTransfer();
    void transferThatIsNoBlockIsDropped_data();
    void transferThatIsNoBlockIsDropped();
    void transferOfAMillionSamplesLeavesTheLastOfThem();
    void transferOfMoreThanIsBelievedIsDropped();
    void nothingIsNoBlock();
    void deliveryTakesNothingFromTheHeap();
    void stalledReceiverCanBeStopped();

private:
    const QString m_library;
};
