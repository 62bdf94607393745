#include "Network/Protocol/RpcPacket.h"

#include "Network/Protocol/PacketType.h"

#include <QtEndian>

namespace
{

constexpr int kNumberOffset = 1;
constexpr int kSenderOffset = 5;
constexpr int kTargetOffset = 25;

// Only the lowest byte is unsigned; the others are sign-extended before they are shifted and combined.
quint32 readNumber(const char* bytes)
{
    const auto extended = [bytes](int index) {
        return static_cast<quint32>(static_cast<qint32>(static_cast<qint8>(bytes[index])));
    };
    return (extended(0) << 24) | (extended(1) << 16) | (extended(2) << 8) | static_cast<quint8>(bytes[3]);
}

QByteArray idField(const int160& id)
{
    return id.bytes().leftJustified(int160::kSize, '\0', true);
}

} // namespace

std::optional<RpcPacket> RpcPacket::readHeader(const QByteArray& datagram)
{
    if (datagram.size() <= kHeaderSize || !isPacket(datagram, PacketType::Rpc)) {
        return std::nullopt;
    }
    const char* const bytes = datagram.constData();
    RpcPacket packet;
    packet.number = readNumber(bytes + kNumberOffset);
    packet.senderId = int160(bytes + kSenderOffset);
    packet.targetId = int160(bytes + kTargetOffset);
    return packet;
}

QByteArray RpcPacket::toDatagram() const
{
    const quint32 bigEndianNumber = qToBigEndian(number);
    QByteArray datagram;
    datagram.reserve(kHeaderSize + body.size());
    datagram.append(static_cast<char>(PacketType::Rpc));
    datagram.append(reinterpret_cast<const char*>(&bigEndianNumber), sizeof bigEndianNumber);
    datagram.append(idField(senderId));
    datagram.append(idField(targetId));
    datagram.append(body);
    return datagram;
}
