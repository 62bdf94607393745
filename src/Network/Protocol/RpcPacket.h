#pragma once

#include "Network/Data/int160.h"

#include <QByteArray>
#include <QString>
#include <optional>

/// One datagram of a remote call or of a reply to one, as the wire holds it:
///
///   0        1              5            25           45
///   | type   | number (BE)  | sender id  | target id  | compact JSON ...
///
/// The low four bits of the type are 0 (PacketType). The JSON object names the command by the key "cd", which
/// is empty in a reply; its other keys are the arguments, or the result. Bytes in, value or nothing out: it
/// knows no socket and does not look into the JSON. Any thread.
struct RpcPacket
{
    static constexpr int kHeaderSize = 45; ///< Bytes; a packet is longer than its header.
    static inline const QString kCommandKey = QStringLiteral("cd");

    quint32 number = 0;
    int160 senderId;
    int160 targetId;
    QByteArray body;

    /// The packet without its body, which a caller finds in the datagram from byte kHeaderSize on; nothing
    /// if the datagram is of another type or holds no body.
    ///
    /// A byte of 0x80 or more at offset 2 or 3 sets every bit of the number above it, as all peers read it:
    /// a number with bit 23 or bit 15 set is read as another one.
    [[nodiscard]] static std::optional<RpcPacket> readHeader(const QByteArray& datagram);

    /// The bytes to send. An id that does not hold 20 bytes is cut or filled up with zeros, so that the
    /// header always keeps its shape.
    [[nodiscard]] QByteArray toDatagram() const;
};
