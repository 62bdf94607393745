#include "Network/Socket/IQSocket.h"

#include "Network/Protocol/PacketType.h"
#include "Network/Protocol/SampleBlock.h"

#include <utility>

IQSocket::IQSocket(QSharedPointer<Socket> socket, QObject* parent)
    : QObject(parent)
    , m_socket(std::move(socket))
{
}

void IQSocket::setCallback(Callback callback)
{
    m_callback = std::move(callback);
}

void IQSocket::setMaximumSamples(int count)
{
    m_maximumBlock = SampleBlock::sizeOf(count);
}

bool IQSocket::send(const QVector<qint16>& samples, const QHostAddress& address, quint16 port, bool compress)
{
    if (compress) {
        beginPacket(m_packet, PacketType::IqCompressed);
        SampleBlock::appendCompressed(m_packet, samples);
    } else {
        beginPacket(m_packet, PacketType::Iq);
        SampleBlock::append(m_packet, samples);
    }
    return m_socket->write(m_packet, address, port);
}

bool IQSocket::readyRead(QByteArray& data, const QHostAddress& /*address*/, quint16 /*port*/)
{
    const bool compressed = isPacket(data, PacketType::IqCompressed);
    if (!compressed && !isPacket(data, PacketType::Iq)) {
        return false;
    }
    if (!m_callback) {
        return true; // anyone may send it, and to unpack it for nobody is dear
    }
    data.remove(0, 1);
    const QByteArray block =
        compressed ? SampleBlock::uncompress(data, m_maximumBlock).value_or(QByteArray()) : data;
    m_received = SampleBlock::decode(block).value_or(QVector<qint16>());
    m_callback(m_received);
    return true;
}
