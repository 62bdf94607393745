#pragma once

#include <QHostAddress>
#include <QJsonObject>
#include <QMap>
#include <QObject>
#include <QUdpSocket>
#include <QVector>

/// A node at the other end of the wire: speaks the RPC datagrams on its own, by a bare UDP socket and bytes
/// put together by hand. Records every call and every reply that is addressed to it, and answers calls.
class RpcPeer : public QObject
{
    Q_OBJECT

public:
    struct Message
    {
        quint32 number = 0;
        QByteArray sender; ///< 20 bytes.
        QHostAddress address;
        quint16 port = 0;
        QJsonObject body; ///< With the key "cd": the command's name in a call, empty in a reply.
    };

    /// Binds to `address` and `port`, 0 for one that is free. `id` is 20 bytes.
    explicit RpcPeer(const QByteArray& id, const QHostAddress& address = QHostAddress::LocalHost,
                     quint16 port = 0, QObject* parent = nullptr);

    [[nodiscard]] bool isBound() const;
    [[nodiscard]] QByteArray id() const { return m_id; }
    [[nodiscard]] QHostAddress address() const;
    [[nodiscard]] quint16 port() const;

    /// Calls received so far, in the order of their arrival; those of one command alone.
    [[nodiscard]] QVector<Message> calls() const { return m_calls; }
    [[nodiscard]] QVector<Message> calls(const QString& command) const;
    /// Replies received so far.
    [[nodiscard]] QVector<Message> replies() const { return m_replies; }
    /// Forgets the calls and replies received so far.
    void clear();

    /// The reply that calls of `command` get from now on; "cd" is added. Without one: an empty reply.
    void setReply(const QString& command, const QJsonObject& reply);
    /// While silent it records, but answers nothing.
    void setSilent(bool silent) { m_silent = silent; }

    /// Answers a recorded call, whenever the test likes.
    void reply(const Message& call, const QJsonObject& body = {});
    /// Calls a command on a node; gives the message number, which its reply will carry.
    quint32 call(const QByteArray& target, const QHostAddress& address, quint16 port, const QString& command,
                 const QJsonObject& arguments = {});

signals:
    void called(const QString& command);

private:
    void onReadyRead();
    void receive(const QByteArray& datagram, const QHostAddress& address, quint16 port);
    void send(quint32 number, const QByteArray& target, const QJsonObject& body, const QHostAddress& address,
              quint16 port);

    QByteArray m_id;
    QUdpSocket m_socket;
    quint32 m_lastNumber = 0;
    bool m_silent = false;
    QVector<Message> m_calls;
    QVector<Message> m_replies;
    QMap<QString, QJsonObject> m_answers;
};
