#pragma once

#include "Network/Protocol/SampleBlock.h"
#include "Network/Socket/Socket.h"

#include <QVector>
#include <functional>

/// Spectrum points, plain or compressed, one block a datagram.
/// Thread:    that of the Socket.
/// Ownership: the owner attaches it with Socket::addSocket. It shares the Socket.
/// Errors:    a damaged block is received as no samples. While the callback is empty a packet is taken, and
///            dropped unread.
class FFTSocket : public QObject, public InterfaceSocket
{
    Q_OBJECT

public:
    using Callback = std::function<void(const QVector<qint16>& samples)>;

    explicit FFTSocket(QSharedPointer<Socket> socket, QObject* parent = nullptr);

    void setCallback(Callback callback);
    /// A compressed block that says it holds more than `count` samples is received as damaged, and not
    /// unpacked.
    void setMaximumSamples(int count);

    /// Compresses, when told to, what is worth it: a block above 256 bytes. The result is that of
    /// Socket::write.
    bool send(const QVector<qint16>& samples, const QHostAddress& address, quint16 port, bool compress);

    bool readyRead(QByteArray& data, const QHostAddress& address, quint16 port) override;

private:
    QSharedPointer<Socket> m_socket;
    QByteArray m_packet; // its memory, from one datagram to the next
    QVector<qint16> m_received;
    int m_maximumBlock = SampleBlock::kMaxUncompressed; // bytes
    Callback m_callback;
};
