#include "RadioDevice/RtlUsb/CRTL_SDR_Thread.h"

#include "Core/Log/Log.h"
#include "RadioDevice/RtlUsb/RtlUsbRadioDevice.h"

#include <rtl-sdr.h>
#include <utility>

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
