#include "Network/Socket/RpcSocket.h"

#include "Core/Log/ForeignText.h"
#include "Core/Log/Log.h"
#include "Core/Log/LogLimiter.h"
#include "Network/Data/Json.h"
#include "Network/Protocol/RpcPacket.h"

#include <QDateTime>
#include <QJsonDocument>
#include <utility>

RpcSocket::RpcSocket(QSharedPointer<Socket> socket, const int160& id, QObject* parent, Clock clock)
    : QObject(parent)
    , m_id(id)
    , m_socket(std::move(socket))
    , m_clock(std::move(clock))
{
}

const int160& RpcSocket::id() const
{
    return m_id;
}

void RpcSocket::declareFunction(const QString& name, Handler handler)
{
    m_functions[name] = std::move(handler);
}

void RpcSocket::removeFunction(const QString& name)
{
    m_functions.remove(name);
}

bool RpcSocket::invoke(const NodeInfo& node, const QString& name, const QJsonObject& args,
                       SuccessCallback success, TimeoutCallback timeout, int timeoutMs)
{
    const quint32 number = ++m_lastMessageNumber;
    if (success || timeout) {
        m_pendingCalls.insert(number, {name, node.id, std::move(success), std::move(timeout),
                                       now() + timeoutMs, QDateTime::currentMSecsSinceEpoch() + timeoutMs});
    }
    QJsonObject body = args;
    body.insert(RpcPacket::kCommandKey, name);
    return m_socket->write(datagram(number, body, node), node.address, node.port);
}

QByteArray RpcSocket::datagram(quint32 number, const QJsonObject& body, const NodeInfo& node) const
{
    const RpcPacket packet{number, m_id, node.id, QJsonDocument(body).toJson(QJsonDocument::Compact)};
    return packet.toDatagram();
}

bool RpcSocket::readyRead(QByteArray& data, const QHostAddress& address, quint16 port)
{
    const std::optional<RpcPacket> packet = RpcPacket::readHeader(data);
    if (!packet || packet->targetId != m_id) {
        return false;
    }
    onAddressed(address, port);
    data.remove(0, RpcPacket::kHeaderSize);

    QJsonObject body;
    if (!Json::fromByteArray(data, body, {RpcPacket::kCommandKey})) {
        return true;
    }
    QString command;
    Json::toString(body, RpcPacket::kCommandKey, command);
    const NodeInfo sender{packet->senderId, address, port};
    if (command.trimmed().isEmpty()) {
        handleReply(packet->number, body, sender);
    } else {
        handleCall(packet->number, command, body, sender);
    }
    return true;
}

void RpcSocket::handleReply(quint32 number, const QJsonObject& reply, const NodeInfo& peer)
{
    const auto found = m_pendingCalls.constFind(number);
    if (found == m_pendingCalls.constEnd() || !isAnswerer(peer, found->called)) {
        return;
    }
    const PendingCall call = m_pendingCalls.value(number); // a copy: the callback may make calls
    if (call.success) {
        call.success(reply, peer);
    }
    m_pendingCalls.remove(number);
}

void RpcSocket::handleCall(quint32 number, const QString& name, const QJsonObject& request,
                           const NodeInfo& caller)
{
    const auto found = m_functions.constFind(name);
    if (found == m_functions.constEnd()) {
        LOG_LIMITED(LOG_WARNING()) << QStringLiteral(
                                          "Error invoke rpc command \"%1\" - command name not found!")
                                          .arg(foreignText(name));
        return;
    }
    const Handler handler = *found; // a copy: it may remove itself
    if (!handler) {
        return;
    }
    m_replyWithheld = false;
    QJsonObject result = handler(request, caller);
    if (m_replyWithheld) {
        return;
    }
    result.insert(RpcPacket::kCommandKey, QString());
    m_socket->answer(datagram(number, result, caller), caller.address, caller.port);
}

void RpcSocket::onTimeout()
{
    const qint64 time = now();
    // The numbers are taken beforehand: a callback may make calls, and those wait for a later heartbeat.
    const QList<qint64> numbers = m_pendingCalls.keys();
    for (const qint64 number : numbers) {
        const auto found = m_pendingCalls.constFind(number);
        if (found == m_pendingCalls.constEnd() || found->deadline - time >= 0) {
            continue;
        }
        const PendingCall call = m_pendingCalls.value(number);
        LOG_LIMITED(LOG_DEBUG()) << QStringLiteral("Function timeout ... name: %1, created time: %2")
                                        .arg(call.name, QString::number(call.wallDeadline));
        if (call.timeout) {
            call.timeout();
        }
        m_pendingCalls.remove(number);
    }
}

const Socket& RpcSocket::socket() const
{
    return *m_socket;
}

qint64 RpcSocket::now() const
{
    return m_clock();
}
