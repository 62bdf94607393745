#include "RtlUsbRig.h"

#include <QMutexLocker>

RtlUsbRig::RtlUsbRig(FakeVendor& fake, const LibraryDeadlines& deadlines, const QString& identificator)
    : vendor(fake)
{
    auto info = QSharedPointer<RtlUsbRadioDevice::DeviceInfo>::create();
    info->identificator = identificator;
    device = std::make_unique<RtlUsbRadioDevice>(info, nullptr, deadlines);
    // As the factory does.
    device->reset();
    QObject::connect(device.get(), &Worker::errorHappen, device.get(),
                     [this](const QString& text) { errors.append(text); });
}

void RtlUsbRig::open()
{
    vendor.set(QStringLiteral("buffers"), QStringLiteral("0"));
    device->start(false);
    forget();
}

QStringList RtlUsbRig::warnings() const
{
    QStringList result;
    for (const QString& text : log.texts(QtWarningMsg)) {
        // The signal path says much of a hundred starts a second, and the limiter sums it up.
        if (!text.contains(QLatin1String(" lines left out, of the kind logged at Core/Worker/DspH/"))) {
            result.append(text.mid(text.indexOf(QLatin1String("=>\t ")) + 4));
        }
    }
    return result;
}

QStringList RtlUsbRig::calls() const
{
    QStringList result;
    for (const QString& call : vendor.calls()) {
        if (!call.startsWith(QLatin1String("rtlsdr_read_async"))) {
            result.append(call);
        }
    }
    return result;
}

void RtlUsbRig::forget()
{
    vendor.clearCalls();
    log.clear();
    errors.clear();
}

int RtlUsbRig::written() const
{
    RingBuffer<DoubleComplex>& ring = *device->inBuffer();
    const QMutexLocker lock(&ring.mutex);
    return ring.writeIndex;
}

std::vector<DoubleComplex> RtlUsbRig::samples(int count) const
{
    RingBuffer<DoubleComplex>& ring = *device->inBuffer();
    std::vector<DoubleComplex> result(static_cast<std::size_t>(count));
    const QMutexLocker lock(&ring.mutex);
    ring.read(0, result.data(), count);
    return result;
}
