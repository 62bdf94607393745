#include "RadioDevice/Rsp/RspEnumerator.h"

#include "Core/Log/Log.h"
#include "Core/RadioDevice/Enumerator/EnumeratorRadioDevice.h"
#include "RadioDevice/Rsp/RspRadioDevice.h"

#include <algorithm>

namespace
{

constexpr float kApiVersion = 2.1F;

} // namespace

RspEnumerator::RspEnumerator(EnumeratorRadioDevice* owner)
    : AbstractEnumerator(owner)
    , m_library(RspLibrary::load())
{
    if (!libraryLoaded()) {
        LOG_DEBUG() << "The rsp library isn't installed";
        return;
    }
    m_lastError = m_library.apiVersion(&m_apiVersion);
    // Exactly this one: the next version's number is another float, however close.
    if (m_apiVersion != kApiVersion) {
        LOG_WARNING() << "Error rsp library api version!";
    }
}

void RspEnumerator::refresh()
{
    if (!libraryLoaded()) {
        return;
    }
    unsigned count = 0;
    m_lastError = m_library.getDevices(m_devices.data(), &count, RspApi::kMaxDevices);
    if (m_lastError != 0) {
        LOG_WARNING() << "Error get RSP devices list!";
        return;
    }
    for (unsigned index = 0; index < std::min(count, RspApi::kMaxDevices); ++index) {
        auto info = QSharedPointer<RspRadioDevice::DeviceInfo>::create();
        info->title = QString::number(index);
        info->description = QString::number(index);
        info->identificator = QString::number(index);
        m_owner->add(info);
    }
}
