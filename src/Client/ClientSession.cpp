#include "Client/ClientSession.h"

#include "Client/ForeignText.h"
#include "Client/PeerFilter.h"
#include "Client/SessionSocket.h"
#include "Core/Log/Log.h"
#include "Core/Log/LogLimiter.h"
#include "Network/Data/ProtocolVersion.h"
#include "Network/Socket/FFTSocket.h"
#include "Network/Socket/IQSocket.h"
#include "Network/Socket/Socket.h"

#include <QPointer>
#include <QTimer>
#include <array>
#include <cmath>
#include <utility>

namespace
{

constexpr int kHeartbeat = 1000;           // ms
constexpr double kMaximumRate = 1e9;       // Hz, far above any receiver's
constexpr double kMaximumFrequency = 1e12; // Hz
constexpr int kMaximumText = 200;          // characters

// What a server says when it lets nobody in.
struct RefusalText
{
    const char* text;
    ClientSession::Refusal refusal;
};
constexpr std::array<RefusalText, 4> kRefusals{{
    {"Server busy!", ClientSession::Refusal::Busy},
    {"Unsupported version protocol!", ClientSession::Refusal::UnsupportedVersion},
    {"Error get client packet values!", ClientSession::Refusal::BadRequest},
    {"Error factory RadioDevice!", ClientSession::Refusal::NoDevice},
}};

ClientSession::Refusal refusalOf(const QString& text)
{
    for (const RefusalText& row : kRefusals) {
        if (text == QLatin1String(row.text)) {
            return row.refusal;
        }
    }
    return ClientSession::Refusal::Other;
}

int160 newId()
{
    int160 id;
    while (id.isNull()) {
        id = int160::random();
    }
    return id;
}

bool isFrequency(double hertz)
{
    return std::isfinite(hertz) && std::abs(hertz) <= kMaximumFrequency;
}

} // namespace

ClientSession::ClientSession(QObject* parent)
    : ClientSession(Timing(), parent)
{
}

ClientSession::ClientSession(Timing timing, QObject* parent)
    : QObject(parent)
    , m_timing(std::move(timing))
    , m_retry(new QTimer(this))
    , m_heartbeat(new QTimer(this))
    , m_offset(QStringLiteral("setIF"))
    , m_bandwidth(QStringLiteral("setupDspH"))
    , m_spectrumRange(QStringLiteral("fft_data_range"))
{
    m_retry->setSingleShot(true);
    connect(m_retry, &QTimer::timeout, this, &ClientSession::attempt);
    connect(m_heartbeat, &QTimer::timeout, this, &ClientSession::onHeartbeat);
    m_heartbeat->start(kHeartbeat);
    connect(&m_spectrumRange, &SettingSender::taken, this, [this] { m_spectrum.setRange(m_wantedRange); });
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
    m_target = target;
    m_device.clear();
    m_iq.reset();
    m_spectrum.reset();
    m_outSampleRate.reset();
    m_unanswered = false;
    m_connectingSince = m_timing.clock();
    setState(State::Connecting);
    tryAgain(0);
    return true;
}

void ClientSession::close()
{
    m_retry->stop();
    dropConnector();
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

void ClientSession::tryAgain(int delayMs)
{
    m_retry->start(delayMs);
}

void ClientSession::attempt()
{
    dropConnector();
    m_connector = QSharedPointer<RpcSocket>::create(m_socket, newId(), nullptr, m_timing.clock);
    declareFunctions(*m_connector);
    // Properties change as soon as the device starts, before the answer leaves; the set that is asked for
    // then holds them. A session whose answer got lost is not to be kept alive.
    m_connector->declareFunction(QStringLiteral("pc_rrd"), {});
    m_connector->declareFunction(QStringLiteral("ping"), {});
    m_socket->addSocket(m_connector);

    const QPointer<ClientSession> self(this);
    const auto isCurrent = [self, connector = m_connector.toWeakRef()] {
        return self && self->m_connector && self->m_connector == connector;
    };
    m_connector->invoke(
        {m_target.id, m_target.address, m_target.port}, QStringLiteral("connect_to_host"),
        {{QStringLiteral("vma"), ProtocolVersion::kMajor},
         {QStringLiteral("vmi"), ProtocolVersion::kMinor},
         {QStringLiteral("identificator"), m_target.identificator}},
        [self, isCurrent](const QJsonObject& reply, const NodeInfo& peer) {
            if (isCurrent()) {
                self->onAnswer(reply, peer);
            }
        },
        [self, isCurrent] {
            if (isCurrent()) {
                self->onNoAnswer();
            }
        },
        m_timing.attempt);
}

void ClientSession::dropConnector()
{
    if (m_connector) {
        m_socket->removeSocket(m_connector);
        m_connector.clear();
    }
}

qint64 ClientSession::waited() const
{
    return m_timing.clock() - m_connectingSince;
}

void ClientSession::onAnswer(const QJsonObject& reply, const NodeInfo& peer)
{
    const QJsonValue refusal = reply.value(QStringLiteral("err"));
    const int160 sessionId(reply.value(QStringLiteral("session_id")).toString());
    if (refusal.isString()) {
        onRefusal(refusal.toString());
    } else if (peer.id == m_target.id && sessionId.bytes().size() == int160::kSize) {
        begin(sessionId, peer);
    } else {
        giveUp(Refusal::BadAnswer, {});
    }
}

void ClientSession::onNoAnswer()
{
    m_unanswered = true;
    if (m_state == State::Reconnecting || waited() < m_timing.patience) {
        tryAgain(0);
    } else {
        giveUp(Refusal::NoAnswer, {});
    }
}

void ClientSession::onRefusal(const QString& text)
{
    const Refusal refusal = refusalOf(text);
    const bool isOwnDoing = m_unanswered && waited() < m_timing.busyPatience;
    if (refusal == Refusal::Busy && (m_state == State::Reconnecting || isOwnDoing)) {
        tryAgain(m_timing.pause);
    } else {
        giveUp(refusal, foreignText(text, kMaximumText));
    }
}

void ClientSession::giveUp(Refusal refusal, const QString& text)
{
    dropConnector();
    setState(State::Idle);
    emit refused(refusal, text);
}

// The peer is the server as the answer came from it: one with several addresses may answer from another one,
// and sends its streams from there as well.
void ClientSession::begin(const int160& sessionId, const NodeInfo& peer)
{
    const int160 ownId = m_connector->id();
    dropConnector();
    m_user = QSharedPointer<SessionSocket>::create(
        m_socket, ownId, NodeInfo{sessionId, peer.address, peer.port}, nullptr, m_timing.clock);
    m_user->setPingInterval(m_timing.pingInterval);
    declareFunctions(*m_user);
    connect(m_user.data(), &UserSocket::disconnected, this, &ClientSession::onDisconnected);
    m_takenOver = false;
    m_warnedOfRate = false;
    m_lostAtFirstPing.reset();
    attachStreams(peer);
    m_socket->addSocket(m_user);
    m_offset.attach(m_user);
    m_bandwidth.attach(m_user);
    m_spectrumRange.attach(m_user);
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
    declare(QStringLiteral("admin_request"),
            [](ClientSession& session, const QJsonObject&) { session.m_takenOver = true; });
    declare(QStringLiteral("error_happen"), [](ClientSession& session, const QJsonObject& request) {
        const QString text = request.value(QStringLiteral("err")).toString();
        emit session.deviceError(foreignText(text, kMaximumText));
    });
    declare(QStringLiteral("outSampleRateChanged"),
            [](ClientSession& session, const QJsonObject& request) { session.onOutSampleRate(request); });
}

void ClientSession::attachStreams(const NodeInfo& peer)
{
    const auto iq = QSharedPointer<IQSocket>::create(m_socket);
    iq->setCallback([this](const QVector<qint16>& values) { m_iq.receive(values); });
    const auto spectrum = QSharedPointer<FFTSocket>::create(m_socket);
    spectrum->setCallback([this](const QVector<qint16>& values) { m_spectrum.receive(values); });
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
    m_offset.detach();
    m_bandwidth.detach();
    m_spectrumRange.detach();
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
        m_unanswered = false;
        m_connectingSince = m_timing.clock();
        tryAgain(m_timing.pause);
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
    const QJsonValue value = request.value(QStringLiteral("outSampleRate"));
    const double rate = value.toDouble();
    if (!value.isDouble() || !std::isfinite(rate) || rate <= 0.0 || rate > kMaximumRate) {
        if (!std::exchange(m_warnedOfRate, true)) {
            LOG_WARNING() << "The server tells a sample rate that is none";
        }
        return;
    }
    m_outSampleRate = rate;
    m_iq.setSampleRate(rate);
    emit outSampleRateChanged(rate);
}

bool ClientSession::setOffset(double hertz)
{
    if (!isFrequency(hertz)) {
        return false;
    }
    m_offset.set({{QStringLiteral("IF"), hertz}});
    return true;
}

bool ClientSession::setBandwidth(double preferred, double aliasFree)
{
    if (!isFrequency(preferred) || !isFrequency(aliasFree) || preferred <= 0.0 || aliasFree <= 0.0) {
        return false;
    }
    m_bandwidth.set({{QStringLiteral("prefBandWidth"), preferred}, {QStringLiteral("aliasFree"), aliasFree}});
    return true;
}

bool ClientSession::setSpectrumRange(const SpectrumRange& range)
{
    if (!range.isValid()) {
        return false;
    }
    m_wantedRange = range;
    m_spectrumRange.set({{QStringLiteral("startIndex"), range.startIndex},
                         {QStringLiteral("stopIndex"), range.stopIndex},
                         {QStringLiteral("dataSize"), range.dataSize},
                         {QStringLiteral("fftSize"), range.fftSize}});
    return true;
}

qint64 ClientSession::roundTrip() const
{
    return m_user ? m_user->roundTrip() : 0;
}

qint64 ClientSession::datagramsLost() const
{
    return m_user && m_lostAtFirstPing ? qMax(0LL, m_user->packetsLost() - *m_lostAtFirstPing) : 0;
}

double ClientSession::receiveSpeed() const
{
    return m_socket ? m_socket->receiveSpeed() : 0.0;
}

double ClientSession::sendSpeed() const
{
    return m_socket ? m_socket->sendSpeed() : 0.0;
}
