#pragma once

#include "Network/Socket/StreamSocket.h"

/// IQ samples, compressed at any size when told to.
/// Thread:    that of the Socket.
/// Ownership: the owner attaches it with Socket::addSocket. It shares the Socket.
class IQSocket : public StreamSocket
{
    Q_OBJECT

public:
    explicit IQSocket(QSharedPointer<Socket> socket, QObject* parent = nullptr);
};
