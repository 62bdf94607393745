#include "FakeDelivery.h"

#include "FakeScript.h"

#include <chrono>
#include <utility>

namespace
{

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kFast{1};
constexpr std::chrono::milliseconds kStalled{2}; // between two looks at the script

} // namespace

FakeDelivery::End FakeDelivery::run(double rate, int samples, const Deliver& deliver)
{
    {
        const std::lock_guard lock(m_mutex);
        m_delivering = true;
        m_stop = false;
    }
    return loop(rate, samples, deliver);
}

bool FakeDelivery::requestStop()
{
    const std::lock_guard lock(m_mutex);
    if (!m_delivering) {
        return false;
    }
    m_stop = true;
    m_changed.notify_all();
    return true;
}

void FakeDelivery::start(double rate, int samples, Deliver deliver)
{
    stop();
    const std::lock_guard lock(m_mutex);
    m_delivering = true;
    m_stop = false;
    m_thread =
        std::thread([this, rate, samples, deliver = std::move(deliver)] { loop(rate, samples, deliver); });
}

void FakeDelivery::stop()
{
    requestStop();
    if (m_thread.joinable()) {
        m_thread.join();
    }
}

void FakeDelivery::waitForEnd()
{
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [this] { return !m_delivering; });
}

FakeDelivery::End FakeDelivery::loop(double rate, int samples, const Deliver& deliver)
{
    FakeSource source;
    long long delivered = 0;
    Clock::time_point next = Clock::now();
    std::unique_lock lock(m_mutex);
    while (!m_stop) {
        lock.unlock();
        const bool unplugged = FakeScript::flag("unplug");
        const long long limit = FakeScript::number("buffers", -1);
        const bool stalled = FakeScript::flag("stall") || (limit >= 0 && delivered >= limit);
        if (!unplugged && !stalled) {
            const double actualRate = FakeScript::real("rate", rate);
            const auto count = static_cast<int>(FakeScript::number("buffer", samples));
            deliver(source, count, actualRate);
            ++delivered;
            const std::chrono::duration<double> real(count > 0 && actualRate > 0 ? count / actualRate
                                                                                 : 0.001);
            next += FakeScript::text("pace", "real") == "fast"
                        ? Clock::duration(kFast)
                        : std::chrono::duration_cast<Clock::duration>(real);
        } else {
            next = Clock::now() + kStalled;
        }
        lock.lock();
        if (unplugged) {
            m_delivering = false;
            m_changed.notify_all();
            return End::Unplugged;
        }
        m_changed.wait_until(lock, next, [this] { return m_stop; });
    }
    m_delivering = false;
    m_changed.notify_all();
    return End::Stopped;
}
