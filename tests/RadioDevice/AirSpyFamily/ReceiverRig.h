#pragma once

#include "Core/RadioDevice/AbstractRadioDevice.h"
#include "RadioDevice/Vendor/LibraryThread.h"

#include "support/FakeVendor.h"

#include <QtTest>
#include <algorithm>
#include <memory>
#include <vector>

/// What a device's ring holds.
struct SampleRing
{
    /// Samples that were written to the ring so far, modulo its capacity.
    static int written(const AbstractRadioDevice& device)
    {
        const QMutexLocker lock(&device.inBuffer()->mutex);
        return device.inBuffer()->writeIndex;
    }

    /// The last samples of the ring.
    static std::vector<DoubleComplex> last(const AbstractRadioDevice& device, int count)
    {
        std::vector<DoubleComplex> samples(static_cast<std::size_t>(count));
        RingBuffer<DoubleComplex>& ring = *device.inBuffer();
        const QMutexLocker lock(&ring.mutex);
        ring.read(ring.advance(ring.writeIndex, -count), samples.data(), count);
        return samples;
    }

    /// How many of the samples hold what follows the one before; the fake's counter gives I = 2 n and
    /// Q = 2 n + 1 to sample n.
    static int countingSamples(const std::vector<DoubleComplex>& samples, double DoubleComplex::*i,
                               double DoubleComplex::*q)
    {
        const double first = samples.front().*i;
        int good = 0;
        for (std::size_t n = 0; n < samples.size(); ++n) {
            const double expected = first + 2.0 * static_cast<double>(n);
            good += samples[n].*i == expected && samples[n].*q == expected + 1.0 ? 1 : 0;
        }
        return good;
    }
};

/// Receivers of one of the two Airspy families on its fake library, whose script `vendor` writes.
template <class Device>
class ReceiverRig
{
public:
    explicit ReceiverRig(FakeVendor& vendor)
        : m_vendor(vendor)
    {
    }

    /// Closed, as the factory leaves it: every property at its default.
    static std::unique_ptr<Device> make(const QString& identificator = QStringLiteral("7"),
                                        const LibraryDeadlines& deadlines = {})
    {
        auto device = fresh(identificator, deadlines);
        device->reset();
        return device;
    }

    /// As its constructor leaves it.
    static std::unique_ptr<Device> fresh(const QString& identificator = QStringLiteral("7"),
                                         const LibraryDeadlines& deadlines = {})
    {
        auto info = QSharedPointer<typename Device::DeviceInfo>::create();
        info->identificator = identificator;
        return std::make_unique<Device>(info, nullptr, deadlines);
    }

    /// Running, with the calls of its start forgotten.
    std::unique_ptr<Device> started(const LibraryDeadlines& deadlines = {})
    {
        auto device = make(QStringLiteral("7"), deadlines);
        device->start(false);
        if (!device->running()) {
            qFatal("No receiver to test");
        }
        m_vendor.clearCalls();
        return device;
    }

private:
    FakeVendor& m_vendor;
};
