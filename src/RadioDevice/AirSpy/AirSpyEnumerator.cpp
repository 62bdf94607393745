#include "RadioDevice/AirSpy/AirSpyEnumerator.h"

#include "Core/Log/Log.h"
#include "RadioDevice/AirSpy/AirSpyRadioDevice.h"

AirSpyEnumerator::AirSpyEnumerator(EnumeratorRadioDevice* owner, const LibraryDeadlines& deadlines)
    : AirSpyFamilyEnumerator(owner, AirSpyRadioDevice::library(), deadlines)
{
}

void AirSpyEnumerator::refresh()
{
    if (!addAll()) {
        LOG_WARNING() << "Error get airspy list devices!";
    }
}

QSharedPointer<InfoRadioDevice> AirSpyEnumerator::makeRecord() const
{
    const auto info = QSharedPointer<AirSpyRadioDevice::DeviceInfo>::create();
    info->title = QStringLiteral("Airspy R2/mini");
    return info;
}
