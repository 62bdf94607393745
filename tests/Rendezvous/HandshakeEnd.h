#pragma once

#include "Rendezvous/HandshakeSocket.h"
#include "support/LocalNode.h"
#include "support/WirePeer.h"

#include <QSignalSpy>
#include <QTest>
#include <memory>

inline const QByteArray kOwnId(20, '\x11');
inline const QByteArray kPeerId(20, '\x22');
inline const QByteArray kMasterId(20, '\x44');
inline const QByteArray kStrangerId(20, '\x33');

inline const QString kHolePunching = QStringLiteral("hole_punching");
inline const QString kRequest = QStringLiteral("request_hole_punching");
inline const QString kPing = QStringLiteral("master_ping");

/// One end with its signals recorded.
struct HandshakeEnd
{
    HandshakeEnd(LocalNode& ownNode, const QVector<NodeInfo>& masters, bool listening)
        : node(ownNode)
        , object(std::make_unique<HandshakeSocket>(node.rpcSocket, masters, listening, nullptr,
                                                   [this] { return node.now; }))
        , success(object.get(), &HandshakeSocket::successHandshake)
        , fail(object.get(), &HandshakeSocket::failHandshake)
    {
    }

    void tick(int times, qint64 milliseconds = 1000)
    {
        for (int i = 0; i < times; ++i) {
            node.now += milliseconds;
            object->timeout();
        }
    }

    // The spies record it.
    const int nodeInfoType = qRegisterMetaType<NodeInfo>("NodeInfo");
    LocalNode& node;
    std::unique_ptr<HandshakeSocket> object;
    QSignalSpy success;
    QSignalSpy fail;
};

inline NodeInfo infoOf(const LocalNode& node)
{
    return {node.rpcSocket->id(), QHostAddress(QHostAddress::LocalHost), node.socket->localPort()};
}

inline QJsonObject requestFor(const WirePeer& peer)
{
    return {{QStringLiteral("id"), QString::fromLatin1(peer.id().toHex())},
            {QStringLiteral("address"), peer.address().toString()},
            {QStringLiteral("port"), peer.port()}};
}

/// A call of `from`, awaited.
inline bool callAndWait(WirePeer& from, const LocalNode& node, const QString& command,
                        const QJsonObject& arguments = {})
{
    const int replies = from.replies().size();
    from.call(node.rpcSocket->id().bytes(), QHostAddress(QHostAddress::LocalHost), node.socket->localPort(),
              command, arguments);
    return QTest::qWaitFor([&] { return from.replies().size() > replies; }) &&
           from.replies().last().body == QJsonObject{{QStringLiteral("cd"), QString()}};
}
