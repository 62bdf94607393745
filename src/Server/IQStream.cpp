#include "Server/IQStream.h"

#include "Core/RadioDevice/AbstractRadioDevice.h"
#include "Network/Socket/IQSocket.h"
#include "Server/IqConversion.h"

#include <QMutexLocker>
#include <QTimer>

namespace
{

constexpr int kBlockSize = 128;             // samples a datagram
constexpr int kValueCount = 2 * kBlockSize; // real and imaginary parts
constexpr std::chrono::milliseconds kTick{28};

} // namespace

IQStream::IQStream(QSharedPointer<Socket> socket, bool compress, QObject* parent)
    : QObject(parent)
    , m_socket(std::move(socket))
    , m_iqSocket(QSharedPointer<IQSocket>::create(m_socket))
    , m_timer(new QTimer(this))
    , m_block(kBlockSize)
    , m_samples(kValueCount)
    , m_compress(compress)
{
    // Anyone may send samples here; without a callback the first packet would end the process.
    m_iqSocket->setCallback([](const QVector<qint16>& /*samples*/) {});
    m_socket->addSocket(m_iqSocket);
    m_timer->setInterval(kTick);
    connect(m_timer, &QTimer::timeout, this, &IQStream::onTimeout);
}

IQStream::~IQStream()
{
    m_socket->removeSocket(m_iqSocket);
}

void IQStream::setHost(const QHostAddress& address, quint16 port)
{
    m_address = address;
    m_port = port;
}

void IQStream::setDevice(AbstractRadioDevice* device)
{
    m_device = device;
    m_reader = QSharedPointer<Reader>::create(Reader{0, device->outBuffer()});
}

void IQStream::start()
{
    m_timer->start();
}

void IQStream::stop()
{
    m_timer->stop();
    m_device = nullptr;
}

void IQStream::onTimeout()
{
    if (m_device == nullptr) {
        return;
    }
    while (readBlock()) {
        convertIq(m_block.constData(), kBlockSize, m_samples.data());
        m_iqSocket->send(m_samples, m_address, m_port, m_compress);
    }
}

// The mutex is held for the copy alone, so that the writer hardly ever waits.
bool IQStream::readBlock()
{
    RingBuffer<DoubleComplex>& ring = *m_reader->buffer;
    const QMutexLocker lock(&ring.mutex);
    if (ring.available(m_reader->readIndex) < kBlockSize) {
        return false;
    }
    ring.read(m_reader->readIndex, m_block.data(), kBlockSize);
    m_reader->readIndex = ring.advance(m_reader->readIndex, kBlockSize);
    return true;
}
