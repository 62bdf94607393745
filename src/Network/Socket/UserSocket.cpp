#include "Network/Socket/UserSocket.h"

#include "Core/Log/Log.h"
#include "Core/Log/LogLimiter.h"
#include "Network/Data/Base58.h"
#include "Network/Data/Json.h"
#include "Network/Protocol/SessionCalls.h"

#include <utility>

namespace
{

constexpr int kPingTimeout = 1500;       // ms
constexpr int kDisconnectTimeout = 5000; // ms

// Either side can bring this about as often as it likes, by connecting again.
void logDisconnect(const NodeInfo& node)
{
    LOG_LIMITED(LOG_DEBUG()) << "Disconnect from host ..." << Base58::encode(node.id.bytes())
                             << node.address.toString() << node.port;
}

} // namespace

UserSocket::UserSocket(QSharedPointer<Socket> socket, const int160& id, const NodeInfo& peer, QObject* parent,
                       Clock clock)
    : RpcSocket(std::move(socket), id, parent, std::move(clock))
    , m_lastPingTime(now())
    , m_peer(peer)
{
    declareFunctions();
}

UserSocket::~UserSocket()
{
    disconnectFromHost();
}

void UserSocket::declareFunctions()
{
    declareFunction(SessionCalls::kDisconnectFromHost, [this](const QJsonObject&, const NodeInfo& caller) {
        return onDisconnectFromHost(caller);
    });
    declareFunction(SessionCalls::kPing, [this](const QJsonObject& request, const NodeInfo& caller) {
        return onPing(request, caller);
    });
}

bool UserSocket::isConnected() const
{
    return m_connected;
}

const NodeInfo& UserSocket::peer() const
{
    return m_peer;
}

qint64 UserSocket::roundTrip() const
{
    return m_roundTrip;
}

qint64 UserSocket::packetsLost() const
{
    return m_packetsLost;
}

void UserSocket::setPingInterval(int milliseconds)
{
    m_pingInterval = milliseconds;
}

void UserSocket::setMaximumMissedPings(int count)
{
    m_maximumMissedPings = count;
}

bool UserSocket::invoke(const QString& name, const QJsonObject& args, SuccessCallback success,
                        TimeoutCallback timeout, int timeoutMs)
{
    return RpcSocket::invoke(m_peer, name, args, std::move(success), std::move(timeout), timeoutMs);
}

void UserSocket::disconnectFromHost()
{
    if (!m_connected) {
        return;
    }
    logDisconnect(m_peer);
    invoke(SessionCalls::kDisconnectFromHost, {}, {}, {}, kDisconnectTimeout);
    endConnection();
}

void UserSocket::onTimeout()
{
    if (m_connected) {
        if (m_missedPings > m_maximumMissedPings) {
            LOG_DEBUG() << "The client is not responding. Disconnection";
            endConnection();
        } else if (m_lastPingTime < now() - m_pingInterval) {
            sendPing();
        }
    }
    RpcSocket::onTimeout();
}

void UserSocket::sendPing()
{
    m_lastPingTime = now();
    m_pingSentTime = m_lastPingTime;
    const QJsonObject args{{SessionCalls::kPacketCount, static_cast<qint64>(socket().sentPackets())}};
    const auto answered = [this](const QJsonObject&, const NodeInfo&) {
        m_roundTrip = now() - m_pingSentTime;
        m_missedPings = 0;
    };
    invoke(
        SessionCalls::kPing, args, answered, [this] { ++m_missedPings; }, kPingTimeout);
}

void UserSocket::endConnection()
{
    m_connected = false;
    emit disconnected();
}

void UserSocket::onAddressed(const QHostAddress& address, quint16 port)
{
    if (!m_proven && isPeersAddress(address, port)) {
        m_proven = true;
        emit proven();
    }
}

// An IPv4 address is the same one in its form of 128 bits.
bool UserSocket::isPeersAddress(const QHostAddress& address, quint16 port) const
{
    return port == m_peer.port && address.isEqual(m_peer.address, QHostAddress::ConvertV4MappedToIPv4);
}

bool UserSocket::isPeer(const NodeInfo& node) const
{
    return node.id == m_peer.id && isPeersAddress(node.address, node.port);
}

QJsonObject UserSocket::onPing(const QJsonObject& request, const NodeInfo& caller)
{
    if (!m_connected || !isPeer(caller)) {
        return {};
    }
    m_missedPings = 0;
    qint64 sentByPeer = 0;
    if (Json::toLongLong(request, SessionCalls::kPacketCount, sentByPeer)) {
        // Unsigned, since the peer may send any number at all.
        m_packetsLost = static_cast<qint64>(static_cast<quint64>(sentByPeer) - socket().receivedPackets());
        m_heardPing = true;
    }
    return {};
}

QJsonObject UserSocket::onDisconnectFromHost(const NodeInfo& caller)
{
    logDisconnect(caller);
    if (m_connected) {
        endConnection();
    }
    return {};
}
