#pragma once

#include "FakeReceiver.h"

/// An Airspy HF+: complex samples of 16 bits, the imaginary part first, tuned in whole kilohertz.
class AirspyHfReceiver : public FakeReceiver
{
public:
    static std::unique_ptr<FakeReceiver> make() { return std::make_unique<AirspyHfReceiver>(); }

    int control(const Request& request) override;
    [[nodiscard]] double bytesPerSecond() const override { return 4.0 * m_rate; }
    void fill(unsigned char* data, std::size_t length) override;

private:
    double m_rate = 0.0;
    double m_tuned = 0.0;
};
