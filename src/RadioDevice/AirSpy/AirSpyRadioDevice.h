#pragma once

#include "Core/RadioDevice/AbstractRadioDevice.h"
#include "RadioDevice/AirSpy/AirSpyGains.h"
#include "RadioDevice/Vendor/BoundedCall.h"
#include "RadioDevice/Vendor/DeliveryGate.h"

struct airspy_device;

/// An Airspy R2 or mini. Its library delivers floats on a thread of its own, through a gate.
/// Errors: those of a start end it, those of retuning are logged, those of gains and bias tee say nothing.
///
/// `biasTee` reaches the hardware by its setter alone: what was stored while closed stays stored. The rates
/// are the library's from the first start on, and a start always takes the first of them.
class AirSpyRadioDevice : public AbstractRadioDevice
{
    Q_OBJECT
    Q_PROPERTY(bool biasTee READ biasTee WRITE setBiasTee RESET resetBiasTee NOTIFY biasTeeChanged)
    Q_PROPERTY(int gainMode READ gainMode WRITE setGainMode RESET resetGainMode NOTIFY gainModeChanged)
    Q_PROPERTY(int gain READ gain WRITE setGain RESET resetGain NOTIFY gainChanged)
    Q_PROPERTY(bool lnaAgc READ lnaAgc WRITE setLnaAgc RESET resetLnaAgc NOTIFY lnaAgcChanged)
    Q_PROPERTY(int lnaGain READ lnaGain WRITE setLnaGain RESET resetLnaGain NOTIFY lnaGainChanged)
    Q_PROPERTY(bool mixerAgc READ mixerAgc WRITE setMixerAgc RESET resetMixerAgc NOTIFY mixerAgcChanged)
    Q_PROPERTY(int mixerGain READ mixerGain WRITE setMixerGain RESET resetMixerGain NOTIFY mixerGainChanged)
    Q_PROPERTY(int vgaGain READ vgaGain WRITE setVgaGain RESET resetVgaGain NOTIFY vgaGainChanged)

public:
    class DeviceInfo : public InfoRadioDevice
    {
    public:
        [[nodiscard]] int type() const override { return DefRadioDevice::AirSpy; }
    };

    /// The library may take `deadline` to stop and close the receiver, then it is left alone with it.
    AirSpyRadioDevice(QSharedPointer<InfoRadioDevice> info, QObject* parent,
                      std::chrono::milliseconds deadline = BoundedCall::kDeadline,
                      std::chrono::milliseconds watchdogInterval = kWatchdogInterval);
    ~AirSpyRadioDevice() override;

    /// No range is kept to, and the hardware gets the frequency as it is, without the correction.
    void setFrequency(double hertz) override;
    void resetFrequency() override;
    void setSampleRate(double rate) override;

    [[nodiscard]] bool biasTee() const { return m_biasTee; }
    void setBiasTee(bool on);
    void resetBiasTee() { setBiasTee(false); }

    /// See AirSpyGains::Mode; any number is stored.
    [[nodiscard]] int gainMode() const { return m_gains.mode; }
    void setGainMode(int mode);
    void resetGainMode() { setGainMode(AirSpyGains::Linearity); }

    /// Of modes linearity and sensitivity, 0 to 21; a value outside becomes the nearest limit.
    [[nodiscard]] int gain() const { return m_gains.gain; }
    void setGain(int gain);
    void resetGain() { setGain(12); }

    [[nodiscard]] bool lnaAgc() const { return m_gains.lnaAgc; }
    void setLnaAgc(bool on);
    void resetLnaAgc() { setLnaAgc(true); }

    /// 0 to 15; a value outside becomes the nearest limit.
    [[nodiscard]] int lnaGain() const { return m_gains.lnaGain; }
    void setLnaGain(int gain);
    void resetLnaGain() { setLnaGain(5); }

    [[nodiscard]] bool mixerAgc() const { return m_gains.mixerAgc; }
    void setMixerAgc(bool on);
    void resetMixerAgc() { setMixerAgc(true); }

    /// 0 to 15; a value outside becomes the nearest limit.
    [[nodiscard]] int mixerGain() const { return m_gains.mixerGain; }
    void setMixerGain(int gain);
    void resetMixerGain() { setMixerGain(5); }

    /// Any number is stored; the library gets its low 8 bits.
    [[nodiscard]] int vgaGain() const { return m_gains.vgaGain; }
    void setVgaGain(int gain);
    void resetVgaGain() { setVgaGain(5); }

    /// Publishes `count` pairs of floats, I first. On the library's thread, while the gate is open. What can
    /// be no block (null, none or absurdly many) is dropped.
    void deliver(const float* samples, int count);

signals:
    void biasTeeChanged(bool biasTee);
    void gainModeChanged(int gainMode);
    void gainChanged(int gain);
    void lnaAgcChanged(bool lnaAgc);
    void lnaGainChanged(int lnaGain);
    void mixerAgcChanged(bool mixerAgc);
    void mixerGainChanged(int mixerGain);
    void vgaGainChanged(int vgaGain);

private slots:
    void onStart() override;
    void onStop() override;

private:
    using Gate = DeliveryGate<AirSpyRadioDevice>;

    [[nodiscard]] bool openReceiver();
    [[nodiscard]] bool readSampleRates();
    // True if the result is one of success; otherwise the start is over, and the receiver closed.
    [[nodiscard]] bool proceed(int result, const QString& failure);
    void report(const QString& text, int result);
    void stopReceiver();
    void closeReceiver();
    void applyGains(AirSpyGains::Setting changed) const;

    std::chrono::milliseconds m_deadline;
    airspy_device* m_dev = nullptr; // null while closed
    bool m_biasTee = false;
    AirSpyGains m_gains;
    std::shared_ptr<Gate> m_gate; // of the present or the last start
};
