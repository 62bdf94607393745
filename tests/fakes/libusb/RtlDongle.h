#pragma once

#include "FakeReceiver.h"

/// An RTL2832U with an R820T at its I2C repeater. What was written to the registers of both says how it
/// is tuned and how fast it samples.
class RtlDongle : public FakeReceiver
{
public:
    static std::unique_ptr<FakeReceiver> make() { return std::make_unique<RtlDongle>(); }

    int control(const Request& request) override;
    [[nodiscard]] double bytesPerSecond() const override { return 2.0 * rate(); }
    void fill(unsigned char* data, std::size_t length) override;

private:
    [[nodiscard]] double rate() const;
    [[nodiscard]] double tuned() const;
    int tuner(const Request& request);
    int demodulator(const Request& request);

    std::array<std::array<unsigned char, 256>, 16> m_demodulator{};
    std::array<unsigned char, 32> m_tuner{};
};
