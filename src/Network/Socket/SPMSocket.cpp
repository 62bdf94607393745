#include "Network/Socket/SPMSocket.h"

#include "Network/Protocol/PacketType.h"
#include "Network/Protocol/SampleBlock.h"

#include <utility>

SPMSocket::SPMSocket(QSharedPointer<Socket> socket, QObject* parent)
    : CallbackSocket(std::move(socket), parent)
{
}

bool SPMSocket::send(const QVector<float>& first, const QVector<float>& second, const NodeInfo& node)
{
    return socket().write(makePacket(PacketType::Spm, SampleBlock::encode(first, second)), node.address,
                          node.port);
}

bool SPMSocket::readyRead(QByteArray& data, const QHostAddress& /*address*/, quint16 /*port*/)
{
    if (!isPacket(data, PacketType::Spm)) {
        return false;
    }
    data.remove(0, 1);
    auto [first, second] = SampleBlock::decodePair(data);
    deliver(std::move(first), std::move(second));
    return true;
}
