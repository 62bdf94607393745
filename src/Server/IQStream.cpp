#include "Server/IQStream.h"

#include "Core/Losses/Losses.h"
#include "Core/RadioDevice/AbstractRadioDevice.h"
#include "Network/Protocol/IqBlocks.h"
#include "Network/Socket/IQSocket.h"
#include "Server/IqConversion.h"

#include <QMutexLocker>
#include <QTimer>

namespace
{

constexpr std::chrono::milliseconds kTick{28};
constexpr int kBlocksPerTurn = 40; // half a millisecond's work

} // namespace

IQStream::IQStream(QSharedPointer<Socket> socket, bool compress, QObject* parent)
    : QObject(parent)
    , m_socket(std::move(socket))
    , m_iqSocket(QSharedPointer<IQSocket>::create(m_socket))
    , m_timer(new QTimer(this))
    , m_nextTurn(new QTimer(this))
    , m_block(IqBlocks::kSamples)
    , m_samples(IqBlocks::kValues)
    , m_compress(compress)
{
    m_socket->addSocket(m_iqSocket);
    m_timer->setInterval(kTick);
    connect(m_timer, &QTimer::timeout, this, &IQStream::onTimeout);
    m_nextTurn->setSingleShot(true);
    m_nextTurn->setInterval(0);
    connect(m_nextTurn, &QTimer::timeout, this, &IQStream::onTimeout);
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
    m_reader->start();
}

void IQStream::start()
{
    m_timer->start();
}

void IQStream::stop()
{
    m_timer->stop();
    m_nextTurn->stop();
    m_device = nullptr;
}

void IQStream::onTimeout()
{
    for (int i = 0; i < kBlocksPerTurn; ++i) {
        if (!sendBlock()) {
            return;
        }
    }
    m_nextTurn->start();
}

// False if there is none to be sent.
bool IQStream::sendBlock()
{
    if (m_device == nullptr || !m_reader->read(m_block.data(), IqBlocks::kSamples)) {
        return false;
    }
    convertIq(m_block.constData(), IqBlocks::kSamples, m_samples.data());
    m_iqSocket->send(m_samples, m_address, m_port, m_compress);
    return true;
}

void IQStream::Reader::start()
{
    const QMutexLocker lock(&buffer->mutex);
    position.start(*buffer, readIndex);
}

bool IQStream::Reader::read(DoubleComplex* samples, int count)
{
    const QMutexLocker lock(&buffer->mutex);
    Losses::process().add(Losses::Cause::OutRing, position.update(*buffer, readIndex));
    if (buffer->available(readIndex) < count) {
        return false;
    }
    buffer->read(readIndex, samples, count);
    readIndex = buffer->advance(readIndex, count);
    position.advance(count);
    return true;
}
