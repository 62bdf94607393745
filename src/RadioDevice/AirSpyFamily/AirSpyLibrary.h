#pragma once

#include <cstdint>

/// The library of one of the two Airspy families, as far as their drivers have it in common: its functions
/// under their names. Results are the library's own.
template <class Handle>
struct AirSpyLibrary
{
    template <class Function>
    struct Named
    {
        const char* name;
        Function* call;
    };

    const char* name; ///< That its thread goes by.

    Named<int(std::uint64_t* serials, int count)> list; ///< A success is the number of receivers.
    Named<int(Handle** dev, std::uint64_t serial)> open;
    Named<int(Handle* dev)> close;
    Named<int(Handle* dev, char* version, std::uint8_t size)> readVersion;
    Named<int(Handle* dev, std::uint32_t* rates, std::uint32_t count)> rates; ///< With 0, their number.
    Named<int(Handle* dev, std::uint32_t hertz)> setRate;
    /// Delivers through the DeliveryGate of an AirSpyFamilyDevice, whose context `gate` is.
    Named<int(Handle* dev, void* gate)> start;
    Named<int(Handle* dev)> stop;
    Named<int(Handle* dev, std::uint32_t hertz)> setFrequency;

    bool (*succeeded)(int);
    int refused;                ///< What a value fails with that the library can't be given.
    int lost;                   ///< What a call fails with that isn't back in time.
    bool closesAfterFailedStop; ///< Otherwise a stop that fails leaves the receiver open.
    bool swapsIQ;               ///< `swapIQ` has an effect.
};
