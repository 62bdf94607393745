#include "Client/ClientSession.h"

#include "Client/PeerFilter.h"
#include "Client/SessionSocket.h"
#include "Core/Log/ForeignText.h"
#include "Core/Log/Log.h"
#include "Core/Log/LogLimiter.h"
#include "Network/Protocol/IqBlocks.h"
#include "Network/Protocol/SessionCalls.h"
#include "Network/Protocol/SpectrumPackets.h"
#include "Network/Socket/FFTSocket.h"
#include "Network/Socket/IQSocket.h"
#include "Network/Socket/Socket.h"

#include <QPointer>
#include <QTimer>
#include <utility>

namespace
{

constexpr int kHeartbeat = 1000; // ms

} // namespace

ClientSession::ClientSession(QObject* parent)
    : ClientSession(Timing(), parent)
{
}

ClientSession::ClientSession(Timing timing, QObject* parent)
    : QObject(parent)
    , m_timing(std::move(timing))
    , m_heartbeat(new QTimer(this))
    , m_connector(
          m_timing, [this](RpcSocket& rpc) { declareFunctions(rpc); }, this)
    , m_rate(m_settings, m_timing.ratePatience, this)
{
    connect(m_heartbeat, &QTimer::timeout, this, &ClientSession::onHeartbeat);
    m_heartbeat->start(kHeartbeat);
    connect(&m_connector, &Connector::waiting, this, &ClientSession::waiting);
    connect(&m_connector, &Connector::granted, this, &ClientSession::begin);
    connect(&m_connector, &Connector::refused, this, &ClientSession::onRefused);
    connect(&m_settings, &SessionSettings::spectrumRangeTaken, &m_spectrum, &SpectrumReceiver::setRange);
    connect(&m_device, &RemoteDevice::sampleRateChanged, &m_rate, &OutputRate::setReceiverRate);
}

ClientSession::~ClientSession()
{
    blockSignals(true);
    close();
}

bool ClientSession::open(const Target& target)
{
    if (target.id.isNull() || target.address.isNull() || target.port == 0 || !makeSocket()) {
        return false;
    }
    close();
    m_device.clear();
    m_iq.reset();
    m_spectrum.reset();
    m_rate.clear();
    setState(State::Connecting);
    m_connector.begin(m_socket, target);
    return true;
}

void ClientSession::close()
{
    m_connector.stop();
    if (m_state == State::Connected) {
        m_closing = true;
        m_user->disconnectFromHost();
        m_closing = false;
    } else {
        setState(State::Idle);
    }
}

void ClientSession::setReconnecting(bool reconnecting)
{
    m_reconnecting = reconnecting;
}

void ClientSession::setState(State state)
{
    if (state != m_state) {
        m_state = state;
        emit stateChanged(state);
    }
}

bool ClientSession::makeSocket()
{
    if (!m_socket) {
        auto socket = QSharedPointer<Socket>::create(nullptr);
        if (!socket->listen(0)) {
            return false;
        }
        m_socket = socket;
    }
    return true;
}

void ClientSession::onRefused(Connector::Refusal refusal, const QString& text)
{
    setState(State::Idle);
    emit refused(refusal, text);
}

// The server sends its streams from where its answer came from.
void ClientSession::begin(const Connector::Grant& grant)
{
    const NodeInfo& peer = grant.server;
    m_user = QSharedPointer<SessionSocket>::create(
        m_socket, grant.ownId, NodeInfo{grant.sessionId, peer.address, peer.port}, nullptr, m_timing.clock);
    m_user->skipNumbers(grant.calls);
    m_user->setPingInterval(m_timing.pingInterval);
    declareFunctions(*m_user);
    connect(m_user.data(), &UserSocket::disconnected, this, &ClientSession::onDisconnected);
    m_takenOver = false;
    m_warnedOfRate = false;
    m_lostAtFirstPing.reset();
    attachStreams(peer);
    m_socket->addSocket(m_user);
    m_settings.attach(m_user);
    m_rate.attach();
    m_device.attach(m_user, peer);
    setState(State::Connected);
    emit connected();
}

void ClientSession::declareFunctions(RpcSocket& rpc)
{
    const QPointer<ClientSession> self(this);
    const auto declare = [&rpc, self](const QString& name, auto take) {
        rpc.declareFunction(name, [self, take](const QJsonObject& request, const NodeInfo&) {
            if (self) {
                take(*self, request);
            }
            return QJsonObject();
        });
    };
    declare(SessionCalls::kAdminRequest,
            [](ClientSession& session, const QJsonObject&) { session.m_takenOver = true; });
    declare(SessionCalls::kErrorHappen, [](ClientSession& session, const QJsonObject& request) {
        const QString text = request.value(SessionCalls::kError).toString();
        emit session.deviceError(foreignText(text));
    });
    declare(SessionCalls::kOutSampleRateChanged,
            [](ClientSession& session, const QJsonObject& request) { session.onOutSampleRate(request); });
}

void ClientSession::attachStreams(const NodeInfo& peer)
{
    const auto iq = QSharedPointer<IQSocket>::create(m_socket);
    iq->setCallback([this](const QVector<qint16>& values) { m_iq.receive(values); });
    iq->setMaximumSamples(IqBlocks::kValues);
    const auto spectrum = QSharedPointer<FFTSocket>::create(m_socket);
    spectrum->setCallback([this](const QVector<qint16>& values) { m_spectrum.receive(values); });
    spectrum->setMaximumSamples(SpectrumPackets::kPacketPoints);
    m_streams = {QSharedPointer<PeerFilter>::create(iq, peer.address, peer.port),
                 QSharedPointer<PeerFilter>::create(spectrum, peer.address, peer.port)};
    for (const auto& stream : qAsConst(m_streams)) {
        m_socket->addSocket(stream);
    }
}

void ClientSession::leave()
{
    for (const auto& stream : qAsConst(m_streams)) {
        m_socket->removeSocket(stream);
    }
    m_streams.clear();
    m_socket->removeSocket(m_user);
    m_settings.detach();
    m_rate.detach();
    m_device.detach();
}

// The user socket stays until the next session's takes its place: this may be called from within it.
void ClientSession::onDisconnected()
{
    const bool isSilent = m_user->isPeerSilent();
    leave();
    End end = isSilent ? End::Silent : End::ByServer;
    if (m_closing) {
        end = End::Closed;
    } else if (m_takenOver) {
        end = End::TakenOver;
    }
    const bool isWanted = m_reconnecting && (end == End::Silent || end == End::ByServer);
    if (isWanted) {
        m_iq.interrupt();
        m_connector.beginAgain();
    }
    setState(isWanted ? State::Reconnecting : State::Idle);
    emit ended(end);
}

void ClientSession::onHeartbeat()
{
    LogLimiter::reportAll();
    if (m_state == State::Connected && !m_lostAtFirstPing && m_user->hasHeardPing()) {
        m_lostAtFirstPing = m_user->packetsLost();
    }
}

void ClientSession::onOutSampleRate(const QJsonObject& request)
{
    const QJsonValue value = request.value(SessionCalls::kOutSampleRate);
    const double rate = value.toDouble();
    if (!value.isDouble() || !m_rate.tell(rate)) {
        if (!std::exchange(m_warnedOfRate, true)) {
            LOG_WARNING() << "The server tells a sample rate that is none";
        }
        return;
    }
    m_iq.setSampleRate(rate);
    emit outSampleRateChanged(rate);
}

qint64 ClientSession::roundTrip() const
{
    return m_user ? m_user->roundTrip() : 0;
}

qint64 ClientSession::datagramsLost() const
{
    if (!m_user || !m_lostAtFirstPing) {
        return 0;
    }
    // Unsigned, since the peer may send any number at all.
    return qMax(0LL, static_cast<qint64>(static_cast<quint64>(m_user->packetsLost()) -
                                         static_cast<quint64>(*m_lostAtFirstPing)));
}

double ClientSession::receiveSpeed() const
{
    return m_socket ? m_socket->receiveSpeed() : 0.0;
}

double ClientSession::sendSpeed() const
{
    return m_socket ? m_socket->sendSpeed() : 0.0;
}
