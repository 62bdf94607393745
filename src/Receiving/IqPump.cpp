#include "Receiving/IqPump.h"

#include "Client/IqQueue.h"

#include <QElapsedTimer>
#include <cmath>

namespace
{

constexpr int kFlushInterval = 100; // ms

} // namespace

IqPump::IqPump(IqQueue& queue, std::unique_ptr<IqSink> sink, double sampleRate, double seconds,
               QObject* parent)
    : QThread(parent)
    , m_queue(queue)
    , m_sink(std::move(sink))
    , m_sampleRate(sampleRate)
    , m_limit(std::llround(seconds * sampleRate))
{
    setObjectName(QStringLiteral("pump"));
    qRegisterMetaType<IqSink::Outcome>("IqSink::Outcome");
}

IqPump::~IqPump()
{
    stop();
    wait();
}

bool IqPump::takes(const IqBlock& block) const
{
    return std::abs(block.sampleRate - m_sampleRate) <= 0.5;
}

void IqPump::stop()
{
    m_queue.close();
}

void IqPump::run()
{
    const IqSink::Outcome carried = carry();
    const IqSink::Outcome finished = m_sink->finish();
    const bool isFirst = carried == IqSink::Outcome::Failed || finished == IqSink::Outcome::Going;
    m_bytes = m_sink->size();
    emit ended(isFirst ? carried : finished, m_sink->errorString());
}

IqSink::Outcome IqPump::carry()
{
    IqSink::Outcome outcome = IqSink::Outcome::Going;
    QElapsedTimer sinceFlush;
    sinceFlush.start();
    qint64 skipped = 0; // at another rate, since the last block that was written
    while (outcome == IqSink::Outcome::Going) {
        std::optional<IqQueue::Taken> taken = m_queue.take(kFlushInterval);
        if (!taken && m_queue.isClosed()) {
            break;
        }
        if (taken) {
            IqBlock& block = taken->block;
            block.missing += taken->dropped;
            m_missing += block.missing;
            if (!takes(block)) {
                skipped += block.missing;
                continue;
            }
            block.missing += skipped;
            skipped = 0;
            if (m_limit > 0) {
                const qint64 left = m_limit - m_samples - m_missing;
                block.samples.resize(
                    static_cast<int>(qBound(0LL, left, static_cast<qint64>(block.samples.size()))));
            }
            m_samples += block.samples.size();
            outcome = m_sink->write(block);
        }
        const bool isEnough = m_limit > 0 && m_samples + m_missing >= m_limit;
        if (isEnough) {
            break;
        }
        if (sinceFlush.elapsed() >= kFlushInterval && outcome == IqSink::Outcome::Going) {
            outcome = m_sink->flush();
            m_bytes = m_sink->size();
            sinceFlush.restart();
        }
    }
    return outcome;
}
