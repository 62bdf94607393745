#pragma once

#include "Core/RadioDevice/AbstractRadioDevice.h"
#include "RadioDevice/IQPlayer/WavHeader.h"

#include <QFile>

class RotatingOscillator;

/// Stands in for a receiver: loops a WAV recording of IQ samples, paced by a timer. The client tunes within
/// 500 kHz around 14.25 MHz; tuning mixes the recording with an oscillator.
///
/// Reads pairs of signed 16-bit values, first re then im, whatever the header says of bits and channels, and
/// 48,000 of them a second, whatever it says of the rate; the rate is passed on as the header has it.
/// Full scale of the recording is 8.0.
class IQPlayerRadioDevice : public AbstractRadioDevice
{
    Q_OBJECT

public:
    class DeviceInfo : public InfoRadioDevice
    {
    public:
        [[nodiscard]] int type() const override { return DefRadioDevice::IQFilePlayer; }
    };

    IQPlayerRadioDevice(QSharedPointer<InfoRadioDevice> info, QObject* parent,
                        std::chrono::milliseconds watchdogInterval = kWatchdogInterval);
    ~IQPlayerRadioDevice() override;

    /// Outside the range the present frequency is set again, correction and all.
    void setFrequency(double hertz) override;

private slots:
    void onStart() override;
    void onStop() override;
    void onTimeoutData();

private:
    [[nodiscard]] bool openRecording();
    void fail(const QString& text);
    void logHeader() const;

    QTimer* m_dataTimer;
    double m_centerFrequency; // Hz, where the mixer does nothing
    QString m_fileName;
    WavHeader m_header;
    QSharedPointer<QFile> m_file;
    int m_bitsPerSample = 0;
    int m_bytesToRead = 0;
    int m_samplesRead = 0;
    QVector<short> m_rawBuffer;
    QSharedPointer<RotatingOscillator> m_oscillator;
};
