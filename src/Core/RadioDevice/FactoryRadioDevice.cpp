#include "Core/RadioDevice/FactoryRadioDevice.h"

#include "Core/Log/Log.h"

#include <memory>

AbstractRadioDevice* FactoryRadioDevice::make(const QSharedPointer<InfoRadioDevice>& info,
                                              const std::vector<RadioDriver>& drivers)
{
    const QString name = DefRadioDevice::toString(static_cast<DefRadioDevice::Type>(info->type()));
    LOG_DEBUG() << "Factory radio device:" << name;
    for (const RadioDriver& driver : drivers) {
        if (driver.type == info->type()) {
            std::unique_ptr<AbstractRadioDevice> device(driver.makeDevice(info));
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
