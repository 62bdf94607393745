#include "Client/ServerDouble.h"

#include "support/Wire.h"

#include <utility>

namespace
{

const QByteArray kServerId(20, '\x51');

} // namespace

// Sees every datagram first, and keeps those that the server is not to hear.
class ServerDouble::Door : public InterfaceSocket
{
public:
    explicit Door(ServerDouble& server)
        : m_server(server)
    {
    }

    bool readyRead(QByteArray& data, const QHostAddress& address, quint16 port) override
    {
        return m_server.onDatagram(data, address, port);
    }

private:
    ServerDouble& m_server;
};

ServerDouble::ServerDouble(const QString& identificator)
    : m_identificator(identificator)
    , m_socket(new Socket(nullptr))
    , m_door(new Door(*this))
    , m_rpc(new RpcSocket(m_socket, int160(kServerId.constData()), nullptr))
    , m_iq(std::make_unique<IQSocket>(m_socket))
    , m_spectrum(std::make_unique<FFTSocket>(m_socket))
{
    if (!m_socket->listen(0)) {
        qFatal("no port for a server");
    }
    m_opening.setSingleShot(true);
    connect(&m_opening, &QTimer::timeout, this, &ServerDouble::onOpened);
    m_socket->addSocket(m_door);
    m_socket->addSocket(m_rpc);
    m_rpc->declareFunction(
        QStringLiteral("connect_to_host"),
        [this](const QJsonObject& request, const NodeInfo& client) { return onConnect(request, client); });
}

ServerDouble::~ServerDouble()
{
    forgetSession();
    m_socket->removeSocket(m_rpc);
    m_socket->removeSocket(m_door);
}

NodeInfo ServerDouble::info() const
{
    return {m_rpc->id(), QHostAddress(QHostAddress::LocalHost), m_socket->localPort()};
}

void ServerDouble::onOpened()
{
    m_openingTime = 0;
    for (Heard& one : std::exchange(m_heard, {})) {
        m_rpc->readyRead(one.datagram, one.address, one.port);
    }
}

bool ServerDouble::onDatagram(const QByteArray& datagram, const QHostAddress& address, quint16 port)
{
    const auto message = Wire::read(datagram);
    const bool isCall =
        message && message->target == kServerId && message->command == QLatin1String("connect_to_host");
    if (isCall && m_callsToLose > 0) {
        --m_callsToLose;
        return true;
    }
    if (isCall && m_answersToLose > 0) {
        --m_answersToLose;
        onConnect(message->body, {int160(message->sender.constData()), address, port});
        return true;
    }
    if (m_openingTime == 0) {
        return false;
    }
    if (m_heard.isEmpty()) {
        m_opening.start(m_openingTime);
    }
    m_heard.append({datagram, address, port});
    return true;
}

QJsonObject ServerDouble::onConnect(const QJsonObject& request, const NodeInfo& client)
{
    ++m_connects;
    m_calls.append({QStringLiteral("connect_to_host"), request});
    if (!m_answer.isEmpty()) {
        return m_answer;
    }
    if (isInSession()) {
        return {{QStringLiteral("err"), QStringLiteral("Server busy!")}};
    }
    m_client = client;
    m_source.reset();
    if (!m_isSecretive) {
        m_source = std::make_unique<SourceObject>(QStringLiteral("rrd"), &device, m_rpc, client, nullptr);
    }
    const int160 sessionId = int160::random();
    m_user = QSharedPointer<UserSocket>::create(m_socket, sessionId, client, nullptr);
    m_socket->addSocket(m_user);
    for (const QString& command :
         {QStringLiteral("setIF"), QStringLiteral("setupDspH"), QStringLiteral("fft_data_range")}) {
        m_user->declareFunction(command, [this, command](const QJsonObject& arguments, const NodeInfo&) {
            m_calls.append({command, arguments});
            return QJsonObject();
        });
    }
    connect(m_user.data(), &UserSocket::disconnected, this, [this] {
        m_source.reset();
        m_socket->removeSocket(m_user);
    });
    return {{QStringLiteral("session_id"), sessionId.toString()}};
}

void ServerDouble::setDeaf(bool deaf)
{
    if (m_deaf == deaf) {
        return;
    }
    m_deaf = deaf;
    const auto change = deaf ? &Socket::removeSocket : &Socket::addSocket;
    (m_socket.data()->*change)(m_rpc);
    if (m_user) {
        (m_socket.data()->*change)(m_user);
    }
}

void ServerDouble::forgetSession()
{
    m_source.reset();
    if (!m_user) {
        return;
    }
    m_socket->removeSocket(m_user);
    m_user->disconnect(this);
    m_forgotten.append(m_user); // it would have last words
    m_user.reset();
}

void ServerDouble::takeOver()
{
    call(QStringLiteral("admin_request"));
    m_user->disconnectFromHost();
}

QVector<ServerDouble::Call> ServerDouble::calls(const QString& command) const
{
    QVector<Call> result;
    for (const Call& call : m_calls) {
        if (call.command == command) {
            result.append(call);
        }
    }
    return result;
}

void ServerDouble::call(const QString& command, const QJsonObject& arguments)
{
    m_user->invoke(command, arguments, {}, {}, 5000);
}

void ServerDouble::sendIq(const QVector<qint16>& values, bool compress)
{
    m_iq->send(values, m_client.address, m_client.port, compress);
}

void ServerDouble::sendSpectrum(const QVector<qint16>& values)
{
    m_spectrum->send(values, m_client.address, m_client.port, true);
}

void ServerDouble::sendRaw(const QByteArray& datagram)
{
    m_socket->write(datagram, m_client.address, m_client.port);
}
