#pragma once

#include "Rendezvous/HolePunching.h"
#include "Rendezvous/PingActiveConnection.h"
#include "support/LocalNode.h"
#include "support/LogCapture.h"
#include "support/RendezvousServer.h"

#include <QTest>
#include <QTimer>
#include <memory>

inline constexpr quint16 kLocalPort = 40001;
inline constexpr int kDeviceType = 7;

inline const QByteArray kServerId(20, '\x11');
inline const QByteArray kRendezvousId(20, '\x22');
inline const QByteArray kClientId(20, '\x33');
inline const QByteArray kStrangerId(20, '\x44');

inline const QString kNewServer = QStringLiteral("new_server");
inline const QString kSetTimeout = QStringLiteral("set_timeout_timer_ping");
inline const QJsonObject kEmptyReply{{QStringLiteral("cd"), QString()}};

/// A server's announcements and the rendezvous server they go to.
struct Announcing
{
    Announcing()
        : object(std::make_unique<PingActiveConnection>(LocalNode::info(rendezvous), kLocalPort,
                                                        int160(kServerId.constData()), node.rpcSocket,
                                                        kDeviceType, nullptr, [this] { return node.now; }))
    {
    }

    void tick(int times = 1)
    {
        for (int i = 0; i < times; ++i) {
            object->timeout();
        }
    }
    /// Ticks and has all that was sent arrive and be answered; gives the number of announcements it made.
    int announcements(int ticks)
    {
        const int before = rendezvous.calls(kNewServer).size();
        tick(ticks);
        settle();
        return rendezvous.calls(kNewServer).size() - before;
    }
    /// A call goes each way: what was sent before has arrived, in both directions.
    void settle()
    {
        const int calls = rendezvous.calls().size();
        object->busy();
        QTRY_VERIFY(rendezvous.calls().size() > calls &&
                    rendezvous.calls().constLast().body.value(QLatin1String("cd")) == QLatin1String("busy"));
        command(rendezvous, QStringLiteral("process_hole_punching"));
    }
    /// Has `sender` call a command of the server and gives the reply's body.
    QJsonObject command(WirePeer& sender, const QString& name, const QJsonObject& arguments = {})
    {
        const int replies = sender.replies().size();
        sender.call(kServerId, QHostAddress::LocalHost, node.socket->localPort(), name, arguments);
        [&] { QTRY_COMPARE(sender.replies().size(), replies + 1); }();
        return sender.replies().isEmpty() ? QJsonObject() : sender.replies().constLast().body;
    }
    [[nodiscard]] HolePunching* holePunching() const { return object->findChild<HolePunching*>(); }
    [[nodiscard]] bool isPunching() const { return holePunching()->findChild<QTimer*>()->isActive(); }

    LocalNode node{kServerId};
    RendezvousServer rendezvous{kRendezvousId};
    std::unique_ptr<PingActiveConnection> object;
};

/// The lines that carry no tag.
inline QStringList plain(const LogCapture& log)
{
    return log.texts(QtDebugMsg);
}
