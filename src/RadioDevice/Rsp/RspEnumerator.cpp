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

RspEnumerator::RspEnumerator(EnumeratorRadioDevice* owner, const LibraryDeadlines& deadlines)
    : AbstractEnumerator(owner)
    , m_library(RspLibrary::load())
    , m_thread(LibraryThread::of(RspRadioDevice::library()))
    , m_deadlines(deadlines)
{
    if (!libraryLoaded()) {
        return;
    }
    const auto version = std::make_shared<float>(0.0F);
    const auto [outcome, result] = m_thread.ask(
        "mir_sdr_ApiVersion", [call = m_library.apiVersion, version] { return call(version.get()); },
        m_deadlines.call);
    const bool isTold = outcome == LibraryThread::Outcome::Back;
    m_lastError = isTold ? result : RspApi::kLost;
    m_apiVersion = isTold ? *version : 0.0F;
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
    const auto [outcome, result] = m_thread.ask(
        "mir_sdr_GetDevices",
        [call = m_library.getDevices, found] {
            return call(found->devices.data(), &found->count, RspApi::kMaxDevices);
        },
        m_deadlines.call);
    m_lastError = outcome == LibraryThread::Outcome::Back ? result : RspApi::kLost;
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

QString RspEnumerator::hindrance() const
{
    return libraryLoaded() ? QString() : QStringLiteral("The rsp library isn't installed");
}
