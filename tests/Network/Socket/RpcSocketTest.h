#pragma once

#include "Network/Socket/RpcSocket.h"

#include "support/NodeOf.h"
#include "support/WirePeer.h"

#include <memory>

inline const QByteArray kOwnBytes = QByteArray::fromHex("0102030405060708090a0b0c0d0e0f1011121314");
inline const QByteArray kPeerBytes = QByteArray::fromHex("a1a2a3a4a5a6a7a8a9aaabacadaeafb0b1b2b3b4");

inline int160 ownId()
{
    return int160(kOwnBytes.constData());
}

inline int160 peerId()
{
    return int160(kPeerBytes.constData());
}

inline QByteArray number(const char* hex)
{
    return QByteArray::fromHex(hex);
}

// From the peer to the object under test.
inline QByteArray toOwn(const char* numberHex, const QByteArray& json)
{
    return Wire::packet(number(numberHex), peerId().bytes(), ownId().bytes(), json);
}

inline QJsonObject nothing(const QJsonObject& /*request*/, const NodeInfo& /*caller*/)
{
    return {};
}

/// An RpcSocket whose clock the test alone moves, and its peer on loopback; new for each
/// test.
class RpcSocketTest : public QObject
{
    Q_OBJECT

protected:
    bool deliver(const QByteArray& datagram);
    bool invoke(const QString& name, RpcSocket::SuccessCallback success = {},
                RpcSocket::TimeoutCallback timeout = {}, int timeoutMs = 5000);

    qint64 m_now = 0;
    QSharedPointer<Socket> m_socket;
    std::unique_ptr<WirePeer> m_peer;
    QSharedPointer<RpcSocket> m_rpc;

private slots:
    void init();
    void cleanup();
};
