#include "Rendezvous/PingActiveConnection.h"

#include "Core/Log/Log.h"
#include "Core/Log/LogLimiter.h"
#include "Core/Process/Version.h"
#include "Network/Data/Json.h"
#include "Network/Protocol/RendezvousCalls.h"
#include "Rendezvous/HolePunching.h"

#include <QPointer>
#include <utility>

namespace
{

constexpr int kBurst = 8;             // announcements
constexpr int kSlowInterval = 70'000; // ms; the rendezvous server may change it
constexpr int kCallTimeout = 5000;    // ms

} // namespace

PingActiveConnection::PingActiveConnection(const NodeInfo& handshakeNode, quint16 localPort,
                                           const int160& /*id*/, QSharedPointer<RpcSocket> rpcSocket,
                                           int deviceType, QObject* parent, std::function<qint64()> clock)
    : QObject(parent)
    , m_localPort(localPort)
    , m_rpcSocket(std::move(rpcSocket))
    , m_handshakeNode(handshakeNode)
    , m_slowInterval(kSlowInterval)
    , m_deviceType(deviceType)
    , m_holePunching(new HolePunching(m_rpcSocket, this))
    , m_clock(std::move(clock))
{
    declareFunctions();
    connect(m_holePunching, &HolePunching::fail, this, &PingActiveConnection::onFail, Qt::DirectConnection);
    connect(m_holePunching, &HolePunching::success, this, &PingActiveConnection::onSuccess,
            Qt::DirectConnection);
}

PingActiveConnection::~PingActiveConnection()
{
    drop();
}

// The handlers and callbacks given to the RPC layer may outlive this object: each checks first.
void PingActiveConnection::declareFunctions()
{
    const QPointer<PingActiveConnection> self(this);
    m_rpcSocket->declareFunction(RendezvousCalls::kDropClient, [self](const QJsonObject&, const NodeInfo&) {
        return self ? self->onDropClient() : QJsonObject();
    });
    m_rpcSocket->declareFunction(RendezvousCalls::kSetTimeoutTimerPing,
                                 [self](const QJsonObject& request, const NodeInfo&) {
                                     return self ? self->onSetTimeoutTimerPing(request) : QJsonObject();
                                 });
}

void PingActiveConnection::timeout()
{
    if (m_dropped) {
        return;
    }
    if (m_fastCounter < kBurst) {
        ++m_fastCounter;
        newServer({}, {});
        return;
    }
    const qint64 now = m_clock();
    if (m_lastSlowAnnouncement && now - *m_lastSlowAnnouncement <= m_slowInterval) {
        return;
    }
    m_lastSlowAnnouncement = now;
    ++m_fastCounter;
    const QPointer<PingActiveConnection> self(this);
    newServer(
        [self](const QJsonObject& reply, const NodeInfo&) {
            if (self) {
                self->onNewServerReply(reply);
            }
        },
        [self] {
            if (self) {
                self->onNewServerTimeout();
            }
        });
}

void PingActiveConnection::busy()
{
    m_rpcSocket->invoke(m_handshakeNode, RendezvousCalls::kBusy, {}, {}, {}, kCallTimeout);
}

void PingActiveConnection::drop()
{
    m_rpcSocket->invoke(m_handshakeNode, RendezvousCalls::kDrop, {}, {}, {}, kCallTimeout);
}

void PingActiveConnection::resetCounter()
{
    m_fastCounter = 0;
}

void PingActiveConnection::newServer(const RpcSocket::SuccessCallback& success,
                                     const RpcSocket::TimeoutCallback& timeout)
{
    const QJsonObject announcement{
        {RendezvousCalls::kPort, static_cast<int>(m_localPort)},
        {RendezvousCalls::kMajorVersion, QString(Version::kMajor)},
        {RendezvousCalls::kMinorVersion, QString(Version::kMinor)},
        {RendezvousCalls::kDeviceType, m_deviceType},
    };
    m_rpcSocket->invoke(m_handshakeNode, RendezvousCalls::kNewServer, announcement, success, timeout,
                        kCallTimeout);
}

void PingActiveConnection::onNewServerReply(const QJsonObject& reply)
{
    NodeInfo client;
    if (Json::containsAll(reply, {RendezvousCalls::kCallerId, RendezvousCalls::kCallerAddress,
                                  RendezvousCalls::kCallerPort}) &&
        Json::toNodeId(reply, RendezvousCalls::kCallerId, client.id) &&
        Json::toHostAddress(reply, RendezvousCalls::kCallerAddress, client.address) &&
        Json::toUInt16(reply, RendezvousCalls::kCallerPort, client.port)) {
        m_holePunching->start(client, {});
    }
}

void PingActiveConnection::onNewServerTimeout()
{
    LOG_DEBUG() << "Handshake server is not responding! Check internet connection";
}

QJsonObject PingActiveConnection::onDropClient()
{
    LOG_LIMITED(LOG_DEBUG()) << "Handshake server dropped connection!";
    m_dropped = true;
    return {};
}

QJsonObject PingActiveConnection::onSetTimeoutTimerPing(const QJsonObject& request)
{
    int interval = 0; // ms
    if (Json::toInt(request, RendezvousCalls::kInterval, interval)) {
        LOG_LIMITED(LOG_DEBUG()) << "Set timeout timer .." << interval;
        m_slowInterval = interval;
    }
    return {};
}
