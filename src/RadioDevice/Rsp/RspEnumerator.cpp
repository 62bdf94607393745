#include "RadioDevice/Rsp/RspEnumerator.h"

#include "Core/Log/Log.h"
#include "Core/RadioDevice/Enumerator/EnumeratorRadioDevice.h"
#include "RadioDevice/Rsp/RspRadioDevice.h"

#include <algorithm>
#include <array>

namespace
{

constexpr float kApiVersion = 2.1F;

struct Found
{
    std::array<RspApi::Device, RspApi::kMaxDevices> devices{};
    unsigned count = 0;
};

} // namespace

RspEnumerator::RspEnumerator(EnumeratorRadioDevice* owner, std::chrono::milliseconds deadline)
    : AbstractEnumerator(owner)
    , m_library(RspLibrary::load())
    , m_calls(deadline)
{
    if (!libraryLoaded()) {
        LOG_DEBUG() << "The rsp library isn't installed";
        return;
    }
    const auto version = std::make_shared<float>(0.0F);
    const auto told = m_calls.run(QStringLiteral("mir_sdr_ApiVersion"),
                                  [call = m_library.apiVersion, version] { return call(version.get()); });
    m_lastError = told.value_or(RspApi::kLost);
    m_apiVersion = told ? *version : 0.0F;
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
    const auto found = std::make_shared<Found>();
    m_lastError = m_calls
                      .run(QStringLiteral("mir_sdr_GetDevices"),
                           [call = m_library.getDevices, found] {
                               return call(found->devices.data(), &found->count, RspApi::kMaxDevices);
                           })
                      .value_or(RspApi::kLost);
    if (m_lastError != 0) {
        LOG_WARNING() << "Error get RSP devices list!";
        return;
    }
    for (unsigned index = 0; index < std::min(found->count, RspApi::kMaxDevices); ++index) {
        auto info = QSharedPointer<RspRadioDevice::DeviceInfo>::create();
        info->title = QString::number(index);
        info->description = QString::number(index);
        info->identificator = QString::number(index);
        m_owner->add(info);
    }
}
