#include "Core/RadioDevice/InfoRadioDevice.h"

InfoRadioDevice::InfoRadioDevice(int type)
    : m_type(type)
{
}

InfoRadioDevice::~InfoRadioDevice() = default;
