#pragma once

#include "Core/Log/SteadyClock.h"
#include "Network/Data/NodeInfo.h"
#include "Network/Data/int160.h"
#include "Network/Socket/InterfaceSocket.h"
#include "Network/Socket/Socket.h"

#include <QJsonObject>
#include <QMap>
#include <QObject>
#include <QSharedPointer>
#include <functional>

/// Remote calls in datagrams: one datagram a call, one a reply, nothing is sent twice.
/// Serves the commands declared here to whoever knows the id, and matches replies to calls by number.
/// A call without a reply ends in its timeout, at the first heartbeat after its deadline.
/// Thread:    that of the Socket; handlers and callbacks run inside readyRead and onTimeout.
/// Ownership: the owner attaches it with Socket::addSocket. It shares the Socket, and so has to be detached
///            before the owner lets go of both, or they keep each other.
/// Errors:    a packet for another id or of another type is left to the next attached object; a bad body
///            costs a log line.
class RpcSocket : public QObject, public InterfaceSocket
{
    Q_OBJECT

public:
    using Handler = std::function<QJsonObject(const QJsonObject& request, const NodeInfo& caller)>;
    using SuccessCallback = std::function<void(const QJsonObject& reply, const NodeInfo& peer)>;
    using TimeoutCallback = std::function<void()>;
    using Clock = std::function<qint64()>; ///< Milliseconds; any epoch, never back.

    /// An `id` that does not hold 20 bytes is the target of no packet: nothing reaches this object.
    RpcSocket(QSharedPointer<Socket> socket, const int160& id, QObject* parent,
              Clock clock = &SteadyClock::milliseconds);

    [[nodiscard]] const int160& id() const;

    /// Leaves out the next `count` numbers of calls: those that an earlier socket of this id has used up, to
    /// which replies may still come.
    void skipNumbers(quint32 count) { m_lastMessageNumber += count; }

    /// A second handler of a name replaces the first. A handler may declare and remove functions, its own
    /// among them. The key `cd` of its result is overwritten.
    void declareFunction(const QString& name, Handler handler);
    void removeFunction(const QString& name);

    /// Within a handler: the call that it serves is not answered.
    void withholdReply() { m_replyWithheld = true; }

    /// Calls `name` on `node`. Either callback may be empty; with both empty nothing waits for the reply.
    /// False if the datagram did not leave; the call then stays pending until its timeout all the same.
    bool invoke(const NodeInfo& node, const QString& name, const QJsonObject& args, SuccessCallback success,
                TimeoutCallback timeout, int timeoutMs);

    /// Leaves `data` as it is when the packet is not for this object, and strips the header otherwise.
    bool readyRead(QByteArray& data, const QHostAddress& address, quint16 port) override;
    void onTimeout() override;

protected:
    /// A packet for this id has come from there; called before anything of it is read.
    virtual void onAddressed(const QHostAddress& /*address*/, quint16 /*port*/) {}
    /// Whether a reply from there may answer a call of the node `called`; by default any may. One that may
    /// not is dropped.
    [[nodiscard]] virtual bool isAnswerer(const NodeInfo& /*peer*/, const int160& /*called*/) const
    {
        return true;
    }

    [[nodiscard]] const Socket& socket() const;
    [[nodiscard]] qint64 now() const;

private:
    struct PendingCall
    {
        QString name;
        int160 called; // the node
        SuccessCallback success;
        TimeoutCallback timeout;
        qint64 deadline = 0;     // ms, of the clock
        qint64 wallDeadline = 0; // ms since the epoch, for the log
    };

    [[nodiscard]] QByteArray datagram(quint32 number, const QJsonObject& body, const NodeInfo& node) const;
    void handleReply(quint32 number, const QJsonObject& reply, const NodeInfo& peer);
    void handleCall(quint32 number, const QString& name, const QJsonObject& request, const NodeInfo& caller);

    int160 m_id;
    quint32 m_lastMessageNumber = 0;
    QSharedPointer<Socket> m_socket;
    QMap<QString, Handler> m_functions;
    QMap<qint64, PendingCall> m_pendingCalls;
    Clock m_clock;
    bool m_replyWithheld = false;
};
