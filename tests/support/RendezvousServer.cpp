#include "support/RendezvousServer.h"

RendezvousServer::RendezvousServer(const QByteArray& id, const QHostAddress& address, quint16 port,
                                   QObject* parent)
    : WirePeer(id, address, port, parent)
{
}

void RendezvousServer::offerClient(const QByteArray& clientId, const QHostAddress& clientAddress,
                                   quint16 clientPort)
{
    setReply(QStringLiteral("new_server"),
             {
                 {QStringLiteral("chp_id"), QString::fromLatin1(clientId.toHex())},
                 {QStringLiteral("chp_addr"), clientAddress.toString()},
                 {QStringLiteral("chp_port"), clientPort},
             });
}

void RendezvousServer::offerNoClient()
{
    setReply(QStringLiteral("new_server"), {});
}

quint32 RendezvousServer::dropClient(const Message& announcement)
{
    return call(announcement.sender, announcement.address, announcement.port, QStringLiteral("drop_client"));
}

quint32 RendezvousServer::setTimeoutTimerPing(const Message& announcement, int intervalMs)
{
    return call(announcement.sender, announcement.address, announcement.port,
                QStringLiteral("set_timeout_timer_ping"), {{QStringLiteral("v"), intervalMs}});
}
