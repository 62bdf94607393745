#include "RadioDevice/IQPlayer/IQPlayerRadioDevice.h"

#include "Core/Log/Log.h"
#include "Core/Losses/Losses.h"
#include "Core/Signal/Kernels/IntegerIq.h"
#include "Core/Worker/DspH/RotatingOscillator.h"

#include <QFileInfo>
#include <algorithm>
#include <utility>

namespace
{

constexpr double kSampleRate = 48'000.0; // Hz, until a header says otherwise
constexpr double kMinFrequency = 14'000'000.0;
constexpr double kMaxFrequency = 14'500'000.0;

// 25 ms of 48,000 samples a second.
constexpr std::chrono::milliseconds kTick{25};
constexpr int kBlockSize = 1200;
constexpr qint64 kMaximumTicks = 10; // 250 ms, which is played at once if it is due

constexpr int kBytesPerSample = 4; // two values of 16 bits
constexpr double kScale = 1.0 / 4096.0;

} // namespace

IQPlayerRadioDevice::IQPlayerRadioDevice(QSharedPointer<InfoRadioDevice> info, QObject* parent,
                                         std::chrono::milliseconds watchdogInterval, Clock clock)
    : AbstractRadioDevice(std::move(info), parent, watchdogInterval)
    , m_dataTimer(new QTimer(this))
    , m_clock(std::move(clock))
    , m_centerFrequency(kMinFrequency + 0.5 * (kMaxFrequency - kMinFrequency))
    , m_fileName(m_info->identificator)
    , m_file(QSharedPointer<QFile>::create())
    , m_oscillator(QSharedPointer<RotatingOscillator>::create())
{
    initDsp();
    LOG_DEBUG() << QStringLiteral("Construct class .. %1").arg(QLatin1String(staticMetaObject.className()));
    m_supportSampleRates = QStringList{QStringLiteral("48000")};
    m_sampleRate = kSampleRate;
    m_frequencyRanges.append({kMinFrequency, kMaxFrequency});
    m_supportFrequencies = QStringList{QStringLiteral("14000"), QStringLiteral("14500")};
    m_loFrequency = m_centerFrequency;
    m_dataTimer->setTimerType(Qt::PreciseTimer);
    m_dataTimer->setInterval(kTick);
    connect(m_dataTimer, &QTimer::timeout, this, &IQPlayerRadioDevice::onTick);
}

IQPlayerRadioDevice::~IQPlayerRadioDevice()
{
    LOG_DEBUG() << QStringLiteral("Destruct class .. %1").arg(QLatin1String(staticMetaObject.className()));
    m_dataTimer->disconnect();
    m_file->close();
}

void IQPlayerRadioDevice::setFrequency(double hertz)
{
    if (!isFrequencySupported(hertz)) {
        // The stored frequency is corrected once more: each refusal moves it by the correction.
        AbstractRadioDevice::setFrequency(m_loFrequency);
        return;
    }
    if (storeFrequency(hertz)) {
        m_oscillator->setFrequency(m_loFrequency - m_centerFrequency);
    }
}

void IQPlayerRadioDevice::onStart()
{
    if (!openRecording()) {
        return;
    }
    {
        const QWriteLocker lock(&m_stateLock);
        m_sampleRate = m_header.sampleRate;
    }
    m_oscillator->setSampleRate(m_sampleRate);
    logHeader();
    setBlockSize(kBlockSize);
    AbstractRadioDevice::onStart();
    if (!running()) {
        return; // who heard of the start has stopped it
    }
    m_startTime = m_clock();
    m_ticksDone = 0;
    m_dataTimer->start(kTick);
}

void IQPlayerRadioDevice::onStop()
{
    m_dataTimer->stop();
    AbstractRadioDevice::onStop();
}

bool IQPlayerRadioDevice::openRecording()
{
    m_file->close();
    m_file->setFileName(m_fileName);
    LOG_DEBUG() << "Open file ... " << m_fileName;
    // To open a pipe or a device may wait for good.
    if (const QFileInfo info(m_fileName); info.exists() && !info.isFile()) {
        fail(QStringLiteral("Error open local file to start radio! Not a regular file"));
        return false;
    }
    if (!m_file->open(QIODevice::ReadOnly)) {
        fail(QStringLiteral("Error open local file to start radio! ") + m_file->errorString());
        return false;
    }
    std::array<char, WavHeader::kSize> bytes{};
    if (m_file->read(bytes.data(), WavHeader::kSize) != WavHeader::kSize) {
        fail(QStringLiteral("Error read wav header - ") + m_file->errorString());
        return false;
    }
    m_header = WavHeader::decode(bytes);
    m_bitsPerSample = m_header.bitsPerSample;
    m_heldSamples = holdsSamples();
    m_cut = false;
    return true;
}

bool IQPlayerRadioDevice::holdsSamples() const
{
    return m_file->size() >= WavHeader::kSize + kBytesPerSample;
}

void IQPlayerRadioDevice::fail(const QString& text)
{
    emit errorHappen(text);
    LOG_WARNING() << text;
    onStop();
}

void IQPlayerRadioDevice::logHeader() const
{
    LOG_DEBUG() << "Read wav header";
    LOG_DEBUG() << "chunk size" << m_header.chunkSize << "format type code" << m_header.formatCode
                << "channels" << m_header.channels << "sampleRate" << m_header.sampleRate
                << m_header.bytesPerSecond << m_header.frameSize << "bitsPerSample" << m_bitsPerSample
                << "duration" << m_header.duration(m_file->size()) << m_header.durationSeconds();
}

std::chrono::nanoseconds IQPlayerRadioDevice::steadyTime()
{
    return std::chrono::steady_clock::now().time_since_epoch();
}

void IQPlayerRadioDevice::onTick()
{
    const qint64 due = (m_clock() - m_startTime) / kTick - m_ticksDone;
    m_ticksDone += due;
    const qint64 played = std::min(due, kMaximumTicks);
    Losses::process().add(Losses::Cause::Recording, (due - played) * kBlockSize);
    for (qint64 i = 0; i < played; ++i) {
        onTimeoutData();
    }
}

void IQPlayerRadioDevice::rewind()
{
    m_file->seek(WavHeader::kSize);
    // Once for a recording that is cut to nothing, not at every tick.
    if (!m_cut) {
        LOG_DEBUG() << "End file.";
    }
}

void IQPlayerRadioDevice::onTimeoutData()
{
    m_rawBuffer.resize(2 * blockSize());
    m_bytesToRead = kBytesPerSample * blockSize();
    if (m_file->size() - m_file->pos() < m_bytesToRead) {
        rewind();
    }
    m_cut = m_heldSamples && !holdsSamples();
    if (m_cut) {
        return;
    }
    m_bytesToRead =
        static_cast<int>(m_file->read(reinterpret_cast<char*>(m_rawBuffer.data()), m_bytesToRead));
    m_samplesRead = m_bytesToRead / kBytesPerSample;
    Kernels::scalePairs(m_rawBuffer.constData(), m_samplesRead, kScale, m_block.data());
    m_oscillator->process(m_block.data(), m_samplesRead);
    write(0, false);
}
