#pragma once

#include "RadioDevice/Rsp/RspLibrary.h"
#include "RadioDevice/Vendor/DeliveryGate.h"
#include "RadioDevice/Vendor/LibraryThread.h"
#include "RadioDevice/Vendor/VendorRadioDevice.h"

/// An RSP: one sample rate, a fixed gain reduction, a choice of antenna. Its library delivers 16-bit samples
/// on a thread of its own.
/// Errors: a start that fails says so and stops; a refused retune is logged and changes nothing; a refused
///         antenna is stored all the same.
///
/// Retuning and the antenna reach the library whether a stream runs or not. The antenna does so by its setter
/// alone, at no start. `swapIQ` has no effect on this receiver.
class RspRadioDevice : public VendorRadioDevice
{
    Q_OBJECT
    Q_PROPERTY(int ant READ ant WRITE setAnt NOTIFY antChanged)

public:
    class DeviceInfo : public InfoRadioDevice
    {
    public:
        [[nodiscard]] int type() const override { return DefRadioDevice::Rsp; }
    };

    RspRadioDevice(QSharedPointer<InfoRadioDevice> info, QObject* parent,
                   const LibraryDeadlines& deadlines = {},
                   std::chrono::milliseconds watchdogInterval = kWatchdogInterval);
    ~RspRadioDevice() override;

    /// The name that the library's thread goes by.
    static QString library() { return QStringLiteral("libmirsdrapi-rsp"); }

    [[nodiscard]] bool libraryLoaded() const { return m_library.isLoaded; }

    /// In hertz. The ranges don't limit it, and the hardware gets it as it is, without the correction. Within
    /// one of the receiver's bands it is retuned on the fly, across their borders its stream is set up again.
    void setFrequency(double hertz) override;

    /// 5 for antenna A, 6 for antenna B; any other value becomes 5.
    [[nodiscard]] int ant() const { return m_ant; }
    void setAnt(int ant);

    /// Publishes `count` samples, I and Q apart. On the library's thread, while the gate is open. What can't
    /// be a block (null, or absurdly many) is dropped.
    void deliver(const short* xi, const short* xq, unsigned count);

signals:
    void antChanged(int ant);

private slots:
    void onStart() override;
    void onStop() override;

private:
    [[nodiscard]] LibraryThread::Answer make(const char* what, std::function<int(const RspLibrary&)> question,
                                             std::chrono::milliseconds deadline);
    // What isn't back in time fails, and nothing more is asked in that session.
    qint32 ask(const char* what, std::function<int(const RspLibrary&)> question);
    qint32 ask(const char* what, std::function<int(const RspLibrary&)> question,
               std::chrono::milliseconds deadline);
    [[nodiscard]] bool selectReceiver();
    [[nodiscard]] qint32 initStream(int& samplesPerPacket);
    [[nodiscard]] qint32 retune(double hertz);
    void lose();
    void failStart();
    void endStream();

    RspLibrary m_library;
    qint32 m_lastError = 0; // the library's last result
    qint32 m_ant;
    LibraryThread& m_thread;
    LibraryDeadlines m_deadlines;
    DeliveryGate<RspRadioDevice> m_gate;
    bool m_streaming = false; // from the beginning of a start until its end is asked for
};
