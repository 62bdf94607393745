#pragma once

#include "Core/RadioDevice/AbstractRadioDevice.h"
#include "RadioDevice/Vendor/BoundedCall.h"
#include "RadioDevice/Vendor/DeliveryGate.h"

struct airspyhf_device;

/// An Airspy HF+. Its library delivers floats on a thread of its own, through a gate.
/// Errors: those of a start end it, those of retuning are logged, those of the three settings below go to
///         the client as well.
///
/// The rates are the library's from the first start on, which keeps the present one if it is among them.
/// `swapIQ` has no effect here.
class AirSpyHFRadioDevice : public AbstractRadioDevice
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

    /// The library may take `deadline` to stop and close the receiver, then it is left alone with it.
    AirSpyHFRadioDevice(QSharedPointer<InfoRadioDevice> info, QObject* parent,
                        std::chrono::milliseconds deadline = BoundedCall::kDeadline,
                        std::chrono::milliseconds watchdogInterval = kWatchdogInterval);
    ~AirSpyHFRadioDevice() override;

    /// No range is kept to, and the hardware gets the frequency as it is, without the correction.
    void setFrequency(double hertz) override;
    void setSampleRate(double rate) override;

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

    /// Publishes `count` pairs of floats, I first. On the library's thread, while the gate is open. What can
    /// be no block (null, none or absurdly many) is dropped.
    void deliver(const float* samples, int count);

signals:
    void lnaChanged(bool lna);
    void agcChanged(bool agc);
    void attChanged(int att);

private slots:
    void onStart() override;
    void onStop() override;

private:
    using Gate = DeliveryGate<AirSpyHFRadioDevice>;

    [[nodiscard]] bool openReceiver();
    [[nodiscard]] bool readSampleRates();
    // True if the result is one of success; otherwise the start is over, and the receiver closed.
    [[nodiscard]] bool proceed(int result, const QString& failure);
    void report(const QString& text, int result);
    void reportSetting(const QString& text);
    void applySettings() const;
    void stopReceiver();
    void closeReceiver();
    // Runs what one stop asks of the library, in what is left of its deadline.
    [[nodiscard]] bool runBounded(const QString& what, std::function<void()> call);

    const std::chrono::milliseconds m_deadline;
    std::chrono::milliseconds m_timeLeft; // of the deadline, for this receiver
    airspyhf_device* m_dev = nullptr;     // null while closed; a stop that failed leaves it set
    bool m_lna = false;
    bool m_agc = false;
    int m_att = 0;
    std::shared_ptr<Gate> m_gate; // of the present or the last start
};
