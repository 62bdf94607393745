#include "Server/Server.h"

#include "Core/Log/Log.h"
#include "Core/Log/LogLimiter.h"
#include "Core/Losses/Losses.h"
#include "Core/Process/Process.h"
#include "Core/RadioDevice/AbstractRadioDevice.h"
#include "Network/Data/Base58.h"
#include "Network/Data/Json.h"
#include "Network/Internet/IPFromDNS.h"
#include "Network/Protocol/ProtocolVersion.h"
#include "Network/Protocol/Replication.h"
#include "Network/Protocol/SessionCalls.h"
#include "Network/Remote/SourceObject.h"
#include "Network/Socket/RpcSocket.h"
#include "Network/Socket/Socket.h"
#include "Network/Socket/UnprovenBudget.h"
#include "Network/Socket/UserSocket.h"
#include "Rendezvous/PingActiveConnection.h"
#include "Server/Discovery.h"
#include "Server/FFTStream.h"
#include "Server/IQStream.h"
#include "Server/RendezvousSettings.h"
#include "Server/ServedDevice.h"
#include "Server/SessionCommands.h"

#include <QTimer>

namespace
{

constexpr int kTick = 1000;            // ms
constexpr int kUserCallTimeout = 5000; // ms

} // namespace

Server::Server(int160 id, quint16 port, int deviceType, const QString& title, const QString& description,
               const QString& identificator, bool compress, QObject* parent)
    : QObject(parent)
    , m_id(std::move(id))
    , m_compress(compress)
    , m_device(std::make_unique<ServedDevice>(deviceType, identificator))
    , m_unprovenSessions(QSharedPointer<UnprovenBudget>::create())
{
    printAddress();
    m_socket = QSharedPointer<Socket>::create(nullptr);
    m_socket->setBudget(m_unprovenSessions.budget());
    m_rpcSocket = QSharedPointer<RpcSocket>::create(m_socket, m_id, nullptr);
    m_socket->addSocket(m_rpcSocket);
    declareFunctions();
    connectDevice();

    if (!m_socket->listen(port)) {
        Process::exit(-1);
    }
    LOG_DEBUG() << "Server local port:\t" << m_socket->localPort();

    m_discovery =
        new Discovery(m_id, m_socket->localPort(), deviceType, title, description, identificator, this);
    m_iqStream = std::make_unique<IQStream>(m_socket, m_compress, nullptr);
    m_fftStream = std::make_unique<FFTStream>(m_socket, m_compress, nullptr);
    m_ipFromDns = new IPFromDNS(this);
    connect(m_ipFromDns, &IPFromDNS::finish, this, &Server::onRendezvousAddress);
    m_ipFromDns->lookup(RendezvousSettings::host());

    m_timer = new QTimer(this);
    connect(m_timer, &QTimer::timeout, this, &Server::onTimeout);
    m_timer->setTimerType(Qt::CoarseTimer);
    m_timer->start(kTick);
}

Server::~Server()
{
    drop();
    if (m_userSocket) {
        disconnect(m_userSocket.data(), nullptr, this, nullptr);
    }
    endSession(Ending::ServerGoes);
}

void Server::printAddress() const
{
    const QString asterisks(48, QLatin1Char('*'));
    LOG_DEBUG() << QString();
    LOG_DEBUG() << asterisks;
    LOG_DEBUG() << "Server address:\t" << Base58::encode(m_id.bytes());
    LOG_DEBUG() << "Identificator:\t" << m_device->identificator();
    LOG_DEBUG() << asterisks;
    LOG_DEBUG() << QString();
}

void Server::drop()
{
    if (m_pingActiveConnection != nullptr) {
        m_pingActiveConnection->drop();
    }
}

bool Server::isConnected() const
{
    return m_userSocket && m_userSocket->isConnected();
}

quint32 Server::successHolePunching() const
{
    return m_pingActiveConnection != nullptr ? m_pingActiveConnection->successCount() : 0U;
}

quint32 Server::failHolePunching() const
{
    return m_pingActiveConnection != nullptr ? m_pingActiveConnection->failCount() : 0U;
}

void Server::declareFunctions()
{
    m_rpcSocket->declareFunction(SessionCalls::kConnectToHost,
                                 [this](const QJsonObject& request, const NodeInfo& client) {
                                     return connectToHost(request, client);
                                 });
}

void Server::connectDevice()
{
    connect(m_device.get(), &ServedDevice::stopped, this, &Server::onRadioStopped);
    connect(m_device.get(), &ServedDevice::errorHappen, this, &Server::onErrorHappen);
    connect(m_device.get(), &ServedDevice::outSampleRateChanged, this, &Server::onOutSampleRateChanged);
    connect(m_device.get(), &ServedDevice::noData, this, [this] { endSession(Ending::NoData); });
}

QJsonObject Server::connectToHost(const QJsonObject& request, const NodeInfo& client)
{
    LOG_LIMITED(LOG_DEBUG()) << "Connection from host" << Base58::encode(client.id.bytes())
                             << client.address.toString() << client.port;
    const QString refused = refusal(request);
    if (!refused.isEmpty()) {
        return {{SessionCalls::kError, refused}};
    }
    if (isConnected()) {
        m_userSocket->invoke(SessionCalls::kAdminRequest, {}, {}, {}, kUserCallTimeout);
        m_socket->removeSocket(m_userSocket);
    }

    LOG_LIMITED(LOG_DEBUG()) << "Success connect to the server!";
    // Making a device takes long: other datagrams get their turn before the next one is made.
    m_socket->endTurn();
    // Has to know of it before the device sends anything.
    m_unprovenSessions.begin(client.address, client.port);
    m_iqStream->setHost(client.address, client.port);
    m_fftStream->setHost(client.address, client.port);
    if (!initDevice(client)) {
        m_userSocket.clear();
        return {{SessionCalls::kError, SessionCalls::kNoDevice}};
    }

    const int160 sessionId = int160::random();
    // A session that is taken over ends here, when its object is destroyed: see endSession.
    m_userSocket = QSharedPointer<UserSocket>::create(m_socket, sessionId, client, nullptr);
    m_socket->addSocket(m_userSocket);
    connect(m_userSocket.data(), &UserSocket::disconnected, this, &Server::onDisconnected);
    SessionCommands::declare(*m_userSocket, m_device->get(), *m_fftStream);
    connect(m_userSocket.data(), &UserSocket::proven, this,
            [this, client] { m_unprovenSessions.prove(client.address, client.port); });
    return {{SessionCalls::kSessionId, sessionId.toString()}};
}

// Empty if the client may have a session. If that is by a takeover, the takeover is counted.
QString Server::refusal(const QJsonObject& request)
{
    int majorVersion = 0;
    int minorVersion = 0;
    QString identificator;
    // An absent key reads as the empty string, which would drive out whoever is connected: so the key has to
    // be there and hold a string.
    if (!Json::toInt(request, SessionCalls::kMajorVersion, majorVersion) ||
        !Json::toInt(request, SessionCalls::kMinorVersion, minorVersion) ||
        !request.value(SessionCalls::kIdentificator).isString() ||
        !Json::toString(request, SessionCalls::kIdentificator, identificator)) {
        LOG_LIMITED(LOG_DEBUG()) << SessionCalls::kBadRequest;
        return SessionCalls::kBadRequest;
    }
    if (majorVersion != ProtocolVersion::kMajor) {
        LOG_LIMITED(LOG_DEBUG()) << SessionCalls::kUnsupportedVersion;
        return SessionCalls::kUnsupportedVersion;
    }
    m_sameIdentificator = identificator == m_device->identificator();
    if (isConnected() && (m_sameIdentificator || !m_takeovers.take())) {
        LOG_LIMITED(LOG_DEBUG()) << SessionCalls::kBusy;
        return SessionCalls::kBusy;
    }
    return {};
}

bool Server::initDevice(const NodeInfo& client)
{
    if (!m_device->make()) {
        return false;
    }
    ++m_countConnections;
    // Destroying the old one removes its commands, which are the new one's as well: so that comes first.
    m_sourceObject.clear();
    m_sourceObject = QSharedPointer<SourceObject>::create(Replication::kReceiver, m_device->get(),
                                                          m_rpcSocket, client, nullptr);
    if (m_pingActiveConnection != nullptr) {
        m_pingActiveConnection->busy();
    }
    m_iqStream->setDevice(m_device->get());
    m_fftStream->setDevice(m_device->get());
    m_iqStream->start();
    m_fftStream->start();
    m_device->start();
    return true;
}

void Server::onRendezvousAddress(const QHostAddress& address)
{
    if (address.isNull()) {
        return;
    }
    m_handshakeNode = {RendezvousSettings::id(), address, RendezvousSettings::port()};
    if (m_pingActiveConnection == nullptr) {
        m_pingActiveConnection = new PingActiveConnection(m_handshakeNode, m_socket->localPort(), m_id,
                                                          m_rpcSocket, m_device->type(), this);
    }
}

void Server::onTimeout()
{
    LogLimiter::reportAll();
    Losses::process().report();
    if (isConnected()) {
        return;
    }
    m_discovery->send();
    if (m_pingActiveConnection != nullptr) {
        m_pingActiveConnection->timeout();
    }
}

void Server::onDisconnected()
{
    endSession(Ending::ClientLeft);
}

void Server::onRadioStopped()
{
    endSession(Ending::DeviceStopped);
}

void Server::onErrorHappen(QString text)
{
    if (isConnected()) {
        m_userSocket->invoke(SessionCalls::kErrorHappen, {{SessionCalls::kError, text}}, {}, {},
                             kUserCallTimeout);
    }
}

void Server::onOutSampleRateChanged(double outSampleRate)
{
    if (isConnected()) {
        m_userSocket->invoke(SessionCalls::kOutSampleRateChanged,
                             {{SessionCalls::kOutSampleRate, outSampleRate}}, {}, {}, kUserCallTimeout);
    }
}

void Server::endSession(Ending ending)
{
    const bool running = m_device->running();
    if (ending != Ending::ClientLeft || running) {
        m_iqStream->stop();
        m_fftStream->stop();
    }
    if (ending == Ending::ClientLeft && running) {
        m_device->stop(); // its `stopped` follows, and ends the session again, saving the settings
    }
    if (ending == Ending::NoData) {
        onErrorHappen(QStringLiteral("No IQ data - stop!"));
    }
    if (m_userSocket && (ending == Ending::NoData || ending == Ending::DeviceStopped)) {
        // Emits `disconnected` unless that has happened, and so comes back here with ClientLeft.
        m_userSocket->disconnectFromHost();
    }
    m_sourceObject.clear();
    if (ending == Ending::ServerGoes) {
        m_device.reset();
        return;
    }
    if (m_userSocket) {
        m_socket->removeSocket(m_userSocket);
    }
    if (ending == Ending::DeviceStopped) {
        m_device->save();
    }
    if (m_pingActiveConnection != nullptr) {
        m_pingActiveConnection->resetCounter();
    }
}
