#pragma once

#include "RadioDevice/AirSpy/AirSpyGains.h"
#include "RadioDevice/AirSpyFamily/AirSpyFamilyDevice.h"

struct airspy_device;

/// An Airspy R2 or mini.
/// Errors: those of gains and bias tee say nothing.
///
/// `biasTee` reaches the hardware by its setter alone: what was stored while closed stays stored. The rates
/// are the library's from the first start on, and a start always takes the first of them.
/// Thread: the one that made it; samples arrive on the library's.
class AirSpyRadioDevice : public AirSpyFamilyDevice<airspy_device>
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

    static const Library& library();

    AirSpyRadioDevice(QSharedPointer<InfoRadioDevice> info, QObject* parent,
                      const LibraryDeadlines& deadlines = {},
                      std::chrono::milliseconds watchdogInterval = kWatchdogInterval);
    ~AirSpyRadioDevice() override;

    void resetFrequency() override;

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

signals:
    void biasTeeChanged(bool biasTee);
    void gainModeChanged(int gainMode);
    void gainChanged(int gain);
    void lnaAgcChanged(bool lnaAgc);
    void lnaGainChanged(int lnaGain);
    void mixerAgcChanged(bool mixerAgc);
    void mixerGainChanged(int mixerGain);
    void vgaGainChanged(int vgaGain);

private:
    [[nodiscard]] bool prepare() override;
    void applySettings() override { setGainMode(gainMode()); }
    void applyGains(AirSpyGains::Setting changed);

    bool m_biasTee = false;
    AirSpyGains m_gains;
};
