#pragma once

#include "support/Wait.h"
#include "support/Wire.h"

#include <QElapsedTimer>
#include <QHash>
#include <QList>
#include <QMap>
#include <QObject>
#include <QUdpSocket>

/// The far end of the wire: a bare UDP socket, on loopback unless told otherwise. It hands out datagrams as
/// they come and, if it has an id, is a node: records the calls and replies to that id, and answers the
/// calls.
class WirePeer : public QObject
{
    Q_OBJECT

public:
    using Message = Wire::Message;

    /// Binds to `address` and `port`, 0 for one that is free. `id` is 20 bytes, or none.
    explicit WirePeer(const QByteArray& id = {},
                      const QHostAddress& address = QHostAddress(QHostAddress::LocalHost), quint16 port = 0,
                      QObject* parent = nullptr);

    [[nodiscard]] bool isBound() const { return m_socket.state() == QUdpSocket::BoundState; }
    [[nodiscard]] const QByteArray& id() const { return m_id; }
    [[nodiscard]] QHostAddress address() const { return m_socket.localAddress(); }
    [[nodiscard]] quint16 port() const { return m_socket.localPort(); }

    /// Sends one datagram as it is.
    void send(const QByteArray& datagram, quint16 port,
              const QHostAddress& address = QHostAddress(QHostAddress::LocalHost));

    /// The next datagram, awaited; empty if none comes. For a peer without an id.
    [[nodiscard]] QByteArray next();
    /// All that `sender`, a Socket, has sent here until now: a datagram sent after it marks the end.
    template <typename Sender>
    [[nodiscard]] QList<QByteArray> received(Sender& sender)
    {
        const QByteArray mark("mark");
        QList<QByteArray> datagrams;
        if (!sender.write(mark, address(), port())) {
            return datagrams;
        }
        for (QByteArray datagram = next(); !datagram.isEmpty() && datagram != mark; datagram = next()) {
            datagrams.append(datagram);
        }
        return datagrams;
    }
    /// `received`, taken apart.
    template <typename Sender>
    [[nodiscard]] QList<Message> receivedMessages(Sender& sender)
    {
        QList<Message> messages;
        for (const QByteArray& datagram : received(sender)) {
            messages.append(Wire::read(datagram).value_or(Message()));
        }
        return messages;
    }

    /// Calls received so far, in the order of their arrival; those of one command alone.
    [[nodiscard]] const QVector<Message>& calls() const { return m_calls; }
    [[nodiscard]] QVector<Message> calls(const QString& command) const;
    [[nodiscard]] bool waitForCall(const QString& command, int count = 1) const;
    /// Replies received so far. Of several with one number the first is the reply.
    [[nodiscard]] const QVector<Message>& replies() const { return m_replies; }
    [[nodiscard]] bool hasReply(quint32 number) const { return m_placeOfReply.contains(number); }
    [[nodiscard]] QJsonObject reply(quint32 number) const
    {
        return m_replies.at(m_placeOfReply[number]).body;
    }
    /// Forgets the calls, or the calls and replies, received so far.
    void forgetCalls() { m_calls.clear(); }
    void clear();

    /// The reply that calls of `command` get from now on; "cd" is added. Without one: an empty reply.
    void setReply(const QString& command, const QJsonObject& reply) { m_answers.insert(command, reply); }
    /// While silent it records, but answers nothing.
    void setSilent(bool silent) { m_silent = silent; }

    /// Answers a recorded call, whenever the test likes.
    void reply(const Message& call, const QJsonObject& body = {});
    /// Calls a command on a node; gives the message number, which its reply will carry.
    quint32 call(const QByteArray& target, const QHostAddress& address, quint16 port, const QString& command,
                 const QJsonObject& arguments = {});
    void setNextNumber(quint32 number) { m_nextNumber = number; }

    /// ms since the peer was made.
    [[nodiscard]] qint64 now() const { return m_clock.elapsed(); }

signals:
    void called(const QString& command);

protected:
    /// Through a socket made elsewhere, such as in another network namespace.
    WirePeer(int descriptor, const QByteArray& id);

    /// Every datagram that comes to a node.
    virtual void onDatagram(const QByteArray& datagram, const QHostAddress& address, quint16 port);

private:
    void begin();
    void onReadyRead();

    QByteArray m_id;
    mutable QUdpSocket m_socket;
    QElapsedTimer m_clock;
    quint32 m_nextNumber = 1;
    bool m_silent = false;
    QVector<Message> m_calls;
    QVector<Message> m_replies;
    QHash<quint32, int> m_placeOfReply; // by its number
    QMap<QString, QJsonObject> m_answers;
};
