#pragma once

#include "Client/IqQueue.h"
#include "Embedded/orvenlink/Values.h"

#include <atomic>
#include <chrono>
#include <complex>
#include <mutex>

/// The samples of an IqQueue in a reader's own lengths, with place, time and gaps. A block without samples in
/// the queue says that the session has broken off.
/// Thread: any; two that read take turns.
class SampleReader
{
public:
    /// The queue has to outlive this.
    explicit SampleReader(IqQueue& queue);

    /// As orvenlink::Client::read; `Target` is orvenlink::Sample or std::complex<float>.
    template <typename Target>
    [[nodiscard]] orvenlink::Read read(Target* samples, std::size_t count, std::chrono::milliseconds limit);
    /// Drops what waits. A read that goes on meanwhile is not waited for.
    void discard();

    /// Another stream begins: time and `late` begin again with it.
    void restart();

    /// Samples that reads have told as late.
    [[nodiscard]] qint64 late() const { return m_late; }

private:
    using Clock = std::chrono::steady_clock;

    [[nodiscard]] bool hasSamples() const { return m_next < m_block.samples.size(); }
    bool fetch(Clock::time_point end);
    void follow(const IqBlock& block);
    void begin(orvenlink::Read& read);
    [[nodiscard]] std::chrono::nanoseconds timeOf(qint64 position) const;

    IqQueue& m_queue;
    std::atomic<bool> m_isDiscarded = false;
    std::atomic<bool> m_isRestarted = false;
    std::atomic<qint64> m_late = 0;

    std::mutex m_mutex;      // of all below
    IqBlock m_block;         // the present one
    int m_next = 0;          // sample of it
    bool m_isCut = false;    // between this block and the one before, by what a read tells at its beginning
    bool m_isBroken = false; // to be told
    qint64 m_lostToTell = 0;
    qint64 m_lateToTell = 0;
    // Time goes on by the count from here.
    qint64 m_basePosition = 0;
    std::chrono::nanoseconds m_baseTime{0}; // since the epoch
    double m_rate = 0.0;                    // Hz
};
