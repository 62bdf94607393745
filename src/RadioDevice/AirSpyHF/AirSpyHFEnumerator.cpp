#include "RadioDevice/AirSpyHF/AirSpyHFEnumerator.h"

#include "Core/Log/Log.h"
#include "Core/RadioDevice/Enumerator/EnumeratorRadioDevice.h"
#include "RadioDevice/AirSpy/AirSpyConversion.h"
#include "RadioDevice/AirSpyHF/AirSpyHFRadioDevice.h"

#include <airspyhf.h>

namespace
{

bool close(airspyhf_device* dev)
{
    const auto result = std::make_shared<int>(AIRSPYHF_SUCCESS);
    return BoundedCall::run(QStringLiteral("airspyhf_close"),
                            [dev, result] { *result = airspyhf_close(dev); }) &&
           *result == AIRSPYHF_SUCCESS;
}

} // namespace

void AirSpyHFEnumerator::refresh()
{
    AirSpyConversion::Serials serials{};
    // A success is the number of receivers here.
    if (airspyhf_list_devices(serials.data(), AirSpyConversion::kMaxSerials) < 0) {
        LOG_WARNING() << "Error get airspy hf list devices!";
        return;
    }
    for (const std::uint64_t serial : serials) {
        if (serial == 0) {
            continue;
        }
        airspyhf_device* dev = nullptr;
        if (airspyhf_open_sn(&dev, serial) != AIRSPYHF_SUCCESS) {
            LOG_WARNING() << "Error open airspy hf device!";
            return;
        }
        AirSpyConversion::Version version{};
        if (airspyhf_version_string_read(dev, version.data(), AirSpyConversion::kVersionSize) !=
            AIRSPYHF_SUCCESS) {
            LOG_WARNING() << "Error read airspy hf version!";
            // Left open it could not be opened again.
            static_cast<void>(close(dev));
            return;
        }
        if (!close(dev)) {
            LOG_WARNING() << "Error close airspy hf device!";
            return;
        }
        const auto info = QSharedPointer<AirSpyHFRadioDevice::DeviceInfo>::create();
        info->title = QStringLiteral("Airspy HF+");
        info->description = AirSpyConversion::description(version, serial);
        info->identificator = QString::number(serial);
        m_owner->add(info);
    }
}
