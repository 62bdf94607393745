#include "RadioDevice/RtlUsb/CRTL_SDR_Thread.h"

#include "Core/Log/Log.h"
#include "RadioDevice/RtlUsb/RtlUsbRadioDevice.h"

#include <chrono>
#include <rtl-sdr.h>
#include <thread>

namespace
{

constexpr std::chrono::microseconds kPoll{100};
constexpr std::chrono::milliseconds kSlowPoll{100}; // once nobody waits any more
constexpr std::chrono::seconds kPatience{3};

} // namespace

CRTL_SDR_Thread::CRTL_SDR_Thread(rtlsdr_dev* dev, void* context, quint32 bufferLength)
    : m_dev(dev)
    , m_context(context)
    , m_bufferLength(bufferLength)
{
    setObjectName(QStringLiteral("RTL-SDR"));
    start(QThread::InheritPriority);
}

void CRTL_SDR_Thread::run()
{
    rtlsdr_read_async(m_dev, &CRTL_SDR_Thread::onRead, m_context, 0, m_bufferLength);
    exit(1);
}

void CRTL_SDR_Thread::end() const
{
    const auto slowFrom = std::chrono::steady_clock::now() + kPatience;
    // Before the thread has entered the read there is nothing to cancel, and the wish is lost.
    bool cancelled = rtlsdr_cancel_async(m_dev) == 0;
    while (!isFinished()) {
        if (std::chrono::steady_clock::now() < slowFrom) {
            std::this_thread::sleep_for(kPoll);
        } else {
            std::this_thread::sleep_for(kSlowPoll);
        }
        cancelled = cancelled || rtlsdr_cancel_async(m_dev) == 0;
    }
}

void CRTL_SDR_Thread::onRead(unsigned char* buffer, quint32 length, void* context)
{
    if (context == nullptr) {
        LOG_WARNING() << "Error rtlsdr_read_async function!";
        return;
    }
    Gate::visit(context, [buffer, length](RtlUsbRadioDevice& device) { device.onRead(buffer, length); });
}
