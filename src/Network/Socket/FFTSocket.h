#pragma once

#include "Network/Socket/StreamSocket.h"

/// Spectrum points. Compresses, when told to, what is worth it: a block above 256 bytes.
/// Thread:    that of the Socket.
/// Ownership: the owner attaches it with Socket::addSocket. It shares the Socket.
class FFTSocket : public StreamSocket
{
    Q_OBJECT

public:
    explicit FFTSocket(QSharedPointer<Socket> socket, QObject* parent = nullptr);
};
