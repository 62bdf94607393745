#pragma once

#include "Core/RadioDevice/IQSource.h"

constexpr int kCapacity = 4096;

/// A source whose rate and block a test may set, as a driver does.
class TestSource : public IQSource
{
public:
    explicit TestSource(double sampleRate, std::chrono::milliseconds watchdogInterval = kWatchdogInterval)
        : IQSource(kCapacity, watchdogInterval)
    {
        m_sampleRate = sampleRate;
    }

    void setSampleRate(double sampleRate) { m_sampleRate = sampleRate; }
    DoubleComplex& operator[](int i) { return m_block[i]; }
};
