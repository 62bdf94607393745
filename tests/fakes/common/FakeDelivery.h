#pragma once

#include "FakeSource.h"

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

/// Delivers scripted buffers at a scripted pace until it is stopped, by the script's keys `rate`, `buffer`,
/// `buffers`, `pace`, `stall` and `unplug` (FakeScript).
class FakeDelivery
{
public:
    /// Gets the source, the samples that a buffer is to hold, and the rate, and calls back; runs on the
    /// delivering thread. What `next` gives is to be turned into the library's own format by it.
    using Deliver = std::function<void(FakeSource& source, int samples, double rate)>;

    enum class End
    {
        Stopped,
        Unplugged,
    };

    ~FakeDelivery() { stop(); }

    /// Delivers on the calling thread until `requestStop` of another thread, or until the script unplugs. A
    /// stop that came before is lost, as those libraries lose it whose read blocks.
    End run(double rate, int samples, const Deliver& deliver);
    /// False if nothing is being delivered.
    bool requestStop();

    /// The same on a thread of its own.
    void start(double rate, int samples, Deliver deliver);
    /// Returns when nothing is delivered any more. Never from within a delivery.
    void stop();

    /// Returns when nothing is delivered, without asking for it. Never from within a delivery.
    void waitForEnd();

private:
    End loop(double rate, int samples, const Deliver& deliver);

    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_delivering = false;
    bool m_stop = false;
    std::thread m_thread;
};
