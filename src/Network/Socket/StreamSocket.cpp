#include "Network/Socket/StreamSocket.h"

#include <utility>

StreamSocket::StreamSocket(QSharedPointer<Socket> socket, Types types, int worthCompressing, QObject* parent)
    : CallbackSocket(std::move(socket), parent)
    , m_types(types)
    , m_worthCompressing(worthCompressing)
{
}

void StreamSocket::setMaximumSamples(int count)
{
    m_maximumBlock = SampleBlock::sizeOf(count);
}

bool StreamSocket::send(const QVector<qint16>& samples, const QHostAddress& address, quint16 port,
                        bool compress)
{
    if (compress && SampleBlock::sizeOf(samples.size()) > m_worthCompressing) {
        beginPacket(m_packet, m_types.compressed);
        SampleBlock::appendCompressed(m_packet, samples);
    } else {
        beginPacket(m_packet, m_types.plain);
        SampleBlock::append(m_packet, samples);
    }
    return socket().write(m_packet, address, port);
}

bool StreamSocket::readyRead(QByteArray& data, const QHostAddress& /*address*/, quint16 /*port*/)
{
    const bool compressed = isPacket(data, m_types.compressed);
    if (!compressed && !isPacket(data, m_types.plain)) {
        return false;
    }
    if (!hasCallback()) {
        return true; // anyone may send it, and to unpack it for nobody costs time
    }
    data.remove(0, 1);
    const QByteArray block =
        compressed ? SampleBlock::uncompress(data, m_maximumBlock).value_or(QByteArray()) : data;
    deliver(SampleBlock::decode(block).value_or(QVector<qint16>()));
    return true;
}
