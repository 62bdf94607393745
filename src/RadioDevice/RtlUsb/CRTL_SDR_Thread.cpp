#include "RadioDevice/RtlUsb/CRTL_SDR_Thread.h"

#include "Core/Log/Log.h"
#include "RadioDevice/RtlUsb/RtlUsbRadioDevice.h"

#include <chrono>
#include <rtl-sdr.h>
#include <thread>
#include <utility>

namespace
{

constexpr std::chrono::microseconds kPoll{100};
constexpr std::chrono::milliseconds kPollLeftBehind{100}; // once nobody waits any more

} // namespace

CRTL_SDR_Thread::CRTL_SDR_Thread(rtlsdr_dev* dev, std::shared_ptr<Gate> gate, quint32 bufferLength)
    : m_dev(dev)
    , m_gate(std::move(gate))
    , m_bufferLength(bufferLength)
{
    setObjectName(QStringLiteral("RTL-SDR"));
    start(QThread::InheritPriority);
}

void CRTL_SDR_Thread::run()
{
    rtlsdr_read_async(m_dev, &CRTL_SDR_Thread::onRead, m_gate.get(), 0, m_bufferLength);
    exit(1);
}

void CRTL_SDR_Thread::close() const
{
    const auto deadline = std::chrono::steady_clock::now() + BoundedCall::kDeadline;
    // Before the thread has entered the read there is nothing to cancel, and the wish is lost.
    bool cancelled = rtlsdr_cancel_async(m_dev) == 0;
    while (!isFinished()) {
        if (std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(kPoll);
        } else {
            std::this_thread::sleep_for(kPollLeftBehind);
        }
        cancelled = cancelled || rtlsdr_cancel_async(m_dev) == 0;
    }
    rtlsdr_close(m_dev);
}

void CRTL_SDR_Thread::onRead(unsigned char* buffer, quint32 length, void* context)
{
    if (context == nullptr) {
        LOG_WARNING() << "Error rtlsdr_read_async function!";
        return;
    }
    if (const auto device = static_cast<Gate*>(context)->enter()) {
        device->onRead(buffer, length);
    }
}
