#pragma once

#include "Network/Socket/InterfaceSocket.h"

#include <QSharedPointer>

/// Lets an attached object see what one peer sends and nothing else. The stream datagrams say nothing of who
/// sent them, and anybody may send to the port.
/// Thread: that of the Socket.
/// Ownership: shares the object that it filters for, which is not attached itself.
class PeerFilter : public InterfaceSocket
{
public:
    PeerFilter(QSharedPointer<InterfaceSocket> inner, const QHostAddress& address, quint16 port);

    bool readyRead(QByteArray& data, const QHostAddress& address, quint16 port) override;

private:
    QSharedPointer<InterfaceSocket> m_inner;
    QHostAddress m_address;
    quint16 m_port;
};
