#pragma once

#include "RadioDevice/Drivers.h"

#include "support/FakeVendor.h"
#include "support/LogCapture.h"

#include <QTemporaryDir>

/// Drivers whose libraries don't come back, on the fakes.
struct HangRig
{
    /// What such a device's library may take: as short as a machine that is busy lets it be, since that is
    /// what a start of all that works must keep to as well.
    static constexpr std::chrono::milliseconds kDeadline{250};
    /// What one deadline and all else there is to do may take.
    static constexpr qint64 kLongMs = 1500;

    void reset();

    /// Those that have a library.
    [[nodiscard]] QVector<Driver> vendorDrivers() const;

    /// How many times a receiver was opened.
    [[nodiscard]] int opened(const Driver& driver) const;
    /// Lets the call go that `hang` names in the script; true when every receiver that was opened is closed
    /// in the end, and none was asked for anything behind its close.
    [[nodiscard]] bool letGo(const Driver& driver, const QString& hang);

    static int received(const AbstractRadioDevice& device);
    /// The warnings about calls that were left behind.
    static QStringList leftBehind(const LogCapture& log);
    /// Sets each property of the driver's to other values and back.
    static void writeAll(AbstractRadioDevice& device, const Driver& driver);

    FakeVendor vendor;
    QTemporaryDir folder;
};
