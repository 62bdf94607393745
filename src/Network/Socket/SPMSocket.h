#pragma once

#include "Network/Data/NodeInfo.h"
#include "Network/Socket/CallbackSocket.h"

#include <QVector>

/// Two runs of floats in one datagram, always plain.
/// Thread:    that of the Socket.
/// Ownership: the owner attaches it with Socket::addSocket. It shares the Socket.
/// Errors:    a run that is short or damaged is received as empty, with what follows it. A packet that
///            arrives while the callback is empty raises std::bad_function_call.
class SPMSocket : public CallbackSocket<QVector<float>, QVector<float>>
{
    Q_OBJECT

public:
    explicit SPMSocket(QSharedPointer<Socket> socket, QObject* parent = nullptr);

    /// The result is that of Socket::write.
    bool send(const QVector<float>& first, const QVector<float>& second, const NodeInfo& node);

    bool readyRead(QByteArray& data, const QHostAddress& address, quint16 port) override;
};
