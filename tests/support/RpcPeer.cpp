#include "support/RpcPeer.h"

#include <QJsonDocument>
#include <QtEndian>

namespace
{

//   0        1              5            25           45
//   | type 0 | number (BE)  | sender id  | target id  | compact JSON ...
constexpr int kNumberAt = 1;
constexpr int kSenderAt = 5;
constexpr int kTargetAt = 25;
constexpr int kBodyAt = 45;
constexpr int kIdSize = 20;

const QString kCommandKey = QStringLiteral("cd");

} // namespace

RpcPeer::RpcPeer(const QByteArray& id, const QHostAddress& address, quint16 port, QObject* parent)
    : QObject(parent)
    , m_id(id)
{
    Q_ASSERT(id.size() == kIdSize);
    connect(&m_socket, &QUdpSocket::readyRead, this, &RpcPeer::onReadyRead);
    m_socket.bind(address, port);
}

bool RpcPeer::isBound() const
{
    return m_socket.state() == QUdpSocket::BoundState;
}

QHostAddress RpcPeer::address() const
{
    return m_socket.localAddress();
}

quint16 RpcPeer::port() const
{
    return m_socket.localPort();
}

QVector<RpcPeer::Message> RpcPeer::calls(const QString& command) const
{
    QVector<Message> result;
    for (const Message& call : m_calls) {
        if (call.body.value(kCommandKey).toString() == command) {
            result.append(call);
        }
    }
    return result;
}

void RpcPeer::clear()
{
    m_calls.clear();
    m_replies.clear();
}

void RpcPeer::setReply(const QString& command, const QJsonObject& reply)
{
    m_answers.insert(command, reply);
}

void RpcPeer::reply(const Message& call, const QJsonObject& body)
{
    QJsonObject answer = body;
    answer.insert(kCommandKey, QString());
    send(call.number, call.sender, answer, call.address, call.port);
}

quint32 RpcPeer::call(const QByteArray& target, const QHostAddress& address, quint16 port,
                      const QString& command, const QJsonObject& arguments)
{
    QJsonObject body = arguments;
    body.insert(kCommandKey, command);
    send(++m_lastNumber, target, body, address, port);
    return m_lastNumber;
}

void RpcPeer::onReadyRead()
{
    while (m_socket.hasPendingDatagrams()) {
        QByteArray datagram(static_cast<int>(m_socket.pendingDatagramSize()), '\0');
        QHostAddress address;
        quint16 port = 0;
        m_socket.readDatagram(datagram.data(), datagram.size(), &address, &port);
        receive(datagram, address, port);
    }
}

void RpcPeer::receive(const QByteArray& datagram, const QHostAddress& address, quint16 port)
{
    if (datagram.size() <= kBodyAt || datagram.at(0) != 0 || datagram.mid(kTargetAt, kIdSize) != m_id) {
        return;
    }
    const auto number = qFromBigEndian<quint32>(datagram.constData() + kNumberAt);
    const QJsonObject body = QJsonDocument::fromJson(datagram.mid(kBodyAt)).object();
    const Message message{number, datagram.mid(kSenderAt, kIdSize), address, port, body};
    const QString command = body.value(kCommandKey).toString();
    if (command.isEmpty()) {
        m_replies.append(message);
        return;
    }
    m_calls.append(message);
    if (!m_silent) {
        reply(message, m_answers.value(command));
    }
    emit called(command);
}

void RpcPeer::send(quint32 number, const QByteArray& target, const QJsonObject& body,
                   const QHostAddress& address, quint16 port)
{
    QByteArray datagram(kSenderAt, '\0');
    qToBigEndian(number, datagram.data() + kNumberAt);
    datagram += m_id + target + QJsonDocument(body).toJson(QJsonDocument::Compact);
    m_socket.writeDatagram(datagram, address, port);
}
