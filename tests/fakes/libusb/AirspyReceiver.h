#pragma once

#include "FakeReceiver.h"

/// An Airspy R2: real samples of 12 bits at twice the rate, what is tuned to at a quarter of theirs.
class AirspyReceiver : public FakeReceiver
{
public:
    static std::unique_ptr<FakeReceiver> make() { return std::make_unique<AirspyReceiver>(); }

    int control(const Request& request) override;
    [[nodiscard]] double bytesPerSecond() const override { return 4.0 * m_rate; }
    void fill(unsigned char* data, std::size_t length) override;

private:
    double m_rate = 0.0;
    double m_tuned = 0.0;
    std::size_t m_position = 0; // of the next sample
};
