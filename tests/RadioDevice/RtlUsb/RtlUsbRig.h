#pragma once

#include "RadioDevice/RtlUsb/RtlUsbRadioDevice.h"

#include "support/FakeVendor.h"
#include "support/LogCapture.h"

#include <memory>
#include <vector>

/// A dongle of the fake library, the device for it, and a record of what the device says. The log is captured
/// from before the device is made.
struct RtlUsbRig
{
    explicit RtlUsbRig(FakeVendor& vendor, const LibraryDeadlines& deadlines = {},
                       const QString& identificator = QStringLiteral("0"));

    /// Starts the device and forgets the calls and lines of the start. Nothing is delivered unless the script
    /// says otherwise.
    void open();

    /// The texts of the warnings after their tag.
    [[nodiscard]] QStringList warnings() const;
    /// The calls since the last clear, in order and without those of the reading thread, whose place among
    /// the others is chance.
    [[nodiscard]] QStringList calls() const;
    void forget();

    /// How many samples the ring took (less than it holds), and the first of them.
    [[nodiscard]] int written() const;
    [[nodiscard]] std::vector<DoubleComplex> samples(int count) const;

    FakeVendor& vendor;
    LogCapture log;
    QStringList errors; // what errorHappen carried
    std::unique_ptr<RtlUsbRadioDevice> device;
};
