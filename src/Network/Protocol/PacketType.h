#pragma once

#include <QByteArray>

/// What a datagram holds, as the low four bits of its first byte tell. No other type is defined.
///
///   0          1
///   | 0 | type | RpcPacket, or SampleBlock ...     the high four bits are written as 0 and ignored on
///   receipt
/// Thread: any.
enum class PacketType : quint8
{
    Rpc = 0,
    Iq = 2,
    IqCompressed = 3,
    Spectrum = 4,
    SpectrumCompressed = 5,
    Audio = 6,
    Spm = 7,
};

inline bool isPacket(const QByteArray& data, PacketType type)
{
    return !data.isEmpty() && (data.at(0) & 0x0F) == static_cast<int>(type);
}

/// Makes `packet` the type byte alone, and keeps its memory for what is appended.
inline void beginPacket(QByteArray& packet, PacketType type)
{
    constexpr int kUsualPacket = 1024; // bytes
    packet.reserve(kUsualPacket);
    packet.resize(0);
    packet.append(static_cast<char>(type));
}

/// The type byte and its payload.
inline QByteArray makePacket(PacketType type, QByteArray payload)
{
    payload.prepend(static_cast<char>(type));
    return payload;
}
