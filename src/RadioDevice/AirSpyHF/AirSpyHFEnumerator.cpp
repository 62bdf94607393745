#include "RadioDevice/AirSpyHF/AirSpyHFEnumerator.h"

#include "Core/Log/Log.h"
#include "RadioDevice/AirSpyHF/AirSpyHFRadioDevice.h"

AirSpyHFEnumerator::AirSpyHFEnumerator(EnumeratorRadioDevice* owner, const LibraryDeadlines& deadlines)
    : AirSpyFamilyEnumerator(owner, AirSpyHFRadioDevice::library(), deadlines)
{
}

void AirSpyHFEnumerator::refresh()
{
    if (!addAll()) {
        LOG_WARNING() << "Error get airspy hf list devices!";
    }
}

QSharedPointer<InfoRadioDevice> AirSpyHFEnumerator::makeRecord() const
{
    const auto info = QSharedPointer<AirSpyHFRadioDevice::DeviceInfo>::create();
    info->title = QStringLiteral("Airspy HF+");
    return info;
}
