#include "Server/FFTStream.h"

#include "Core/Log/Log.h"
#include "Core/Log/LogLimiter.h"
#include "Core/RadioDevice/AbstractRadioDevice.h"
#include "Core/Worker/DspH/FftEngine.h"
#include "Core/Worker/Kernels/AlternatingWindow.h"
#include "Core/Worker/Kernels/SpectrumLevels.h"
#include "Network/Socket/FFTSocket.h"

#include <QMutexLocker>
#include <QTimer>
#include <cmath>
#include <limits>

namespace
{

constexpr std::chrono::milliseconds kTick{40};
constexpr qint16 kFrameMarker = 0x7F0F;
constexpr int kMaxSize = 65536; // points a frame, and bins
constexpr int kMinFftSize = 2;
constexpr int kPacketsPerTurn = 24; // half a millisecond's work, as much as the frame's transform
// Has no level, as a point without a bin has none.
constexpr DoubleComplex kNoBin{std::numeric_limits<double>::quiet_NaN(), 0.0};
constexpr double kTwoPi = 6.283185307179586;

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

FFTStream::FFTStream(QSharedPointer<Socket> socket, bool compress, QObject* parent)
    : QObject(parent)
    , m_socket(std::move(socket))
    , m_fftSocket(QSharedPointer<FFTSocket>::create(m_socket))
    , m_timer(new QTimer(this))
    , m_nextTurn(new QTimer(this))
    , m_header{kFrameMarker, 0, 0}
    , m_packet(kPacketSize)
    , m_compress(compress)
{
    // Anyone may send points here; without a callback the first packet would end the process.
    m_fftSocket->setCallback([](const QVector<qint16>& /*points*/) {});
    m_socket->addSocket(m_fftSocket);
    m_timer->setInterval(kTick);
    m_timer->setTimerType(Qt::PreciseTimer);
    connect(m_timer, &QTimer::timeout, this, &FFTStream::onTick);
    m_nextTurn->setSingleShot(true);
    m_nextTurn->setInterval(0);
    connect(m_nextTurn, &QTimer::timeout, this, &FFTStream::sendTurn);
}

FFTStream::~FFTStream()
{
    m_socket->removeSocket(m_fftSocket);
}

void FFTStream::setHost(const QHostAddress& address, quint16 port)
{
    m_address = address;
    m_port = port;
}

void FFTStream::setDevice(AbstractRadioDevice* device)
{
    m_device = device;
    m_reader = QSharedPointer<Reader>::create(Reader{0, device->inBuffer()});
}

void FFTStream::start()
{
    m_timer->start();
}

void FFTStream::stop()
{
    m_timer->stop();
    m_nextTurn->stop();
    m_sentPackets = packets();
    m_device = nullptr;
}

void FFTStream::setDataRange(int startIndex, int stopIndex, int dataSize, int fftSize)
{
    if (!isUsable(dataSize, fftSize)) {
        LOG_LIMITED(LOG_WARNING())
            << QStringLiteral("Error data range! Data size: %1, fft size: %2").arg(dataSize).arg(fftSize);
        return;
    }
    finishFrame(); // its header holds the size of the present one
    m_startIndex = startIndex;
    m_stopIndex = stopIndex;
    m_dataSize = dataSize;
    m_header[1] = static_cast<qint16>(dataSize);
    const int points = std::max(dataSize, 0);
    m_fullPackets = points / kPacketSize;
    m_remainder = points % kPacketSize;
    m_packet.resize(m_fullPackets != 0 ? kPacketSize : 0);
    m_lastPacket.resize(m_remainder);
    m_sentPackets = packets();
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
    makeFrame();
    finishFrame();
}

void FFTStream::onTick()
{
    makeFrame();
    sendTurn();
}

void FFTStream::makeFrame()
{
    finishFrame();
    if (m_device == nullptr || m_fftSize < 1) {
        return;
    }
    readBlock();
    if (m_dataSize < 1 || qint64{m_stopIndex} - m_startIndex < 1) {
        return;
    }
    applyWindow();
    m_fft->transform(m_block.data(), 1);
    m_fftSocket->send(m_header, m_address, m_port, m_compress);
    m_sentPackets = 0;
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

void FFTStream::finishFrame()
{
    m_nextTurn->stop();
    sendPackets(packets());
}

void FFTStream::sendTurn()
{
    sendPackets(kPacketsPerTurn);
    if (m_sentPackets < packets()) {
        m_nextTurn->start();
    }
}

void FFTStream::sendPackets(int count)
{
    for (; count > 0 && m_sentPackets < packets(); --count, ++m_sentPackets) {
        QVector<qint16>& points = m_sentPackets < m_fullPackets ? m_packet : m_lastPacket;
        fillPoints(points, m_sentPackets * kPacketSize);
        m_fftSocket->send(points, m_address, m_port, m_compress);
    }
}

// One bin a point: a range wider than the frame is thinned, a narrower one repeated.
void FFTStream::fillPoints(QVector<qint16>& points, int first)
{
    const double step = static_cast<double>(qint64{m_stopIndex} - m_startIndex) / m_dataSize;
    const auto binOf = [this, step](int n) { return static_cast<qint64>(m_startIndex + n * step); };
    const int count = points.size();
    const qint64 firstBin = binOf(first);
    if (step == 1.0 && firstBin >= 0 && firstBin + count <= m_fftSize) {
        Kernels::levels(m_block.data() + firstBin, count, m_scale, points.data());
        return;
    }
    for (int i = 0; i < count; ++i) {
        const qint64 bin = binOf(first + i);
        m_bins[static_cast<std::size_t>(i)] = bin >= 0 && bin < m_fftSize ? m_block.data()[bin] : kNoBin;
    }
    Kernels::levels(m_bins.data(), count, m_scale, points.data());
}
