#include "Server/IQStream.h"

#include "Core/Losses/Losses.h"
#include "Core/RadioDevice/AbstractRadioDevice.h"
#include "Network/Protocol/IqBlocks.h"
#include "Network/Socket/IQSocket.h"
#include "Server/IqConversion.h"

#include <QMutexLocker>
#include <utility>

namespace
{

constexpr std::chrono::milliseconds kTick{28};
constexpr int kBlocksPerTurn = 40; // half a millisecond's work

} // namespace

IQStream::IQStream(const QSharedPointer<Socket>& socket, bool compress, QObject* parent)
    : IQStream(QSharedPointer<IQSocket>::create(socket), socket, compress, parent)
{
}

IQStream::IQStream(QSharedPointer<IQSocket> iqSocket, QSharedPointer<Socket> socket, bool compress,
                   QObject* parent)
    : DeviceStream(std::move(socket), iqSocket, kTick, Qt::CoarseTimer, parent)
    , m_iqSocket(std::move(iqSocket))
    , m_turns(kBlocksPerTurn, [this] { return sendBlock(); })
    , m_block(IqBlocks::kSamples)
    , m_samples(IqBlocks::kValues)
    , m_compress(compress)
{
}

void IQStream::setDevice(AbstractRadioDevice* device)
{
    DeviceStream::setDevice(device);
    m_reader = QSharedPointer<Reader>::create(Reader{0, device->outBuffer()});
    m_reader->start();
}

void IQStream::stop()
{
    m_turns.stop();
    DeviceStream::stop();
}

void IQStream::onTimeout()
{
    m_turns.run();
}

// False if there is none to be sent.
bool IQStream::sendBlock()
{
    if (!hasDevice() || !m_reader->read(m_block.data(), IqBlocks::kSamples)) {
        return false;
    }
    convertIq(m_block.constData(), IqBlocks::kSamples, m_samples.data());
    m_iqSocket->send(m_samples, address(), port(), m_compress);
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
