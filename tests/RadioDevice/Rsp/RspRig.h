#pragma once

#include "RadioDevice/Rsp/RspRadioDevice.h"

#include "support/FakeVendor.h"
#include "support/LogCapture.h"

#include <QtTest>
#include <memory>
#include <vector>

/// An RSP of the fake library, the device for it as the factory leaves it, and a record of what the device
/// says. The calls and lines until then are forgotten.
struct RspRig
{
    explicit RspRig(FakeVendor& fake, const LibraryDeadlines& deadlines = {},
                    std::chrono::milliseconds watchdogInterval = IQSource::kWatchdogInterval,
                    const QString& identificator = QStringLiteral("0"))
        : vendor(fake)
    {
        auto info = QSharedPointer<RspRadioDevice::DeviceInfo>::create();
        info->identificator = identificator;
        device = std::make_unique<RspRadioDevice>(info, nullptr, deadlines, watchdogInterval);
        device->reset();
        QObject::connect(device.get(), &Worker::errorHappen, device.get(),
                         [this](const QString& text) { errors.append(text); });
        forget();
    }

    /// Starts the device, and forgets the calls and lines of that.
    void open()
    {
        device->start(false);
        if (!device->running()) {
            qFatal("No receiver to test");
        }
        forget();
    }

    void forget()
    {
        vendor.clearCalls();
        log.clear();
    }

    /// The texts of the warnings after their tag.
    [[nodiscard]] QStringList warnings() const
    {
        QStringList result;
        for (const QString& text : log.texts(QtWarningMsg)) {
            result.append(text.section(QStringLiteral("=>\t "), 1));
        }
        return result;
    }

    /// Samples that the ring took so far, modulo its capacity.
    [[nodiscard]] int written() const
    {
        const QMutexLocker lock(&device->inBuffer()->mutex);
        return device->inBuffer()->writeIndex;
    }

    /// The first samples of the ring.
    [[nodiscard]] std::vector<DoubleComplex> samples(int count) const
    {
        std::vector<DoubleComplex> result(static_cast<std::size_t>(count));
        const QMutexLocker lock(&device->inBuffer()->mutex);
        device->inBuffer()->read(0, result.data(), count);
        return result;
    }

    FakeVendor& vendor;
    LogCapture log;
    QStringList errors; // what errorHappen carried
    std::unique_ptr<RspRadioDevice> device;
};
