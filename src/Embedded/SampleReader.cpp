#include "Embedded/SampleReader.h"

#include "Embedded/Deadline.h"

#include <cmath>
#include <limits>
#include <utility>

namespace
{

constexpr double kNanoseconds = 1e9; // in a second
constexpr float kFullScale = 32768.0F;

void store(const IqSample& sample, orvenlink::Sample& target)
{
    target = {sample.i, sample.q};
}

void store(const IqSample& sample, std::complex<float>& target)
{
    target = {static_cast<float>(sample.i) / kFullScale, static_cast<float>(sample.q) / kFullScale};
}

} // namespace

SampleReader::SampleReader(IqQueue& queue)
    : m_queue(queue)
{
}

template <typename Target>
orvenlink::Read SampleReader::read(Target* samples, std::size_t count, std::chrono::milliseconds limit)
{
    const auto end = deadlineAfter(limit);
    const std::lock_guard lock(m_mutex);
    if (m_isDiscarded.exchange(false)) {
        m_next = m_block.samples.size();
    }
    if (m_isRestarted.exchange(false)) {
        m_rate = 0.0;
    }
    orvenlink::Read read;
    while (read.count < count && !m_isBroken && (hasSamples() || fetch(end))) {
        if (m_isCut && read.count > 0) {
            break;
        }
        if (read.count == 0) {
            begin(read);
        }
        const auto left = static_cast<std::size_t>(m_block.samples.size() - m_next);
        const std::size_t taken = std::min(count - read.count, left);
        const IqSample* source = m_block.samples.constData() + m_next;
        for (std::size_t n = 0; n < taken; ++n) {
            store(source[n], samples[read.count + n]);
        }
        read.count += taken;
        m_next += static_cast<int>(taken);
    }
    if (read.count == 0) {
        read.isBroken = std::exchange(m_isBroken, false);
    }
    return read;
}

template orvenlink::Read SampleReader::read(orvenlink::Sample*, std::size_t, std::chrono::milliseconds);
template orvenlink::Read SampleReader::read(std::complex<float>*, std::size_t, std::chrono::milliseconds);

// What begins a read is told by it.
void SampleReader::begin(orvenlink::Read& read)
{
    read.position = m_block.position + m_next;
    read.time = timeOf(read.position);
    read.sampleRate = m_rate;
    read.lost = std::exchange(m_lostToTell, 0);
    read.late = std::exchange(m_lateToTell, 0);
    m_late += read.late;
    m_isCut = false;
}

// The next block. False at the end of the time and if the session has broken off.
bool SampleReader::fetch(Clock::time_point end)
{
    for (;;) {
        using std::chrono::milliseconds;
        const auto left = std::chrono::ceil<milliseconds>(end - Clock::now()).count();
        constexpr milliseconds::rep kMost = std::numeric_limits<int>::max();
        auto taken = m_queue.take(static_cast<int>(std::clamp<milliseconds::rep>(left, 0, kMost)));
        if (taken) {
            m_lateToTell += taken->dropped;
            m_lostToTell += taken->block.missing;
            m_isBroken = taken->block.samples.isEmpty();
            if (m_isBroken) {
                return false;
            }
            follow(taken->block);
            m_block = std::move(taken->block);
            m_next = 0;
            return true;
        }
        if (left <= 0) {
            return false;
        }
    }
}

void SampleReader::follow(const IqBlock& block)
{
    if (m_rate <= 0.0) {
        const double length = block.sampleRate > 0.0 ? block.samples.size() / block.sampleRate : 0.0; // s
        m_baseTime = std::chrono::milliseconds(block.time) -
                     std::chrono::nanoseconds(std::llround(length * kNanoseconds));
        m_basePosition = block.position;
    } else if (block.sampleRate != m_rate) {
        m_baseTime = timeOf(block.position);
        m_basePosition = block.position;
    }
    m_isCut = block.sampleRate != m_rate || m_lostToTell > 0 || m_lateToTell > 0;
    m_rate = block.sampleRate;
}

std::chrono::nanoseconds SampleReader::timeOf(qint64 position) const
{
    const double seconds = m_rate > 0.0 ? static_cast<double>(position - m_basePosition) / m_rate : 0.0;
    return m_baseTime + std::chrono::nanoseconds(std::llround(seconds * kNanoseconds));
}

void SampleReader::discard()
{
    while (m_queue.take(0)) {
    }
    m_isDiscarded = true;
}

void SampleReader::restart()
{
    discard();
    m_late = 0;
    m_isRestarted = true;
}
