#pragma once

#include "Core/Worker/DspH/DownConvertor.h"
#include "Core/Worker/DspH/RotatingOscillator.h"
#include "Core/Worker/DspH/TableOscillator.h"
#include "Core/Worker/RingBuffer.h"
#include "Core/Worker/RingPosition.h"
#include "Core/Worker/Worker.h"

#include <QSharedPointer>
#include <QVector>
#include <atomic>

/// Turns the receiver's rate into the client's: mixes the wanted frequency to 0 Hz and halves the rate until
/// it is below twice the wanted bandwidth. Reads blocks from the ring "in", writes what is left to the ring
/// "out", which it enlarges while its blocks are as long as the ring it was given.
/// Thread:    its own, made by `ThreadManager`; properties and rings arrive by event between two blocks.
/// Ownership: made and kept by the device; shares both rings.
/// Units:     hertz, complex samples of two doubles.
/// Errors:    samples that the receiver overwrote before they were read are counted (Losses).
class DspH : public Worker
{
    Q_OBJECT
    Q_PROPERTY(qlonglong inSampleRate READ inSampleRate WRITE setInSampleRate)
    Q_PROPERTY(qlonglong preferredBandWidth READ preferredBandWidth WRITE setPreferredBandWidth)
    Q_PROPERTY(qlonglong outSampleRate MEMBER m_outSampleRate)
    Q_PROPERTY(qlonglong aliasFreeBandWidth MEMBER m_aliasFreeBandWidth)
    Q_PROPERTY(double ifFreq READ ifFreq WRITE setIfFreq RESET resetIfFreq NOTIFY ifFreqChanged)

public:
    // Hz, until it is told others.
    static constexpr qlonglong kFirstPreferredBandWidth = 30'000;
    static constexpr qlonglong kFirstAliasFreeBandWidth = 8'000;

    explicit DspH(QObject* parent = nullptr);
    ~DspH() override;

    /// As `Worker`'s, but a number that no whole rate can hold is refused with a warning.
    bool setProperty(const char* name, const QVariant& value) override;

signals:
    void ifFreqChanged(double ifFreq);
    void outSampleRateChanged(double outSampleRate);

protected:
    void setBufferEvent(AbstractEvent* event) override;

protected slots:
    void onStart() override;
    void onStop() override;
    void onDoWork() override;

private:
    struct OutWriter
    {
        QSharedPointer<RingBuffer<DoubleComplex>> buffer;
        int capacity; // that it came with

        /// Resizes the ring to what blocks of this length need, if that is not what it has.
        void fit(int blockLength) const;
    };
    struct InReader
    {
        int readIndex = 0;
        QSharedPointer<RingBuffer<DoubleComplex>> buffer;
        RingPosition position;
    };

    [[nodiscard]] qlonglong inSampleRate() const { return m_inSampleRate; }
    void setInSampleRate(qlonglong inSampleRate);
    [[nodiscard]] qlonglong preferredBandWidth() const { return m_preferredBandWidth; }
    void setPreferredBandWidth(qlonglong preferredBandWidth);
    [[nodiscard]] double ifFreq() const { return m_ifFreq; }
    void setIfFreq(double ifFreq);
    void resetIfFreq();

    void setup();
    bool readBlock();
    void processBlock();
    void writeBlock();

    QSharedPointer<TableOscillator> m_coarseMixer;
    QSharedPointer<RotatingOscillator> m_fineMixer;
    QSharedPointer<DownConvertor> m_downConvertor;
    // A stop and a start may both arrive from within the loop. It then reads nothing until `onDoWork` has
    // been called again, and the present loop goes on instead of one within it.
    bool m_entered = false;
    bool m_looping = false;
    bool m_waitForData = false;
    int m_outLen = 0;   // samples
    int m_inBufLen = 0; // samples; 0 before the first setup
    // Other threads read these by getProperty; only the worker's own writes them.
    std::atomic<qlonglong> m_inSampleRate{0};
    std::atomic<qlonglong> m_outSampleRate{0};
    std::atomic<qlonglong> m_preferredBandWidth{kFirstPreferredBandWidth};
    std::atomic<qlonglong> m_aliasFreeBandWidth{kFirstAliasFreeBandWidth};
    std::atomic<double> m_ifFreq{0.0};
    QVector<DoubleComplex> m_workBuffer;
    QSharedPointer<OutWriter> m_outWriter;
    QSharedPointer<InReader> m_inReader;
};
