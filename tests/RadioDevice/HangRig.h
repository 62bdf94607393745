#pragma once

#include "RadioDevice/Driver.h"

#include "support/FakeVendor.h"
#include "support/LogCapture.h"

/// Drivers whose libraries don't come back, on the fakes.
struct HangRig
{
    /// What each call of such a device's library may take: as short as a machine that is busy lets it be.
    static constexpr std::chrono::milliseconds kDeadline{500};
    static constexpr LibraryDeadlines kDeadlines{kDeadline, kDeadline};
    /// What one deadline and all else there is to do may take.
    static constexpr qint64 kLongMs = 2500;
    /// What takes less waits for nothing.
    static constexpr qint64 kAtOnceMs = 200;

    /// A column and a row for each driver that has a library.
    static void addDrivers();

    /// How many times a receiver was opened.
    [[nodiscard]] int opened(const Driver& driver) const;
    /// Lets the call go that `hang` names in the script; true when every receiver that was opened is closed
    /// in the end, and some was, and none was asked for anything after its close.
    [[nodiscard]] bool letGo(const Driver& driver, const QString& hang);

    static int received(const AbstractRadioDevice& device);
    /// The warnings about calls that aren't back in time.
    static QStringList out(const LogCapture& log);
    /// How many threads this process has.
    static int threads();
    /// Sets each property of the driver's to other values and back.
    static void writeAll(AbstractRadioDevice& device, const Driver& driver);

    FakeVendor vendor;
};
