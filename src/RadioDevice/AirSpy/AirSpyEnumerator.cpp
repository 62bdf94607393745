#include "RadioDevice/AirSpy/AirSpyEnumerator.h"

#include "Core/Log/Log.h"
#include "Core/RadioDevice/Enumerator/EnumeratorRadioDevice.h"
#include "RadioDevice/AirSpy/AirSpyConversion.h"
#include "RadioDevice/AirSpy/AirSpyRadioDevice.h"

#include <airspy.h>

namespace
{

bool succeeded(int result)
{
    return result == AIRSPY_SUCCESS || result == AIRSPY_TRUE;
}

bool close(airspy_device* dev)
{
    const auto result = std::make_shared<int>(AIRSPY_SUCCESS);
    return BoundedCall::run(QStringLiteral("airspy_close"), [dev, result] { *result = airspy_close(dev); }) &&
           succeeded(*result);
}

} // namespace

void AirSpyEnumerator::refresh()
{
    AirSpyConversion::Serials serials{};
    // A success is the number of receivers here.
    if (airspy_list_devices(serials.data(), AirSpyConversion::kMaxSerials) < 0) {
        LOG_WARNING() << "Error get airspy list devices!";
        return;
    }
    for (const std::uint64_t serial : serials) {
        if (serial == 0) {
            continue;
        }
        airspy_device* dev = nullptr;
        if (!succeeded(airspy_open_sn(&dev, serial))) {
            LOG_WARNING() << "Error open airspy hf device!";
            return;
        }
        AirSpyConversion::Version version{};
        if (!succeeded(airspy_version_string_read(dev, version.data(), AirSpyConversion::kVersionSize))) {
            LOG_WARNING() << "Error read airspy hf version!";
            // Left open it could not be opened again.
            static_cast<void>(close(dev));
            return;
        }
        if (!close(dev)) {
            LOG_WARNING() << "Error close airspy hf device!";
            return;
        }
        const auto info = QSharedPointer<AirSpyRadioDevice::DeviceInfo>::create();
        info->title = QStringLiteral("Airspy R2/mini");
        info->description = AirSpyConversion::description(version, serial);
        info->identificator = QString::number(serial);
        m_owner->add(info);
    }
}
