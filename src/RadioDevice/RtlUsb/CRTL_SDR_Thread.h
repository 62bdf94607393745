#pragma once

#include "RadioDevice/Vendor/DeliveryGate.h"

#include <QThread>

class RtlUsbRadioDevice;
struct rtlsdr_dev;

/// Runs the library's read, which blocks until it is cancelled and calls back on this thread.
/// Thread:    runs from the constructor on. Once the read has returned it is finished.
/// Ownership: never to be deleted before it has finished; whoever ends it holds it until then.
class CRTL_SDR_Thread final : public QThread
{
    Q_OBJECT

public:
    using Gate = DeliveryGate<RtlUsbRadioDevice>;

    /// `dev` stays open until the thread has finished. `context` is the gate's, `bufferLength` is in bytes.
    CRTL_SDR_Thread(rtlsdr_dev* dev, void* context, quint32 bufferLength);

    /// False if the system had no thread for it.
    [[nodiscard]] bool isStarted() const { return isRunning() || isFinished(); }

    /// Cancels the read until it has returned, however long. On the library's thread.
    void end() const;

    /// What the library calls with each buffer; `context` is the gate's.
    static void onRead(unsigned char* buffer, quint32 length, void* context);

protected:
    void run() override;

private:
    rtlsdr_dev* m_dev;
    void* m_context;
    quint32 m_bufferLength; // bytes
};
