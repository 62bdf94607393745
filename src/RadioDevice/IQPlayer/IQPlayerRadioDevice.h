#pragma once

#include "Core/RadioDevice/AbstractRadioDevice.h"
#include "RadioDevice/IQPlayer/WavHeader.h"

#include <QFile>
#include <chrono>
#include <functional>

class RotatingOscillator;

/// Takes the place of a receiver: loops a WAV recording of IQ samples, paced by a timer. The client tunes
/// within 500 kHz around 14.25 MHz; tuning mixes the recording with an oscillator.
///
/// Reads pairs of signed 16-bit values, first re then im, whatever the header says of bits and channels, and
/// 48,000 of them a second, whatever it says of the rate; the rate is passed on as the header has it.
/// Full scale of the recording is 8.0.
///
/// Plays what its clock says is due, also if the event loop came late: up to 250 ms at once. What is due
/// beyond that is not made up for, and counted (Losses). A recording that held samples at the start and holds
/// none any more plays nothing: the watchdog reports that.
/// Thread: the device's, whose event loop its timer needs.
class IQPlayerRadioDevice : public AbstractRadioDevice
{
    Q_OBJECT

public:
    class DeviceInfo : public InfoRadioDevice
    {
    public:
        [[nodiscard]] int type() const override { return DefRadioDevice::IQFilePlayer; }
    };

    /// Time since any epoch, which never goes back.
    using Clock = std::function<std::chrono::nanoseconds()>;

    IQPlayerRadioDevice(QSharedPointer<InfoRadioDevice> info, QObject* parent,
                        std::chrono::milliseconds watchdogInterval = kWatchdogInterval,
                        Clock clock = steadyTime);
    ~IQPlayerRadioDevice() override;

    /// In hertz. Outside the range the present frequency is set again, correction included.
    void setFrequency(double hertz) override;

private slots:
    void onStart() override;
    void onStop() override;
    /// Plays one block.
    void onTimeoutData();

private:
    static std::chrono::nanoseconds steadyTime();

    /// Plays the blocks that are due.
    void onTick();
    [[nodiscard]] bool openRecording();
    [[nodiscard]] bool holdsSamples() const;
    void rewind();
    void fail(const QString& text);
    void logHeader() const;

    QTimer* m_dataTimer;
    Clock m_clock;
    std::chrono::nanoseconds m_startTime{0}; // by m_clock
    qint64 m_ticksDone = 0;                  // since then, played or lost
    bool m_heldSamples = false;              // when it was started
    bool m_cut = false;                      // to nothing, as the last tick found it
    double m_centerFrequency;                // Hz, where the mixer does nothing
    QString m_fileName;
    WavHeader m_header;
    QSharedPointer<QFile> m_file;
    int m_bitsPerSample = 0;
    int m_bytesToRead = 0;
    int m_samplesRead = 0;
    QVector<short> m_rawBuffer;
    QSharedPointer<RotatingOscillator> m_oscillator;
};
