#pragma once

#include "RadioDevice/AirSpyFamily/AirSpyFamilyDevice.h"

struct airspyhf_device;

/// An Airspy HF+.
/// Errors: those of the three settings below go to the client as well.
///
/// The rates are the library's from the first start on, which keeps the present one if it is among them.
/// `swapIQ` has no effect here.
/// Thread: the one that made it; samples arrive on the library's.
class AirSpyHFRadioDevice : public AirSpyFamilyDevice<airspyhf_device>
{
    Q_OBJECT
    Q_PROPERTY(bool lna READ lna WRITE setLna RESET resetLna NOTIFY lnaChanged)
    Q_PROPERTY(bool agc READ agc WRITE setAgc RESET resetAgc NOTIFY agcChanged)
    Q_PROPERTY(int att READ att WRITE setAtt RESET resetAtt NOTIFY attChanged)

public:
    class DeviceInfo : public InfoRadioDevice
    {
    public:
        [[nodiscard]] int type() const override { return DefRadioDevice::AirSpyHF; }
    };

    static const Library& library();

    /// One of the three below, as the library knows it.
    struct Setting;

    AirSpyHFRadioDevice(QSharedPointer<InfoRadioDevice> info, QObject* parent,
                        const LibraryDeadlines& deadlines = {},
                        std::chrono::milliseconds watchdogInterval = kWatchdogInterval);
    ~AirSpyHFRadioDevice() override;

    /// Preamplifier of the shortwave input.
    [[nodiscard]] bool lna() const { return m_lna; }
    void setLna(bool on);
    void resetLna() { setLna(false); }

    /// Gain control of the shortwave input.
    [[nodiscard]] bool agc() const { return m_agc; }
    void setAgc(bool on);
    void resetAgc() { setAgc(false); }

    /// Attenuator of the shortwave input in steps of 6 dB, 0 to 8; any other number becomes 0.
    [[nodiscard]] int att() const { return m_att; }
    void setAtt(int steps);
    void resetAtt() { setAtt(0); }

signals:
    void lnaChanged(bool lna);
    void agcChanged(bool agc);
    void attChanged(int att);

private:
    void applySettings() override;
    [[nodiscard]] bool apply(const Setting& setting, int value);
    void change(const Setting& setting, int value);

    bool m_lna = false;
    bool m_agc = false;
    int m_att = 0;
};
