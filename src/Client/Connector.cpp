#include "Client/Connector.h"

#include "Core/Log/ForeignText.h"
#include "Network/Protocol/ProtocolVersion.h"
#include "Network/Protocol/Replication.h"
#include "Network/Protocol/SessionCalls.h"
#include "Network/Socket/RpcSocket.h"

#include <QHash>
#include <QJsonObject>
#include <QPointer>
#include <utility>

namespace
{

Connector::Refusal refusalOf(const QString& text)
{
    static const QHash<QString, Connector::Refusal> kRefusals{
        {SessionCalls::kBusy, Connector::Refusal::Busy},
        {SessionCalls::kUnsupportedVersion, Connector::Refusal::UnsupportedVersion},
        {SessionCalls::kBadRequest, Connector::Refusal::BadRequest},
        {SessionCalls::kNoDevice, Connector::Refusal::NoDevice},
    };
    return kRefusals.value(text, Connector::Refusal::Other);
}

int160 newId()
{
    int160 id;
    while (id.isNull()) {
        id = int160::random();
    }
    return id;
}

} // namespace

Connector::Connector(const Timing& timing, Declare declare, QObject* parent)
    : QObject(parent)
    , m_timing(timing)
    , m_declare(std::move(declare))
{
    for (QTimer* timer : {&m_nextRound, &m_nextCall, &m_notice, &m_roundOver}) {
        timer->setSingleShot(true);
    }
    connect(&m_nextRound, &QTimer::timeout, this, &Connector::startRound);
    connect(&m_nextCall, &QTimer::timeout, this, &Connector::ask);
    connect(&m_notice, &QTimer::timeout, this, &Connector::waiting);
    connect(&m_roundOver, &QTimer::timeout, this, &Connector::onRoundOver);
}

Connector::~Connector()
{
    drop();
}

void Connector::begin(const QSharedPointer<Socket>& socket, const Target& target)
{
    m_socket = socket;
    m_target = target;
    m_isAgain = false;
    m_notice.start(m_timing.notice);
    m_nextRound.start(0);
}

void Connector::beginAgain()
{
    m_isAgain = true;
    m_nextRound.start(m_timing.pause);
}

void Connector::stop()
{
    m_nextRound.stop();
    drop();
}

// Ends the round.
void Connector::drop()
{
    for (QTimer* timer : {&m_nextCall, &m_notice, &m_roundOver}) {
        timer->stop();
    }
    if (m_rpc) {
        m_socket->removeSocket(m_rpc);
        m_rpc.clear();
    }
}

void Connector::startRound()
{
    m_rpc = QSharedPointer<RpcSocket>::create(m_socket, newId(), nullptr);
    m_declare(*m_rpc);
    // Properties change as soon as the device starts, before the answer leaves; the set that is asked for
    // then holds them.
    m_rpc->declareFunction(Replication::kPropertyChanged + Replication::kReceiver, {});
    const QPointer<Connector> self(this);
    m_rpc->declareFunction(SessionCalls::kPing, [self](const QJsonObject&, const NodeInfo& session) {
        if (self) {
            self->onPing(session);
        }
        return QJsonObject();
    });
    m_socket->addSocket(m_rpc);
    m_calls = 0;
    m_busyText.clear();
    m_roundOver.start(m_timing.patience);
    ask();
}

void Connector::ask()
{
    const QPointer<Connector> self(this);
    const bool isFirst = ++m_calls == 1;
    m_rpc->invoke(
        {m_target.id, m_target.address, m_target.port}, SessionCalls::kConnectToHost,
        {{SessionCalls::kMajorVersion, ProtocolVersion::kMajor},
         {SessionCalls::kMinorVersion, ProtocolVersion::kMinor},
         {SessionCalls::kIdentificator, m_target.identificator}},
        [self, rpc = m_rpc.toWeakRef(), isFirst](const QJsonObject& reply, const NodeInfo& peer) {
            if (self && self->m_rpc && self->m_rpc == rpc) {
                self->onAnswer(reply, peer, isFirst);
            }
        },
        {}, m_timing.patience);
    m_nextCall.start(m_timing.repeat);
}

void Connector::onAnswer(const QJsonObject& reply, const NodeInfo& peer, bool isToTheFirst)
{
    const QJsonValue refusal = reply.value(SessionCalls::kError);
    const int160 sessionId(reply.value(SessionCalls::kSessionId).toString());
    if (refusal.isString()) {
        onRefusal(refusal.toString(), isToTheFirst);
    } else if (peer.id == m_target.id && sessionId.bytes().size() == int160::kSize) {
        grant(sessionId, peer);
    } else {
        giveUp(Refusal::BadAnswer, {});
    }
}

void Connector::onRefusal(const QString& text, bool isToTheFirst)
{
    const Refusal refusal = refusalOf(text);
    if (refusal == Refusal::Busy && !isToTheFirst) {
        m_busyText = text; // maybe with this client, whom an earlier call has let in
    } else if (refusal == Refusal::Busy && m_isAgain) {
        drop();
        m_nextRound.start(m_timing.pause);
    } else {
        giveUp(refusal, foreignText(text));
    }
}

// Only the server that has let this client in knows its id.
void Connector::onPing(const NodeInfo& session)
{
    if (m_rpc) {
        grant(session.id, {m_target.id, session.address, session.port});
    }
}

void Connector::onRoundOver()
{
    if (m_isAgain) {
        drop();
        startRound();
    } else if (m_busyText.isEmpty()) {
        giveUp(Refusal::NoAnswer, {});
    } else {
        giveUp(Refusal::Busy, foreignText(m_busyText));
    }
}

void Connector::grant(const int160& sessionId, const NodeInfo& server)
{
    const Grant grant{m_rpc->id(), sessionId, server, m_calls};
    drop();
    emit granted(grant);
}

void Connector::giveUp(Refusal refusal, const QString& text)
{
    drop();
    emit refused(refusal, text);
}
