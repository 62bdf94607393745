#include "Core/RadioDevice/FactoryRadioDevice.h"

#include "Core/Log/Log.h"
#include "RadioDevice/AirSpy/AirSpyRadioDevice.h"
#include "RadioDevice/AirSpyHF/AirSpyHFRadioDevice.h"
#include "RadioDevice/IQPlayer/IQPlayerRadioDevice.h"
#include "RadioDevice/Rsp/RspRadioDevice.h"
#include "RadioDevice/RtlUsb/RtlUsbRadioDevice.h"

#include <array>
#include <memory>

namespace
{

template <class Device>
AbstractRadioDevice* makeDevice(const QSharedPointer<InfoRadioDevice>& info)
{
    return new Device(info, nullptr);
}

struct Maker
{
    DefRadioDevice::Type type;
    AbstractRadioDevice* (*make)(const QSharedPointer<InfoRadioDevice>&);
};

constexpr std::array kMakers{
    Maker{DefRadioDevice::IQFilePlayer, &makeDevice<IQPlayerRadioDevice>},
#ifdef ORVENLINK_RTLSDR
    Maker{DefRadioDevice::RtlUsb, &makeDevice<RtlUsbRadioDevice>},
#endif
#ifdef ORVENLINK_AIRSPYHF
    Maker{DefRadioDevice::AirSpyHF, &makeDevice<AirSpyHFRadioDevice>},
#endif
#ifdef ORVENLINK_AIRSPY
    Maker{DefRadioDevice::AirSpy, &makeDevice<AirSpyRadioDevice>},
#endif
    Maker{DefRadioDevice::Rsp, &makeDevice<RspRadioDevice>},
};

} // namespace

AbstractRadioDevice* FactoryRadioDevice::make(const QSharedPointer<InfoRadioDevice>& info)
{
    const QString name = DefRadioDevice::toString(static_cast<DefRadioDevice::Type>(info->type()));
    LOG_DEBUG() << "Factory radio device:" << name;
    for (const Maker& maker : kMakers) {
        if (maker.type == info->type()) {
            std::unique_ptr<AbstractRadioDevice> device(maker.make(info));
            if (!device->hasDsp()) {
                break;
            }
            device->reset();
            return device.release();
        }
    }
    LOG_CRITICAL() << "Error factory RadioDevice!" << name << info->identificator;
    return nullptr;
}
