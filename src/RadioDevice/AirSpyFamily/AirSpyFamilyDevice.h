#pragma once

#include "RadioDevice/AirSpyFamily/AirSpyLibrary.h"
#include "RadioDevice/Vendor/DeliveryGate.h"
#include "RadioDevice/Vendor/VendorHandle.h"
#include "RadioDevice/Vendor/VendorRadioDevice.h"

/// What the drivers of the Airspy receivers have in common: a library that opens by serial number, names its
/// rates, and delivers floats on a thread of its own, through a gate. `Handle` is that of the library.
/// Thread: the device's, but for `deliver`.
/// Errors: those of a start end it, those of retuning are logged.
template <class Handle>
class AirSpyFamilyDevice : public VendorRadioDevice
{
public:
    using Library = AirSpyLibrary<Handle>;

    ~AirSpyFamilyDevice() override;

    /// In hertz. The ranges don't limit it, and the hardware gets it as it is, without the correction.
    void setFrequency(double hertz) override;
    void setSampleRate(double rate) override;

    /// Publishes `count` pairs of floats, I first. On the library's thread, while the gate is open. What
    /// can't be a block (null, a negative count or an absurd one) is dropped.
    void deliver(const float* samples, int count);

    /// What a library's callback does with the gate that it was started with.
    static void deliverThrough(void* gate, const float* samples, int count);

protected:
    AirSpyFamilyDevice(QSharedPointer<InfoRadioDevice> info, QObject* parent, const Library& library,
                       const LibraryDeadlines& deadlines, std::chrono::milliseconds watchdogInterval);

    void onStart() override;
    void onStop() override;

    /// Of a start: between setting the rate and starting. False if that ended the start, by `proceed`.
    [[nodiscard]] virtual bool prepare() { return true; }
    /// Of a start: after the tuning.
    virtual void applySettings() = 0;

    /// True if the result is one of success; otherwise the start is over, and the receiver closed.
    [[nodiscard]] bool proceed(int result, const char* failure);

    VendorHandle<Handle> m_receiver; // null while closed; a stop that failed may leave it set

private:
    using Gate = DeliveryGate<AirSpyFamilyDevice>;

    [[nodiscard]] bool openReceiver();
    [[nodiscard]] bool readSampleRates();
    [[nodiscard]] int setReceiverFrequency(double hertz);
    [[nodiscard]] int setReceiverRate(double rate);
    void report(const char* text, int result);
    void reportRetuning(const char* text, int result);
    void stopReceiver();
    int closeReceiver();

    const Library& m_library;
    Gate m_gate;
};
