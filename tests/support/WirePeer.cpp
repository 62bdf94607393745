#include "support/WirePeer.h"

namespace
{

constexpr int kCallsKept = 2'000;
constexpr int kReceiveBuffer = 4'000'000; // bytes

} // namespace

WirePeer::WirePeer(const QByteArray& id, const QHostAddress& address, quint16 port, QObject* parent)
    : QObject(parent)
    , m_id(id)
{
    Q_ASSERT(id.isEmpty() || id.size() == Wire::kIdSize);
    m_socket.bind(address, port);
    begin();
}

WirePeer::WirePeer(int descriptor, const QByteArray& id)
    : m_id(id)
{
    if (!m_socket.setSocketDescriptor(descriptor, QAbstractSocket::BoundState)) {
        qFatal("not a socket for a peer");
    }
    begin();
}

void WirePeer::begin()
{
    m_clock.start();
    m_socket.setSocketOption(QAbstractSocket::ReceiveBufferSizeSocketOption, kReceiveBuffer);
    if (!m_id.isEmpty()) {
        connect(&m_socket, &QUdpSocket::readyRead, this, &WirePeer::onReadyRead);
    }
}

void WirePeer::send(const QByteArray& datagram, quint16 port, const QHostAddress& address)
{
    m_socket.writeDatagram(datagram, address, port);
}

QByteArray WirePeer::next()
{
    if (!waitUntil([this] { return m_socket.hasPendingDatagrams(); })) {
        return {};
    }
    QByteArray datagram(static_cast<int>(m_socket.pendingDatagramSize()), '\0');
    m_socket.readDatagram(datagram.data(), datagram.size());
    return datagram;
}

QVector<WirePeer::Message> WirePeer::calls(const QString& command) const
{
    QVector<Message> result;
    for (const Message& call : m_calls) {
        if (call.command == command) {
            result.append(call);
        }
    }
    return result;
}

bool WirePeer::waitForCall(const QString& command, int count) const
{
    return waitUntil([this, &command, count] { return calls(command).size() >= count; });
}

void WirePeer::clear()
{
    m_calls.clear();
    m_replies.clear();
    m_placeOfReply.clear();
}

void WirePeer::reply(const Message& call, const QJsonObject& body)
{
    send(Wire::packet(call.number, m_id, call.sender, QString(), body), call.port, call.address);
}

quint32 WirePeer::call(const QByteArray& target, const QHostAddress& address, quint16 port,
                       const QString& command, const QJsonObject& arguments)
{
    const quint32 number = m_nextNumber++;
    send(Wire::packet(number, m_id, target, command, arguments), port, address);
    return number;
}

void WirePeer::onReadyRead()
{
    while (m_socket.hasPendingDatagrams()) {
        QByteArray datagram(static_cast<int>(m_socket.pendingDatagramSize()), '\0');
        QHostAddress address;
        quint16 port = 0;
        m_socket.readDatagram(datagram.data(), datagram.size(), &address, &port);
        onDatagram(datagram, address, port);
    }
}

void WirePeer::onDatagram(const QByteArray& datagram, const QHostAddress& address, quint16 port)
{
    auto message = Wire::read(datagram);
    if (!message || message->target != m_id) {
        return;
    }
    message->address = address;
    message->port = port;
    message->time = now();
    if (message->command.isEmpty()) {
        if (!hasReply(message->number)) {
            m_placeOfReply.insert(message->number, m_replies.size());
        }
        m_replies.append(*message);
        return;
    }
    if (m_calls.size() < kCallsKept) {
        m_calls.append(*message);
    }
    if (!m_silent) {
        reply(*message, m_answers.value(message->command));
    }
    emit called(message->command);
}
