#pragma once

#include "Network/Socket/UserSocket.h"

#include "support/LogCapture.h"
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

inline QStringList commands(const QList<WirePeer::Message>& packets)
{
    QStringList names;
    for (const auto& packet : packets) {
        names.append(packet.command);
    }
    return names;
}

/// A session whose clock the test alone moves, and its peer on loopback; new for each test.
/// What is warned of fails it.
class UserSocketTest : public QObject
{
    Q_OBJECT

protected:
    void tick(qint64 milliseconds = 1001);
    void reply(quint32 number);
    void callFromPeer(const QByteArray& json);
    bool deliver(const int160& sender, const QHostAddress& address, quint16 port, quint32 number,
                 const QByteArray& json);
    static void addStrangers();
    int missTo(int count);
    [[nodiscard]] QStringList logged(QtMsgType type) const;

    std::unique_ptr<LogCapture> m_log;
    qint64 m_now = 0;
    QSharedPointer<Socket> m_socket;
    std::unique_ptr<WirePeer> m_peer;
    QSharedPointer<UserSocket> m_user;

private slots:
    void init();
    void cleanup();
};
