#pragma once

#include <QByteArray>
#include <QHostAddress>

/// What is attached to a Socket: one protocol on the process's one port.
/// Thread: that of the Socket.
class InterfaceSocket
{
public:
    virtual ~InterfaceSocket() = default;

    /// Offered one datagram and its source; true when it was for this object. `data`, 5 bytes or more, is the
    /// Socket's own buffer: it may be changed on the way to true and has to stay as it is on the way to
    /// false, since the next object sees the same buffer.
    virtual bool readyRead(QByteArray& data, const QHostAddress& address, quint16 port) = 0;

    /// The heartbeat, once a second.
    virtual void onTimeout() {}
};
