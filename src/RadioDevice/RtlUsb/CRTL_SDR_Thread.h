#pragma once

#include "RadioDevice/Vendor/DeliveryGate.h"

#include <QThread>

class RtlUsbRadioDevice;
struct rtlsdr_dev;

/// Runs the library's read, which blocks until it is cancelled and calls back on this thread.
/// Thread:    runs from the constructor on. Once the read has returned it is finished.
/// Ownership: shares the gate with the device. Never to be deleted before it has finished; whoever stops it
///            holds it until then, and a read that never returns is left behind with its thread.
class CRTL_SDR_Thread final : public QThread
{
    Q_OBJECT

public:
    using Gate = DeliveryGate<RtlUsbRadioDevice>;

    /// `dev` stays open until the thread has finished. `bufferLength` is in bytes.
    CRTL_SDR_Thread(rtlsdr_dev* dev, std::shared_ptr<Gate> gate, quint32 bufferLength);

    /// Ends the read, waits for the thread's end, however long, and gives the dongle back. Any other thread.
    void close() const;

    /// What the library calls with each buffer; `context` is the gate.
    static void onRead(unsigned char* buffer, quint32 length, void* context);

protected:
    void run() override;

private:
    rtlsdr_dev* m_dev;
    std::shared_ptr<Gate> m_gate;
    quint32 m_bufferLength; // bytes
};
