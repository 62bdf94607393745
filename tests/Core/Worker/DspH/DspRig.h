#pragma once

#include "Core/Worker/DspH/DspH.h"
#include "Core/Worker/ThreadManager.h"
#include "Samples.h"
#include "support/LogCapture.h"

#include <QElapsedTimer>
#include <QPointer>
#include <functional>
#include <memory>

/// What the fine mixer at 0 Hz makes of a stream from its sample `first` on: its magnitude starts at 1 and is
/// corrected from sample to sample.
inline Samples::Vector settling(Samples::Vector samples, int first = 0)
{
    double magnitude = 1.0;
    for (int n = 0; n < first; ++n) {
        magnitude *= 1.95 - magnitude * magnitude;
    }
    for (DoubleComplex& sample : samples) {
        sample.re *= magnitude;
        sample.im *= magnitude;
        magnitude *= 1.95 - magnitude * magnitude;
    }
    return samples;
}

/// A `DspH` as a device keeps it: on a thread of its own between two rings. The test is the device that fills
/// the one, and the stream that reads the other.
class DspRig
{
public:
    using Ring = RingBuffer<DoubleComplex>;
    static constexpr int kBlock = 1'024; ///< Samples of a block at a rate of 48,000.

    explicit DspRig(int inCapacity = 262'144, int outCapacity = 65'536)
        : in(QSharedPointer<Ring>::create(inCapacity))
        , out(QSharedPointer<Ring>::create(outCapacity))
        , dsp(new DspH)
        , m_thread(std::make_unique<ThreadManager>(dsp))
    {
        dsp->reset();
        m_thread->start(QThread::HighestPriority);
        dsp->setBuffer(in, QStringLiteral("in"));
        dsp->setBuffer(out, QStringLiteral("out"));
    }

    /// Runs a function on the worker's thread and waits for it. A loop serves it between two rounds.
    void onWorker(const std::function<void()>& function) const
    {
        QMetaObject::invokeMethod(dsp, function, Qt::BlockingQueuedConnection);
    }
    /// Returns after a round of the loop that began after the call.
    void finishRound() const
    {
        onWorker([] {});
        onWorker([] {});
    }

    /// Starts at this rate, ready for samples when it returns.
    void start(qlonglong inSampleRate) const
    {
        dsp->setProperty("inSampleRate", inSampleRate);
        dsp->start(false);
        finishRound();
    }

    void write(const Samples::Vector& samples) const
    {
        const QMutexLocker lock(&in->mutex);
        in->write(samples.data(), static_cast<int>(samples.size()));
        in->dataReady.wakeAll();
    }

    /// The next `count` samples of the ring "out"; fewer if they do not come.
    [[nodiscard]] Samples::Vector read(int count)
    {
        const QMutexLocker lock(&out->mutex);
        QElapsedTimer timer;
        timer.start();
        while (out->available(m_readIndex) < count && timer.elapsed() < 10'000) {
            out->dataReady.wait(&out->mutex, 1'000);
        }
        const int available = std::min(count, out->available(m_readIndex));
        Samples::Vector samples(static_cast<std::size_t>(available));
        out->read(m_readIndex, samples.data(), available);
        m_readIndex = out->advance(m_readIndex, available);
        return samples;
    }
    [[nodiscard]] int written() const
    {
        const QMutexLocker lock(&out->mutex);
        return out->available(m_readIndex);
    }
    /// Of the ring "out", in samples: the worker may resize it.
    [[nodiscard]] int outCapacity() const
    {
        const QMutexLocker lock(&out->mutex);
        return out->capacity;
    }
    /// Puts the writer of the ring "out", and the test as its reader, at an index.
    void moveOutputTo(int index)
    {
        const QMutexLocker lock(&out->mutex);
        out->writeIndex = index;
        m_readIndex = index;
    }

    void destroy() { m_thread.reset(); }

    [[nodiscard]] QStringList logged(const QString& part) const { return log->texts().filter(part); }

    const std::unique_ptr<LogCapture> log = std::make_unique<LogCapture>();
    const QSharedPointer<Ring> in;
    const QSharedPointer<Ring> out;
    const QPointer<DspH> dsp;

private:
    std::unique_ptr<ThreadManager> m_thread;
    int m_readIndex = 0;
};
