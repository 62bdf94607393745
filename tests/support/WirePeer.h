#pragma once

#include "Network/Data/NodeInfo.h"
#include "Network/Socket/Socket.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QUdpSocket>
#include <QtTest>

/// The far end of the wire: a bare UDP socket on loopback that builds and reads RPC packets on its own.
class WirePeer
{
public:
    struct Packet
    {
        QByteArray type;   // 1 byte
        QByteArray number; // 4 bytes
        QByteArray sender; // 20 bytes
        QByteArray target; // 20 bytes
        QByteArray json;

        [[nodiscard]] QJsonObject object() const { return QJsonDocument::fromJson(json).object(); }
        [[nodiscard]] QString command() const { return object().value(QStringLiteral("cd")).toString(); }
    };

    WirePeer() { m_bound = m_socket.bind(QHostAddress(QHostAddress::LocalHost)); }

    [[nodiscard]] bool isBound() const { return m_bound; }
    [[nodiscard]] QHostAddress address() const { return m_socket.localAddress(); }
    [[nodiscard]] quint16 port() const { return m_socket.localPort(); }
    [[nodiscard]] NodeInfo node(const int160& id) const { return {id, address(), port()}; }

    void send(const QByteArray& datagram, quint16 port)
    {
        m_socket.writeDatagram(datagram, QHostAddress(QHostAddress::LocalHost), port);
    }

    /// The next datagram, awaited; empty if none comes.
    [[nodiscard]] QByteArray next()
    {
        if (!QTest::qWaitFor([this] { return m_socket.hasPendingDatagrams(); })) {
            return {};
        }
        QByteArray datagram(static_cast<int>(m_socket.pendingDatagramSize()), '\0');
        m_socket.readDatagram(datagram.data(), datagram.size());
        return datagram;
    }

    /// All that `socket` has sent here until now: a datagram sent behind it marks the end.
    [[nodiscard]] QList<QByteArray> received(Socket& socket)
    {
        const QByteArray mark("mark");
        QList<QByteArray> datagrams;
        if (!socket.write(mark, address(), port())) {
            return datagrams;
        }
        for (QByteArray datagram = next(); !datagram.isEmpty() && datagram != mark; datagram = next()) {
            datagrams.append(datagram);
        }
        return datagrams;
    }

    /// `received`, taken apart.
    [[nodiscard]] QList<Packet> receivedPackets(Socket& socket)
    {
        QList<Packet> packets;
        for (const QByteArray& datagram : received(socket)) {
            packets.append({datagram.left(1), datagram.mid(1, 4), datagram.mid(5, 20), datagram.mid(25, 20),
                            datagram.mid(45)});
        }
        return packets;
    }

    /// A packet of type 0, put together byte by byte; `number` as it stands on the wire.
    [[nodiscard]] static QByteArray packet(const QByteArray& number, const int160& sender,
                                           const int160& target, const QByteArray& json)
    {
        return QByteArray(1, '\0') + number + sender.bytes() + target.bytes() + json;
    }

private:
    QUdpSocket m_socket;
    bool m_bound = false;
};
