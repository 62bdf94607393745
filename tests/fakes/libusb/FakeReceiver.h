#pragma once

#include <array>
#include <complex>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/// A receiver at the far end of a USB cable: what it answers to requests, and what it sends. Not for two
/// threads at once.
class FakeReceiver
{
public:
    /// A control request as it is on the bus.
    struct Request
    {
        std::uint8_t type;
        std::uint8_t number;
        std::uint16_t value;
        std::uint16_t index;
        unsigned char* data;
        std::uint16_t length;

        [[nodiscard]] bool isRead() const { return (type & 0x80U) != 0; }
    };

    virtual ~FakeReceiver() = default;

    /// The bytes that were moved, or an error as libusb numbers them.
    virtual int control(const Request& request) = 0;
    /// What one second of its samples takes, by the rate that it was set to.
    [[nodiscard]] virtual double bytesPerSecond() const = 0;
    /// Fills a buffer of its bulk endpoint.
    virtual void fill(unsigned char* data, std::size_t length) = 0;

protected:
    /// The air, by the script's keys: a carrier at `station` hertz, or `tone.hz` above `tuned`, of
    /// `tone.level` (0 to 1). `count` samples at `rate`; valid until the next call.
    const std::vector<std::complex<double>>& air(std::size_t count, double rate, double tuned);

    /// Answers a read with these bytes, or as many as were asked for.
    static int answer(const Request& request, const void* bytes, std::size_t size);
    /// As both Airspy families tell their rates: how many, or as many as were asked for.
    static int answerRates(const Request& request, const std::array<std::uint32_t, 2>& rates);
    /// Takes a write; answers a read with zeros.
    static int accept(const Request& request);

private:
    std::vector<std::complex<double>> m_air;
    std::complex<double> m_phase = 1.0;
};

/// What there is of receivers, a row each.
struct FakeModel
{
    const char* name; ///< The script's key that says how many are in: usb.NAME.
    std::uint16_t vendor;
    std::uint16_t product;
    std::array<const char*, 3> strings; ///< Manufacturer, product, serial number; the last with `%d`.
    std::unique_ptr<FakeReceiver> (*make)();
};

extern const std::array<FakeModel, 3> kFakeModels;
