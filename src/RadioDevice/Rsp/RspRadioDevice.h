#pragma once

#include "Core/RadioDevice/AbstractRadioDevice.h"
#include "RadioDevice/Rsp/RspLibrary.h"
#include "RadioDevice/Rsp/RspStream.h"
#include "RadioDevice/Vendor/VendorCalls.h"

/// An RSP: one sample rate, a fixed gain reduction, a choice of antenna. Its library delivers 16-bit samples
/// on a thread of its own.
/// Errors: a start that fails says so and stops; a refused retune is logged and changes nothing; a refused
///         antenna is stored all the same.
///
/// Retuning and the antenna reach the library whether a stream runs or not. The antenna does so by its setter
/// alone, at no start. `swapIQ` has no effect on this receiver.
class RspRadioDevice : public AbstractRadioDevice
{
    Q_OBJECT
    Q_PROPERTY(int ant READ ant WRITE setAnt NOTIFY antChanged)

public:
    class DeviceInfo : public InfoRadioDevice
    {
    public:
        [[nodiscard]] int type() const override { return DefRadioDevice::Rsp; }
    };

    /// The library may take `deadline` for a start, a setter or a stop, then it is left alone with it: a
    /// start or a setter fails, no more samples come, and the watch for them ends the session.
    RspRadioDevice(QSharedPointer<InfoRadioDevice> info, QObject* parent,
                   std::chrono::milliseconds deadline = BoundedCall::kDeadline,
                   std::chrono::milliseconds watchdogInterval = kWatchdogInterval);
    ~RspRadioDevice() override;

    [[nodiscard]] bool libraryLoaded() const { return m_library.isLoaded; }

    /// No range is kept to, and the hardware gets the frequency as it is, without the correction. Within one
    /// of the receiver's bands it is retuned on the fly, across their borders its stream is set up anew.
    void setFrequency(double hertz) override;

    /// 5 for antenna A, 6 for antenna B; any other value becomes 5.
    [[nodiscard]] int ant() const { return m_ant; }
    void setAnt(int ant);

signals:
    void antChanged(int ant);

private slots:
    void onStart() override;
    void onStop() override;

private:
    // A call that is left behind fails, and until the next start nothing more is asked of the library.
    qint32 ask(const char* what, std::function<int(const RspLibrary&)> question);
    [[nodiscard]] qint32 initStream(int& samplesPerPacket);
    [[nodiscard]] qint32 retune(double hertz);
    void failStart();
    void endStream();
    // On the library's thread. What can be no block (null, none or absurdly many) is dropped.
    void deliver(const short* xi, const short* xq, unsigned count);

    RspLibrary m_library;
    qint32 m_lastError = 0; // the library's last result
    qint32 m_ant;
    VendorCalls m_calls;
    RspStream m_stream;
    bool m_streaming = false; // between the beginning of a start and the end of its stop
};
