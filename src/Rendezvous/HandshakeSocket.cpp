#include "Rendezvous/HandshakeSocket.h"

#include "Core/Log/Log.h"
#include "Core/Log/LogLimiter.h"
#include "Network/Data/Base58.h"
#include "Network/Data/Json.h"
#include "Network/Protocol/RendezvousCalls.h"
#include "Rendezvous/RendezvousServer.h"

#include <QPointer>
#include <optional>
#include <utility>

namespace
{

constexpr int kFirstTriesLeft = 6;
constexpr qint64 kAttemptLimit = 6000;  // ms
constexpr qint64 kPingInterval = 60000; // ms
constexpr int kPingTimeout = 2000;      // ms
constexpr quint32 kMaximumMissedPings = 6;
constexpr int kCallTimeout = 5000; // ms

// The readers of text take an absent key for an empty one.
bool hasText(const QJsonObject& request, const QString& key)
{
    if (Json::contains(request, key)) {
        return true;
    }
    LOG_LIMITED(LOG_WARNING()) << QStringLiteral("Error parse QJsonObject - no %1 key!").arg(key);
    return false;
}

// The node that a request names; nothing if it names none.
std::optional<NodeInfo> readNode(const QJsonObject& request)
{
    NodeInfo node;
    if (!hasText(request, RendezvousCalls::kId) || !hasText(request, RendezvousCalls::kAddress) ||
        !Json::toUInt16(request, RendezvousCalls::kPort, node.port)) {
        return std::nullopt;
    }
    Json::toNodeId(request, RendezvousCalls::kId, node.id);
    Json::toHostAddress(request, RendezvousCalls::kAddress, node.address);
    if (node.id.isNull() || node.address.isNull() || node.port == 0) {
        return std::nullopt;
    }
    return node;
}

} // namespace

quint16 HandshakeSocket::masterPort()
{
    return RendezvousServer::kPort;
}

int160 HandshakeSocket::masterId()
{
    return int160(QString::fromLatin1(RendezvousServer::kId));
}

QVector<NodeInfo> HandshakeSocket::defaultMasters()
{
    const QHostAddress address(QString::fromLatin1(RendezvousServer::kAddress));
    return {{masterId(), address, masterPort()}};
}

HandshakeSocket::HandshakeSocket(QSharedPointer<RpcSocket> rpcSocket, const QVector<NodeInfo>& masters,
                                 bool listening, QObject* parent, std::function<qint64()> clock)
    : QObject(parent)
    , m_rpcSocket(std::move(rpcSocket))
    , m_masters(masters)
    , m_listening(listening)
    , m_clock(std::move(clock))
{
    declareFunctions();
    m_master = nearestMaster(m_rpcSocket->id());
}

// The handlers and callbacks given to the RPC layer may outlive this object: each checks first.
void HandshakeSocket::declareFunctions()
{
    using Take = void (HandshakeSocket::*)(const QJsonObject&, const NodeInfo&);
    const auto declare = [this](const QString& name, Take take) {
        m_rpcSocket->declareFunction(name, [self = QPointer<HandshakeSocket>(this),
                                            take](const QJsonObject& request, const NodeInfo& caller) {
            if (self) {
                (self->*take)(request, caller);
            }
            return QJsonObject();
        });
    };
    declare(RendezvousCalls::kHolePunching, &HandshakeSocket::onHolePunching);
    declare(RendezvousCalls::kRequestHolePunching, &HandshakeSocket::onRequestHolePunching);
    declare(RendezvousCalls::kMasterPing, &HandshakeSocket::onMasterPing);
    declare(RendezvousCalls::kDrop, &HandshakeSocket::onDrop);
}

// The first of the nearest ones; a default node if there is none.
NodeInfo HandshakeSocket::nearestMaster(const int160& id) const
{
    NodeInfo nearest;
    int160 best = int160::highest();
    for (const NodeInfo& master : m_masters) {
        const int160 distance = master.id ^ id;
        if (best > distance) {
            nearest = master;
            best = distance;
        }
    }
    return nearest;
}

void HandshakeSocket::start(const NodeInfo& node)
{
    LOG_LIMITED(LOG_DEBUG()) << "Try hole punching ..." << Base58::encode(node.id.bytes())
                             << node.address.toString() << node.port;
    m_punching = true;
    m_triesLeft = kFirstTriesLeft;
    m_punchingStarted = m_clock();
    m_target = node;
    if (m_listening || m_masters.isEmpty()) {
        return;
    }
    m_rpcSocket->invoke(nearestMaster(node.id), RendezvousCalls::kRequestHolePunching,
                        {{RendezvousCalls::kId, node.id.toString()},
                         {RendezvousCalls::kAddress, node.address.toString()},
                         {RendezvousCalls::kPort, node.port}},
                        {}, {}, kCallTimeout);
}

void HandshakeSocket::timeout()
{
    if (m_triesLeft >= 0) {
        --m_triesLeft;
        callHolePunching();
    }
    if (m_punching && m_clock() - m_punchingStarted > kAttemptLimit) {
        endAttempt();
        LOG_LIMITED(LOG_DEBUG()) << "Fail hole punching ...";
        emit failHandshake();
    }
    if (m_listening && !m_master.id.isNull() && m_active) {
        keepLink();
    }
}

void HandshakeSocket::keepLink()
{
    if (m_missedPings >= kMaximumMissedPings) {
        m_master = NodeInfo();
        LOG_DEBUG() << "The handshake server is not responding!";
    } else if (!m_lastPing || m_clock() - *m_lastPing > kPingInterval) {
        masterPing();
    }
}

void HandshakeSocket::masterPing()
{
    m_lastPing = m_clock();
    const QPointer<HandshakeSocket> self(this);
    const auto answered = [self](const QJsonObject&, const NodeInfo&) {
        if (self) {
            self->onMasterPingReply();
        }
    };
    const auto expired = [self] {
        if (self) {
            ++self->m_missedPings;
        }
    };
    m_rpcSocket->invoke(m_master, RendezvousCalls::kMasterPing, {}, answered, expired, kPingTimeout);
}

void HandshakeSocket::callHolePunching()
{
    const auto answered = [self = QPointer<HandshakeSocket>(this)](const QJsonObject&, const NodeInfo& peer) {
        if (self) {
            self->onHolePunchingReply(peer);
        }
    };
    m_rpcSocket->invoke(m_target, RendezvousCalls::kHolePunching, {}, answered, {}, kCallTimeout);
}

void HandshakeSocket::setActive(bool active)
{
    m_active = active;
    if (m_master.id.isNull()) {
        return;
    }
    if (active) {
        m_missedPings = 0;
        m_lastPing.reset();
    } else {
        m_rpcSocket->invoke(m_master, RendezvousCalls::kForget, {}, {}, {}, kCallTimeout);
    }
}

bool HandshakeSocket::isActive() const
{
    return m_active;
}

bool HandshakeSocket::isTrying() const
{
    return m_triesLeft > 0;
}

void HandshakeSocket::endAttempt()
{
    m_punching = false;
    m_triesLeft = -1;
    m_target = NodeInfo();
}

void HandshakeSocket::onHolePunching(const QJsonObject& /*request*/, const NodeInfo& caller)
{
    // A target only counts while there is one: an idle object's is all zeros, which anyone may call himself.
    if (!m_active || !m_punching || caller != m_target) {
        return;
    }
    LOG_LIMITED(LOG_DEBUG()) << "Success hole punching!";
    endAttempt();
    emit successHandshake(caller);
}

void HandshakeSocket::onHolePunchingReply(const NodeInfo& peer)
{
    if (!m_punching || peer != m_target) {
        return;
    }
    LOG_LIMITED(LOG_DEBUG()) << "Success hole punchingss!";
    endAttempt();
    emit successHandshake(peer);
}

void HandshakeSocket::onRequestHolePunching(const QJsonObject& request, const NodeInfo& /*caller*/)
{
    if (!m_listening || m_triesLeft >= 1) {
        return;
    }
    if (const auto node = readNode(request)) {
        start(*node);
    }
}

void HandshakeSocket::onMasterPing(const QJsonObject& /*request*/, const NodeInfo& /*caller*/)
{
    m_missedPings = 0;
    m_lastPing = m_clock();
}

void HandshakeSocket::onMasterPingReply()
{
    m_missedPings = 0;
    if (!m_connected) {
        m_connected = true;
        LOG_DEBUG() << "Success connected to the handshake server";
    }
}

void HandshakeSocket::onDrop(const QJsonObject& /*request*/, const NodeInfo& caller)
{
    if (caller == m_master) {
        m_master = NodeInfo();
        LOG_LIMITED(LOG_DEBUG()) << "Handshake server dropped connection!";
    }
}
