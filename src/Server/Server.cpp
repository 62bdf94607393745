#include "Server/Server.h"

#include "Core/Log/Log.h"
#include "Core/Log/LogLimiter.h"
#include "Core/Losses/Losses.h"
#include "Core/Process/Process.h"
#include "Core/RadioDevice/AbstractRadioDevice.h"
#include "Core/RadioDevice/FactoryRadioDevice.h"
#include "Core/RadioDevice/InfoRadioDevice.h"
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
#include "Server/SessionCommands.h"

#include <QPointer>
#include <QTimer>

namespace
{

constexpr int kTick = 1000;            // ms
constexpr int kUserCallTimeout = 5000; // ms

QJsonObject refusal(const QString& text)
{
    return {{SessionCalls::kError, text}};
}

} // namespace

Server::Server(int160 id, quint16 port, int deviceType, const QString& title, const QString& description,
               const QString& identificator, bool compress, QObject* parent)
    : QObject(parent)
    , m_id(std::move(id))
    , m_compress(compress)
    , m_deviceInfo(QSharedPointer<InfoRadioDevice>::create(deviceType))
    , m_unprovenSessions(QSharedPointer<UnprovenBudget>::create())
{
    m_deviceInfo->identificator = identificator;

    printAddress(identificator);
    m_socket = QSharedPointer<Socket>::create(nullptr);
    m_socket->setBudget(m_unprovenSessions.budget());
    m_rpcSocket = QSharedPointer<RpcSocket>::create(m_socket, m_id, nullptr);
    m_socket->addSocket(m_rpcSocket);
    declareFunctions();

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
    stopStreams();
    m_sourceObject.clear();
    dropDevice();
}

void Server::printAddress(const QString& identificator) const
{
    const QString asterisks(48, QLatin1Char('*'));
    LOG_DEBUG() << QString();
    LOG_DEBUG() << asterisks;
    LOG_DEBUG() << "Server address:\t" << Base58::encode(m_id.bytes());
    LOG_DEBUG() << "Identificator:\t" << identificator;
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

QJsonObject Server::connectToHost(const QJsonObject& request, const NodeInfo& client)
{
    LOG_LIMITED(LOG_DEBUG()) << "Connection from host" << Base58::encode(client.id.bytes())
                             << client.address.toString() << client.port;

    int majorVersion = 0;
    int minorVersion = 0;
    QString identificator;
    // Any text reads as a string, an absent one as the empty string, which would drive out whoever is
    // connected: so the key has to hold one.
    if (!Json::toInt(request, SessionCalls::kMajorVersion, majorVersion) ||
        !Json::toInt(request, SessionCalls::kMinorVersion, minorVersion) ||
        !request.value(SessionCalls::kIdentificator).isString() ||
        !Json::toString(request, SessionCalls::kIdentificator, identificator)) {
        LOG_LIMITED(LOG_DEBUG()) << SessionCalls::kBadRequest;
        return refusal(SessionCalls::kBadRequest);
    }
    if (majorVersion != ProtocolVersion::kMajor) {
        LOG_LIMITED(LOG_DEBUG()) << SessionCalls::kUnsupportedVersion;
        return refusal(SessionCalls::kUnsupportedVersion);
    }
    m_sameIdentificator = identificator == m_deviceInfo->identificator;
    if (isConnected()) {
        if (m_sameIdentificator || !m_takeovers.take()) {
            LOG_LIMITED(LOG_DEBUG()) << SessionCalls::kBusy;
            return refusal(SessionCalls::kBusy);
        }
        m_userSocket->invoke(SessionCalls::kAdminRequest, {}, {}, {}, kUserCallTimeout);
        m_socket->removeSocket(m_userSocket);
    }

    LOG_LIMITED(LOG_DEBUG()) << "Success connect to the server!";
    // A device takes its time: others have their turn before the next one.
    m_socket->endTurn();
    // Before the device says a word.
    m_unprovenSessions.begin(client.address, client.port);
    m_iqStream->setHost(client.address, client.port);
    m_fftStream->setHost(client.address, client.port);
    if (!initDevice(client)) {
        m_userSocket.clear();
        return refusal(SessionCalls::kNoDevice);
    }

    const int160 sessionId = int160::random();
    // A session taken over ends here, with the object that held it: see onDisconnected.
    m_userSocket = QSharedPointer<UserSocket>::create(m_socket, sessionId, client, nullptr);
    m_socket->addSocket(m_userSocket);
    connect(m_userSocket.data(), &UserSocket::disconnected, this, &Server::onDisconnected);
    SessionCommands::declare(*m_userSocket, m_device, *m_fftStream);
    connect(m_userSocket.data(), &UserSocket::proven, this,
            [this, client] { m_unprovenSessions.prove(client.address, client.port); });
    return {{SessionCalls::kSessionId, sessionId.toString()}};
}

bool Server::initDevice(const NodeInfo& client)
{
    dropDevice();
    m_device = FactoryRadioDevice::make(m_deviceInfo);
    if (m_device == nullptr) {
        return false;
    }
    ++m_countConnections;
    m_device->restore(m_deviceInfo->identificator);
    connectDevice();
    m_device->setNoDataCallback([this] { onNoData(); });
    // The old one takes its commands with it when it goes, so it has to go first.
    m_sourceObject.clear();
    m_sourceObject =
        QSharedPointer<SourceObject>::create(Replication::kReceiver, m_device, m_rpcSocket, client, nullptr);
    if (m_pingActiveConnection != nullptr) {
        m_pingActiveConnection->busy();
    }
    m_iqStream->setDevice(m_device);
    m_fftStream->setDevice(m_device);
    m_iqStream->start();
    m_fftStream->start();
    m_deviceUnsaved = true;
    m_device->start(false);
    return true;
}

void Server::dropDevice()
{
    if (m_device == nullptr) {
        return;
    }
    m_device->disconnect();
    if (m_deviceUnsaved && !m_device->running()) {
        // The session has ended and the news of it is still on its way: it will find the device gone.
        m_device->save(m_deviceInfo->identificator);
    }
    m_deviceUnsaved = false;
    m_device->stop();
    delete m_device;
    m_device = nullptr;
}

void Server::connectDevice()
{
    // Queued, and looked at once more on arrival: what a device said before it was replaced is not meant
    // for the session of its successor.
    const auto current = [this, device = QPointer<AbstractRadioDevice>(m_device)] {
        return device != nullptr && device == m_device;
    };
    connect(
        m_device, &Worker::stopped, this,
        [this, current] {
            if (current()) {
                onRadioStopped();
            }
        },
        Qt::QueuedConnection);
    connect(
        m_device, &Worker::errorHappen, this,
        [this, current](const QString& text) {
            if (current()) {
                onErrorHappen(text);
            }
        },
        Qt::QueuedConnection);
    connect(
        m_device, &AbstractRadioDevice::outSampleRateChanged, this,
        [this, current](double outSampleRate) {
            if (current()) {
                onOutSampleRateChanged(outSampleRate);
            }
        },
        Qt::QueuedConnection);
}

void Server::onRendezvousAddress(const QHostAddress& address)
{
    if (address.isNull()) {
        return;
    }
    m_handshakeNode = {RendezvousSettings::id(), address, RendezvousSettings::port()};
    if (m_pingActiveConnection == nullptr) {
        m_pingActiveConnection = new PingActiveConnection(m_handshakeNode, m_socket->localPort(), m_id,
                                                          m_rpcSocket, m_deviceInfo->type(), this);
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
    if (m_device != nullptr && m_device->running()) {
        stopStreams();
        m_device->stop();
    }
    m_sourceObject.clear();
    if (m_userSocket) {
        m_socket->removeSocket(m_userSocket);
    }
    resetAnnouncements();
}

void Server::onRadioStopped()
{
    stopStreams();
    endUserSocket();
    m_sourceObject.clear();
    m_device->save(m_deviceInfo->identificator);
    m_deviceUnsaved = false;
    resetAnnouncements();
}

void Server::onNoData()
{
    stopStreams();
    onErrorHappen(QStringLiteral("No IQ data - stop!"));
    endUserSocket();
    m_sourceObject.clear();
    resetAnnouncements();
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

void Server::stopStreams()
{
    m_iqStream->stop();
    m_fftStream->stop();
}

void Server::endUserSocket()
{
    if (m_userSocket) {
        m_userSocket->disconnectFromHost();
        m_socket->removeSocket(m_userSocket);
    }
}

void Server::resetAnnouncements()
{
    if (m_pingActiveConnection != nullptr) {
        m_pingActiveConnection->resetCounter();
    }
}
