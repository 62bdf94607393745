#pragma once

#include "Core/RadioDevice/IQSource.h"
#include "Core/RadioDevice/InfoRadioDevice.h"
#include "Core/Worker/Worker.h"

#include <QList>
#include <QPair>
#include <QStringList>

class DspH;
class ThreadManager;

/// What every receiver is to the rest of the system. A driver fills in its rates and ranges and calls
/// `initDsp` in its constructor, overrides onStart, onStop and the setters that touch its hardware, turns
/// what the hardware gives into the block of IQSource, and calls IQSource::write.
/// Thread:    stays on the thread that made it. Its DspH has one of its own for the device's whole life.
/// Ownership: owns its DspH and that one's thread; shares both rings with the streams.
/// Units:     hertz, decibels; frequency corrections in parts per million.
/// Errors:    errorHappen and a warning with the same text. A frequency or rate that no hardware or stage could
///            take (not finite, or beyond 64 bits) is refused by its setter with one warning; the notify
///            signal then carries the value that stays.
class AbstractRadioDevice : public Worker, public IQSource
{
    Q_OBJECT
    Q_INTERFACES(IQSource)
    Q_PROPERTY(int type READ type)
    Q_PROPERTY(QStringList supportSampleRates READ supportSampleRates)
    Q_PROPERTY(QStringList supportFrequencies READ supportFrequencies)
    Q_PROPERTY(double sampleRate READ sampleRate WRITE writeSampleRate RESET resetSampleRate NOTIFY
                   sampleRateChanged)
    Q_PROPERTY(
        double frequency READ frequency WRITE setFrequency RESET resetFrequency NOTIFY frequencyChanged)
    Q_PROPERTY(int ppmCorrection READ ppmCorrection WRITE setPpmCorrection RESET resetPpmCorrection NOTIFY
                   ppmCorrectionChanged)
    Q_PROPERTY(double levelCorrection READ levelCorrection WRITE setLevelCorrection RESET resetLevelCorrection
                   NOTIFY levelCorrectionChanged)
    Q_PROPERTY(bool swapIQ READ swapIQ WRITE setSwapIQ RESET resetSwapIQ)

public:
    AbstractRadioDevice(QSharedPointer<InfoRadioDevice> info, QObject* parent,
                        std::chrono::milliseconds watchdogInterval = kWatchdogInterval);
    ~AbstractRadioDevice() override;

    [[nodiscard]] int type() const { return m_info->type(); }
    [[nodiscard]] QSharedPointer<InfoRadioDevice> info() const { return m_info; }
    /// Rates in hertz, as decimal text.
    [[nodiscard]] QStringList supportSampleRates() const { return m_supportSampleRates; }
    /// Lower and upper limit of each band in kilohertz, as decimal text.
    [[nodiscard]] QStringList supportFrequencies() const { return m_supportFrequencies; }
    /// The ring of reduced samples, written by DspH.
    [[nodiscard]] QSharedPointer<RingBuffer<DoubleComplex>> outBuffer() const { return m_outBuffer; }

    /// False if the system gave no thread for the DspH. Such a device can't be started, only deleted.
    [[nodiscard]] bool hasDsp() const { return m_dsp != nullptr; }

    /// True if some range holds the frequency, limits included.
    [[nodiscard]] bool isFrequencySupported(double hertz) const;

    [[nodiscard]] virtual double sampleRate() const { return m_sampleRate; }
    virtual void setSampleRate(double rate);
    /// The property's: refuses also a rate below 1, at which the DspH would stop. A library's own list may
    /// hold one, and `resetSampleRate` sets it.
    void writeSampleRate(double rate);
    virtual void resetSampleRate();

    /// The frequency that was asked for: the hardware's, with the correction taken out again. Changes with
    /// the correction, which itself retunes nothing.
    [[nodiscard]] virtual double frequency() const;
    virtual void setFrequency(double hertz);
    virtual void resetFrequency();

    /// What the client tunes with inside the received band, applied on the DspH's thread.
    virtual void setIF(double ifFreq);
    virtual void setupDspH(double preferredBandWidth, double aliasFreeBandWidth);

    /// The contract's last seat, empty in every driver.
    virtual void reserved() {}

    [[nodiscard]] int ppmCorrection() const { return static_cast<int>(m_ppm); }
    void setPpmCorrection(int ppm) { m_ppm = ppm; }
    void resetPpmCorrection() { m_ppm = 0.0; }

    /// Any value is kept, also one that is no number.
    [[nodiscard]] double levelCorrection() const { return m_levelDb; }
    void setLevelCorrection(double decibels);
    void resetLevelCorrection();

signals:
    void sampleRateChanged(double sampleRate);
    void outSampleRateChanged(double outSampleRate);
    /// Carries the corrected frequency, which the hardware is tuned to, not the one asked for.
    void frequencyChanged(double loFreq);
    void ppmCorrectionChanged(int ppmCorrection);
    void levelCorrectionChanged(double levelCorrection);
    void noData();

protected slots:
    /// A driver opens its hardware and sets the block size first and calls this last.
    void onStart() override;
    /// A driver calls this and tears its hardware down.
    void onStop() override;

protected:
    /// Makes the DspH on its thread and gives it both rings; called once by each driver's constructor.
    void initDsp();

    /// Sets the restored frequency once more, now that the correction is restored as well.
    void restored() override;

    /// The base of setFrequency; false, with a warning, if the corrected frequency is none to tune to.
    bool storeFrequency(double hertz);

    void refuseSampleRate(double rate);

    /// True for what is finite and fits a 64-bit integer.
    [[nodiscard]] static bool isUsable(double value);

    QSharedPointer<InfoRadioDevice> m_info;
    QStringList m_supportSampleRates;
    QStringList m_supportFrequencies;
    QList<QPair<double, double>> m_frequencyRanges; // Hz, lowest and highest
    double m_loFrequency = 0.0;                     // Hz, corrected
    double m_askedFrequency = 0.0;                  // Hz, that m_loFrequency was corrected from
    double m_ppm = 0.0;
    double m_levelFactor = 1.0; // linear
    double m_levelDb = 0.0;
    DspH* m_dsp = nullptr; // deleted by its thread; null without one
    ThreadManager* m_dspThread = nullptr;
    QSharedPointer<RingBuffer<DoubleComplex>> m_outBuffer;
};
