#include "Network/Socket/IQSocket.h"

#include <utility>

IQSocket::IQSocket(QSharedPointer<Socket> socket, QObject* parent)
    : StreamSocket(std::move(socket), {PacketType::Iq, PacketType::IqCompressed}, 0, parent)
{
}
