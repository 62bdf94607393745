#include "Network/Socket/AudioSocket.h"

#include "Network/Protocol/PacketType.h"
#include "Network/Protocol/SampleBlock.h"

#include <utility>

AudioSocket::AudioSocket(QSharedPointer<Socket> socket, QObject* parent)
    : CallbackSocket(std::move(socket), parent)
{
}

bool AudioSocket::send(const QVector<qint16>& samples, const QHostAddress& address, quint16 port)
{
    return socket().write(makePacket(PacketType::Audio, SampleBlock::encode(samples)), address, port);
}

bool AudioSocket::readyRead(QByteArray& data, const QHostAddress& /*address*/, quint16 /*port*/)
{
    if (!isPacket(data, PacketType::Audio)) {
        return false;
    }
    data.remove(0, 1);
    deliver(SampleBlock::decode(data).value_or(QVector<qint16>()));
    return true;
}
