#pragma once

#include "Network/Socket/CallbackSocket.h"

#include <QVector>

/// Audio samples, always plain, one block a datagram.
/// Thread:    that of the Socket.
/// Ownership: the owner attaches it with Socket::addSocket. It shares the Socket.
/// Errors:    a damaged block is received as no samples. A packet that arrives while the callback is empty
///            raises std::bad_function_call.
class AudioSocket : public CallbackSocket<QVector<qint16>>
{
    Q_OBJECT

public:
    explicit AudioSocket(QSharedPointer<Socket> socket, QObject* parent = nullptr);

    /// The result is that of Socket::write.
    bool send(const QVector<qint16>& samples, const QHostAddress& address, quint16 port);

    bool readyRead(QByteArray& data, const QHostAddress& address, quint16 port) override;
};
