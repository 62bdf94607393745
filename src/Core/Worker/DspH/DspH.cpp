#include "Core/Worker/DspH/DspH.h"

#include "Core/Log/Log.h"
#include "Core/Log/LogLimiter.h"
#include "Core/Losses/Losses.h"
#include "Core/Worker/FactoryWorker.h"
#include "Core/Worker/SetBufferEvent.h"

#include <QMetaProperty>
#include <algorithm>
#include <cmath>
#include <limits>

namespace
{

constexpr int kMinBlock = 1'024;  // samples
constexpr int kMaxBlock = 65'536; // samples; below the capacity of the ring "in"
constexpr double kBlockSeconds = 0.01;
constexpr int kFilterTier = 1;
constexpr unsigned long kDataWait = 20; // ms

// The length of a block: a power of two, about 10 ms of input.
int blockLength(qlonglong inSampleRate)
{
    const double target = static_cast<double>(inSampleRate) * kBlockSeconds;
    const int whole = static_cast<int>(std::min<double>(target, kMaxBlock));
    int length = kMinBlock;
    while (length < whole) {
        length *= 2;
    }
    return length;
}

// The narrowest band that a chain of 12 stages reaches. A narrower one would need more of them.
float narrowestBandWidth(float inSampleRate)
{
    return inSampleRate / 4'096.0F;
}

// A rate of no more than qlonglong can have rounds up to 2^63 as a float.
qlonglong wholeRate(float rate)
{
    return rate < 0x1p63F ? static_cast<qlonglong>(rate) : std::numeric_limits<qlonglong>::max();
}

int capacityOf(RingBuffer<DoubleComplex>& ring)
{
    const QMutexLocker lock(&ring.mutex);
    return ring.capacity;
}

} // namespace

DspH::DspH(QObject* parent)
    : Worker(parent)
    , m_coarseMixer(QSharedPointer<TableOscillator>::create())
    , m_fineMixer(QSharedPointer<RotatingOscillator>::create())
    , m_downConvertor(QSharedPointer<DownConvertor>::create())
{
}

DspH::~DspH()
{
    LOG_DEBUG() << QStringLiteral("Destruct class .. %1").arg(QLatin1String(staticMetaObject.className()));
}

bool DspH::setProperty(const char* name, const QVariant& value)
{
    const QMetaProperty property = metaObject()->property(metaObject()->indexOfProperty(name));
    const bool rounded = property.userType() == QMetaType::LongLong && value.userType() == QMetaType::Double;
    if (rounded && !(std::abs(value.toDouble()) < 0x1p63)) {
        LOG_LIMITED(LOG_WARNING()) << "Error set property - incorrect value!" << name << value.toDouble();
        return true;
    }
    return Worker::setProperty(name, value);
}

void DspH::setInSampleRate(qlonglong inSampleRate)
{
    if (inSampleRate == m_inSampleRate) {
        return;
    }
    m_inSampleRate = inSampleRate;
    if (running()) {
        setup();
    }
}

void DspH::setPreferredBandWidth(qlonglong preferredBandWidth)
{
    if (preferredBandWidth == m_preferredBandWidth) {
        return;
    }
    m_preferredBandWidth = preferredBandWidth;
    if (running()) {
        setup();
    }
}

void DspH::setIfFreq(double ifFreq)
{
    // Before the first setup the mixers have no real rate: what they can't reach then waits for setup.
    const bool reached = m_coarseMixer->reaches(ifFreq);
    if (!std::isfinite(ifFreq) || (m_inBufLen > 0 && !reached)) {
        LOG_LIMITED(LOG_WARNING()) << "Error set ifFreq - incorrect value!" << ifFreq;
        return;
    }
    m_ifFreq = ifFreq;
    if (reached) {
        m_coarseMixer->setFrequency(ifFreq);
        m_fineMixer->setFrequencyAndRate(m_coarseMixer->residual(), static_cast<double>(m_outSampleRate));
    }
    emit ifFreqChanged(ifFreq);
}

void DspH::resetIfFreq()
{
    setIfFreq(0.0);
}

void DspH::setup()
{
    if (m_inSampleRate < 1) {
        LOG_LIMITED(LOG_WARNING()) << "Error setup dsph - inSampleRate incorrect value!";
        onStop();
        return;
    }
    m_inBufLen = blockLength(m_inSampleRate);
    m_workBuffer.resize(m_inBufLen);

    const auto inRate = static_cast<float>(m_inSampleRate);
    const float bandWidth = std::max(static_cast<float>(m_preferredBandWidth), narrowestBandWidth(inRate));
    m_outSampleRate = wholeRate(m_downConvertor->setup(
        m_inBufLen, inRate, bandWidth, static_cast<float>(m_aliasFreeBandWidth), kFilterTier));
    emit outSampleRateChanged(static_cast<double>(m_outSampleRate));

    m_coarseMixer->setSampleRate(static_cast<double>(m_inSampleRate));
    m_coarseMixer->setFrequency(m_ifFreq);
    m_fineMixer->setSampleRate(static_cast<double>(m_outSampleRate));
    m_fineMixer->setFrequency(m_coarseMixer->residual());

    LOG_LIMITED(LOG_DEBUG()) << "**** SETUP DSPH ****";
    LOG_LIMITED(LOG_DEBUG()) << "input sampleRate" << m_inSampleRate;
    LOG_LIMITED(LOG_DEBUG()) << "input bufLen" << m_inBufLen;
    LOG_LIMITED(LOG_DEBUG()) << "output decimator sampleRate" << m_outSampleRate;
}

void DspH::onStart()
{
    setup();
    Worker::onStart();
}

void DspH::onStop()
{
    m_entered = false;
    Worker::onStop();
}

void DspH::setBufferEvent(AbstractEvent* event)
{
    const auto* bufferEvent = dynamic_cast<SetBufferEvent<DoubleComplex>*>(event);
    if (bufferEvent == nullptr || !bufferEvent->buffer()) {
        return;
    }
    if (bufferEvent->key() == QLatin1String("in")) {
        m_inReader = QSharedPointer<InReader>::create(InReader{0, bufferEvent->buffer(), {}});
    } else if (bufferEvent->key() == QLatin1String("out")) {
        m_outWriter = QSharedPointer<OutWriter>::create(
            OutWriter{bufferEvent->buffer(), capacityOf(*bufferEvent->buffer())});
    }
}

// A block as long as the ring would bring its index round to where it was, and no reader would see it.
// Shorter ones leave the ring at its own size: how much of a slow reader's backlog is kept is known to
// clients.
void DspH::OutWriter::fit(int blockLength) const
{
    const int wanted = blockLength < kMaxBlock ? capacity : std::max(capacity, 2 * kMaxBlock);
    if (buffer->capacity != wanted) {
        buffer->resize(wanted);
    }
}

void DspH::onDoWork()
{
    if (m_inReader) {
        // Everything older is skipped, so that a restart never replays stale samples.
        const QMutexLocker lock(&m_inReader->buffer->mutex);
        m_inReader->readIndex = m_inReader->buffer->writeIndex;
        m_inReader->position.start(*m_inReader->buffer, m_inReader->readIndex);
    }
    m_waitForData = true;
    m_entered = true;
    if (m_looping) {
        return;
    }
    m_looping = true;
    while (running()) {
        if (m_entered && m_inReader && m_outWriter && readBlock()) {
            processBlock();
            writeBlock();
        }
        processEvents();
    }
    m_looping = false;
}

bool DspH::readBlock()
{
    RingBuffer<DoubleComplex>& ring = *m_inReader->buffer;
    const QMutexLocker lock(&ring.mutex);
    if (m_waitForData) {
        ring.dataReady.wait(&ring.mutex, kDataWait);
    }
    Losses::process().add(Losses::Cause::InRing, m_inReader->position.update(ring, m_inReader->readIndex));
    const int available = ring.available(m_inReader->readIndex);
    m_waitForData = available == 0 || available < m_inBufLen;
    if (m_waitForData) {
        return false;
    }
    ring.read(m_inReader->readIndex, m_workBuffer.data(), m_inBufLen);
    m_inReader->readIndex = ring.advance(m_inReader->readIndex, m_inBufLen);
    m_inReader->position.advance(m_inBufLen);
    ring.spaceFreed.wakeAll();
    // A worker without a block length, before any setup, takes empty blocks: at the ring's pace, not the
    // processor's.
    m_waitForData = m_inBufLen == 0;
    return true;
}

void DspH::processBlock()
{
    DoubleComplex* samples = m_workBuffer.data();
    m_outLen = m_downConvertor->process(*m_coarseMixer, m_inBufLen, samples);
    m_fineMixer->process(samples, m_outLen);
}

void DspH::writeBlock()
{
    RingBuffer<DoubleComplex>& ring = *m_outWriter->buffer;
    const QMutexLocker lock(&ring.mutex);
    m_outWriter->fit(m_outLen);
    ring.write(m_workBuffer.constData(), m_outLen);
    ring.dataReady.wakeAll();
}

Worker* FactoryWorker::makeDspH()
{
    return new DspH;
}
