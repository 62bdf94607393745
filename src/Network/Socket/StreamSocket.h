#pragma once

#include "Network/Protocol/PacketType.h"
#include "Network/Protocol/SampleBlock.h"
#include "Network/Socket/CallbackSocket.h"

#include <QVector>

/// One kind of 16-bit samples, plain or compressed, one SampleBlock a datagram.
/// Thread: that of the Socket.
/// Errors: a damaged block is received as no samples. While the callback is empty a packet is taken, and
///         dropped unread.
class StreamSocket : public CallbackSocket<QVector<qint16>>
{
    Q_OBJECT

public:
    /// A compressed block that says it holds more than `count` samples is received as damaged, and not
    /// unpacked.
    void setMaximumSamples(int count);

    /// Compresses, when told to, what is worth it. The result is that of Socket::write.
    bool send(const QVector<qint16>& samples, const QHostAddress& address, quint16 port, bool compress);

    bool readyRead(QByteArray& data, const QHostAddress& address, quint16 port) override;

protected:
    struct Types
    {
        PacketType plain;
        PacketType compressed;
    };

    /// A block of more than `worthCompressing` bytes is.
    StreamSocket(QSharedPointer<Socket> socket, Types types, int worthCompressing, QObject* parent);

private:
    const Types m_types;
    const int m_worthCompressing;                       // bytes
    int m_maximumBlock = SampleBlock::kMaxUncompressed; // bytes
    QByteArray m_packet;                                // its memory, from one datagram to the next
};
