#include "Core/RadioDevice/IQSource.h"

#include "Core/Log/Log.h"
#include "Core/Losses/Losses.h"

#include <cmath>
#include <limits>
#include <utility>

namespace
{

// A reader of the ring need not wake for every small block.
constexpr double kWakeMs = 8.0;

double blocksMs(double blocks, int samples, double sampleRate)
{
    return blocks * samples * 1000.0 / sampleRate;
}

} // namespace

IQSource::IQSource(int ringCapacity, std::chrono::milliseconds watchdogInterval)
    : m_watchdog(new QTimer)
    , m_inBuffer(QSharedPointer<RingBuffer<DoubleComplex>>::create(ringCapacity))
{
    m_watchdog->setTimerType(Qt::VeryCoarseTimer);
    m_watchdog->setInterval(watchdogInterval);
    QObject::connect(m_watchdog, &QTimer::timeout, m_watchdog, [this] { onWatchdog(); });
}

IQSource::~IQSource()
{
    // Until the event loop deletes it the timer must not reach what is gone.
    m_watchdog->stop();
    m_watchdog->disconnect();
    m_watchdog->deleteLater();
}

void IQSource::setBlockSize(int samples)
{
    if (samples < 0) {
        LOG_WARNING() << "Error set block size - negative value!" << samples;
        return;
    }
    m_block.resize(samples);
    m_blocksSinceWake = 0;
    m_blocksPerWake = blocksPerWake(samples, m_sampleRate);
}

int IQSource::blocksPerWake(int samples, double sampleRate)
{
    if (samples <= 0 || !(sampleRate > 0.0) || !std::isfinite(sampleRate)) {
        return 1;
    }
    double blocks = std::max(1.0, std::ceil(kWakeMs * sampleRate / 1000.0 / samples));
    if (blocks >= std::numeric_limits<int>::max()) {
        return std::numeric_limits<int>::max();
    }
    // The quotient may be off by its rounding; the product decides.
    while (blocks > 1.0 && blocksMs(blocks - 1.0, samples, sampleRate) >= kWakeMs) {
        blocks -= 1.0;
    }
    while (blocksMs(blocks, samples, sampleRate) < kWakeMs) {
        blocks += 1.0;
    }
    return static_cast<int>(blocks);
}

void IQSource::write(int count, bool wait)
{
    if (count == 0) {
        count = m_block.size();
    }
    countBlock();
    const QMutexLocker lock(&m_inBuffer->mutex);
    if (wait) {
        m_inBuffer->spaceFreed.wait(&m_inBuffer->mutex, 0UL);
    }
    m_inBuffer->write(m_block.constData(), count);
    wakeReaders();
}

void IQSource::dropLargeBlock(qint64 samples)
{
    countBlock();
    Losses::process().add(Losses::Cause::LargeBlocks, samples);
}

void IQSource::dropUnusableBlock()
{
    Losses::process().add(Losses::Cause::UnusableBlocks, 1);
}

void IQSource::countBlock()
{
    ++m_blockCounter;
    ++m_blocksSinceWake;
}

void IQSource::wakeReaders()
{
    if (m_blocksSinceWake >= m_blocksPerWake) {
        m_blocksSinceWake = 0;
        m_inBuffer->dataReady.wakeAll();
    }
}

void IQSource::startWatch()
{
    setBlockSize(blockSize());
    m_blockCounter = 0;
    m_lastBlockCounter = 0;
    m_watchdog->start();
}

void IQSource::stopWatch()
{
    m_watchdog->stop();
}

void IQSource::setNoDataCallback(std::function<void()> callback)
{
    m_noDataCallback = std::move(callback);
}

void IQSource::onWatchdog()
{
    const int counter = m_blockCounter;
    if (counter != m_lastBlockCounter) {
        m_lastBlockCounter = counter;
        return;
    }
    reportNoData();
}

void IQSource::reportNoData()
{
    LOG_WARNING() << "No IQ data - stop!";
    if (m_noDataCallback) {
        m_noDataCallback();
    }
}
