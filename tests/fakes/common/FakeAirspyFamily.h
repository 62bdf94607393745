#pragma once

#include "FakeDelivery.h"

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

/// A handle of either fake Airspy library. It stays for good, so that one used after its end is seen in the
/// log.
struct FakeAirspyHandle
{
    int number = 0;
    std::atomic<bool> closed{false};
    std::atomic<double> rate{0.0};
    FakeDelivery delivery;
};

std::string text(const FakeAirspyHandle* handle);

/// What the fakes of the two Airspy libraries have in common. Their keys, besides those of FakeScript.h, with
/// the library's name for LIBRARY:
///   LIBRARY.serial.N       serial number in place N, from 1; 1 for the first, 2 for the second, ... of
///                          `devices` without it
///   LIBRARY.version        version string, in bytes as they are
///   LIBRARY.version.hex    the same, two digits a byte
///   LIBRARY.version.full   1: all bytes of the version's buffer, without an end
///   LIBRARY.rates          the rates, by blanks
///   LIBRARY.rates.count    how many it says there are; missing ones are `rateStep` times their place, from 1
///   LIBRARY.count          what a transfer gives as its number of samples, whatever it holds
///   LIBRARY.null           samples: a transfer without samples; transfer: no transfer at all
///   LIBRARY.trace          1: each transfer is written down after its callback
/// A stop that fails goes on delivering, as does a close that fails. Without the receiver what talks to it
/// fails, and so does a listed one's opening.
struct FakeAirspyFamily
{
    const char* library;
    const char* version;    ///< Without a key.
    const char* rates;      ///< Without a key.
    std::uint32_t rateStep; ///< Hertz.
    int transferSize;       ///< Samples.

    /// The number of those that aren't 0.
    [[nodiscard]] int list(std::uint64_t* serials, int count) const;
    void readVersion(char* buffer, std::uint8_t size) const;
    void readRates(std::uint32_t* buffer, std::uint32_t count) const;

    /// Delivers on a thread of its own. `transfer` calls back with the floats, or null, and their count.
    using Transfer = std::function<void(float* samples, int count, bool isNull)>;
    void start(FakeAirspyHandle& handle, Transfer transfer) const;

private:
    [[nodiscard]] std::string key(const std::string& name) const { return library + ("." + name); }
    [[nodiscard]] std::uint64_t serial(int place) const;
    [[nodiscard]] std::string versionText() const;
};
