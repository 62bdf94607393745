#include "Server/FFTStream.h"

#include "Core/Log/Log.h"
#include "Core/Log/LogLimiter.h"
#include "Core/RadioDevice/AbstractRadioDevice.h"
#include "Core/Signal/Kernels/AlternatingWindow.h"
#include "Core/Signal/Kernels/SpectrumLevels.h"
#include "Core/Worker/DspH/FftEngine.h"
#include "Network/Protocol/SpectrumPackets.h"
#include "Network/Socket/FFTSocket.h"

#include <QMutexLocker>
#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace
{

constexpr std::chrono::milliseconds kTick{40};
constexpr int kMaxSize = 65536; // points a frame, and bins
constexpr int kMinFftSize = 2;
// Has no level, as a point without a bin has none.
constexpr DoubleComplex kNoBin{std::numeric_limits<double>::quiet_NaN(), 0.0};
constexpr double kTwoPi = 6.283185307179586;

// What a client reads them as.
static_assert(Kernels::kPointsPerDecibel == SpectrumPackets::kPointsPerDecibel);
static_assert(Kernels::kNoLevel == SpectrumPackets::kNoBin);

bool isUsable(int dataSize, int fftSize)
{
    const bool isPowerOfTwo = (fftSize & (fftSize - 1)) == 0;
    return dataSize <= kMaxSize &&
           (fftSize < 1 || (isPowerOfTwo && fftSize >= kMinFftSize && fftSize <= kMaxSize));
}

// Blackman (Blackman and Tukey 1958), one place to the right of where it would be symmetric.
QVector<float> blackman(int size)
{
    QVector<float> window(size);
    for (int i = 0; i < size; ++i) {
        const double angle = kTwoPi * (i - 1) / (size - 1);
        window[i] = static_cast<float>(0.42 - 0.5 * std::cos(angle) + 0.08 * std::cos(2.0 * angle));
    }
    return window;
}

} // namespace

FFTStream::FFTStream(const QSharedPointer<Socket>& socket, bool compress, QObject* parent)
    : FFTStream(QSharedPointer<FFTSocket>::create(socket), socket, compress, parent)
{
}

FFTStream::FFTStream(const QSharedPointer<FFTSocket>& fftSocket, QSharedPointer<Socket> socket, bool compress,
                     QObject* parent)
    : DeviceStream(std::move(socket), fftSocket, kTick, Qt::PreciseTimer, parent)
    , m_sender(fftSocket, compress, nullptr)
{
}

void FFTStream::setDevice(AbstractRadioDevice* device)
{
    DeviceStream::setDevice(device);
    m_reader = QSharedPointer<Reader>::create(Reader{0, device->inBuffer()});
}

void FFTStream::setDataRange(int startIndex, int stopIndex, int dataSize, int fftSize)
{
    if (!isUsable(dataSize, fftSize)) {
        LOG_LIMITED(LOG_WARNING())
            << QStringLiteral("Error data range! Data size: %1, fft size: %2").arg(dataSize).arg(fftSize);
        return;
    }
    m_startIndex = startIndex;
    m_stopIndex = stopIndex;
    m_dataSize = dataSize;
    m_points.resize(std::max(dataSize, 0));
    if (fftSize != m_fftSize) {
        setFftSize(fftSize);
    }
}

void FFTStream::setFftSize(int fftSize)
{
    m_fftSize = fftSize;
    LOG_LIMITED(LOG_DEBUG()) << "set fft size" << fftSize;
    if (fftSize < 1) {
        m_fft.clear();
        m_window.clear();
        m_block = AlignedSamples(1);
        return;
    }
    // Clients know the levels that this gives, the step at 4096 included.
    m_scale = 20.0 / ((fftSize << 12) * (fftSize >= 4096 ? 1.0 : 0.6666666666666666));
    m_fft = QSharedPointer<FftEngine>::create(fftSize);
    m_window = blackman(fftSize);
    m_block = AlignedSamples(fftSize);
}

void FFTStream::onTimeout()
{
    if (!hasDevice() || m_fftSize < 1 || m_sender.isSending()) {
        return;
    }
    readBlock();
    if (m_dataSize < 1 || qint64{m_stopIndex} - m_startIndex < 1) {
        return;
    }
    applyWindow();
    m_fft->transform(m_block.data(), 1);
    for (int first = 0; first < m_dataSize; first += kRun) {
        fillPoints(first, std::min(kRun, m_dataSize - first));
    }
    m_sender.send(m_points, address(), port());
}

// The frame ends at the newest sample; where none has come since the last tick, the index steps back
// further, and the frame shows older samples instead of the same ones twice.
void FFTStream::readBlock()
{
    RingBuffer<DoubleComplex>& ring = *m_reader->buffer;
    const QMutexLocker lock(&ring.mutex);
    ring.lastWriteIndex = ring.advance(ring.lastWriteIndex, -m_fftSize);
    ring.read(ring.lastWriteIndex, m_block.data(), m_fftSize);
}

void FFTStream::applyWindow()
{
    Kernels::alternateAndWindow(m_window.constData(), m_fftSize, m_block.data());
}

// One bin a point: a range wider than the frame is thinned, a narrower one repeated.
void FFTStream::fillPoints(int first, int count)
{
    const double step = static_cast<double>(qint64{m_stopIndex} - m_startIndex) / m_dataSize;
    const auto binOf = [this, step](int n) { return static_cast<qint64>(m_startIndex + n * step); };
    const qint64 firstBin = binOf(first);
    qint16* const points = m_points.data() + first;
    if (step == 1.0 && firstBin >= 0 && firstBin + count <= m_fftSize) {
        Kernels::levels(m_block.data() + firstBin, count, m_scale, points);
        return;
    }
    for (int i = 0; i < count; ++i) {
        const qint64 bin = binOf(first + i);
        m_bins[static_cast<std::size_t>(i)] = bin >= 0 && bin < m_fftSize ? m_block.data()[bin] : kNoBin;
    }
    Kernels::levels(m_bins.data(), count, m_scale, points);
}
