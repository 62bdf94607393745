#pragma once

#include "RadioDevice/RtlUsb/CRTL_SDR_Thread.h"
#include "RadioDevice/Vendor/VendorHandle.h"
#include "RadioDevice/Vendor/VendorRadioDevice.h"

/// An RTL2832U dongle through librtlsdr.
/// Thread:    the device's own, but for `onRead`, which the reading thread calls through the gate.
/// Ownership: of the library's handle from a start to the stop of the running device. A start that fails
///            after the opening leaves the dongle open.
/// Errors:    a setter stores first and reports what the library refuses by errorHappen and a warning; what
///            was stored stays.
///
/// The dongle is tuned to what is asked for, without `ppmCorrection`: the library has a correction of its
/// own, `rtlPpm`. That one and `offsetTuning` reach an open dongle alone; a start doesn't repeat them.
/// `biasTee` is stored and no more.
class RtlUsbRadioDevice : public VendorRadioDevice
{
    Q_OBJECT
    Q_PROPERTY(bool biasTee READ biasTee WRITE setBiasTee RESET resetBiasTee)
    Q_PROPERTY(bool rtlPpm READ rtlPpm WRITE setRtlPpm RESET resetRtlPpm)
    Q_PROPERTY(bool offsetTuning READ offsetTuning WRITE setOffsetTuning RESET resetOffsetTuning)
    Q_PROPERTY(bool rtlAgc READ rtlAgc WRITE setRtlAgc RESET resetRtlAgc)
    Q_PROPERTY(bool tunerAgc READ tunerAgc WRITE setTunerAgc RESET resetTunerAgc)
    Q_PROPERTY(int tunerGain READ tunerGain WRITE setTunerGain RESET resetTunerGain)
    Q_PROPERTY(int samplingMode READ samplingMode WRITE setSamplingMode RESET resetSamplingMode)

public:
    class DeviceInfo : public InfoRadioDevice
    {
    public:
        [[nodiscard]] int type() const override { return DefRadioDevice::RtlUsb; }
    };

    RtlUsbRadioDevice(QSharedPointer<InfoRadioDevice> info, QObject* parent,
                      const LibraryDeadlines& deadlines = {},
                      std::chrono::milliseconds watchdogInterval = kWatchdogInterval);
    ~RtlUsbRadioDevice() override;

    void setSampleRate(double rate) override;
    void resetSampleRate() override;
    /// Outside the ranges, or where the dongle refuses, the present frequency is set again, correction
    /// included.
    void setFrequency(double hertz) override;
    void resetFrequency() override;

    [[nodiscard]] bool biasTee() const { return m_biasTee; }
    void setBiasTee(bool biasTee) { m_biasTee = biasTee; }
    void resetBiasTee() { setBiasTee(false); }

    /// Whether the library's own correction is other than 0.
    [[nodiscard]] bool rtlPpm() const { return m_rtlPpm; }
    void setRtlPpm(int ppm);
    void resetRtlPpm() { setRtlPpm(0); }

    [[nodiscard]] bool offsetTuning() const { return m_offsetTuning; }
    void setOffsetTuning(bool offsetTuning);
    void resetOffsetTuning() { setOffsetTuning(true); }

    /// The gain control of the RTL2832 itself.
    [[nodiscard]] bool rtlAgc() const { return m_rtlAgc; }
    void setRtlAgc(bool rtlAgc);
    void resetRtlAgc() { setRtlAgc(true); }

    /// Goes to the library as it is, which takes 1 for manual gain; while it is set, `tunerGain` is held
    /// back. Clients know the flag in this sense.
    [[nodiscard]] bool tunerAgc() const { return m_tunerAgc; }
    void setTunerAgc(bool tunerAgc);
    void resetTunerAgc() { setTunerAgc(true); }

    /// Tenths of a decibel.
    [[nodiscard]] int tunerGain() const { return m_tunerGain; }
    void setTunerGain(int tunerGain);
    void resetTunerGain() { setTunerGain(0); }

    /// 0 through the tuner, 1 and 2 the converter's own inputs. On an open dongle it decides the ranges.
    [[nodiscard]] int samplingMode() const { return m_samplingMode; }
    void setSamplingMode(int mode);
    void resetSamplingMode() { setSamplingMode(0); }

    /// The name that the library's thread goes by.
    static QString library() { return QStringLiteral("librtlsdr"); }

    /// The reading thread's: takes `length` bytes into the ring. Anything longer than the ring is no buffer
    /// of this library and is dropped, if counted as a sign of life.
    void onRead(const unsigned char* buffer, quint32 length);

private slots:
    void onStart() override;
    void onStop() override;

private:
    void failStart(const QString& text);
    void reportSetter(const QString& text);
    [[nodiscard]] bool isTunerKnown() const;
    [[nodiscard]] int setReceiverRate(double rate);
    [[nodiscard]] bool startReading();
    void stopReading();
    void closeReceiver();

    bool m_biasTee = false;
    bool m_rtlPpm = false;
    bool m_offsetTuning = false;
    bool m_rtlAgc = false;
    bool m_tunerAgc = false;
    int m_tunerGain = 0;    // 0.1 dB
    int m_samplingMode = 0; // as the library numbers it
    int m_tunerType = 0;    // as the library numbers it
    std::shared_ptr<CRTL_SDR_Thread> m_readThread;
    CRTL_SDR_Thread::Gate m_gate;
    VendorHandle<rtlsdr_dev> m_receiver;
};
