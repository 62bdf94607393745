#include "Client/Connector.h"

#include "Client/ForeignText.h"
#include "Network/Data/ProtocolVersion.h"
#include "Network/Socket/RpcSocket.h"

#include <QJsonObject>
#include <QPointer>
#include <QTimer>
#include <array>
#include <utility>

namespace
{

// What a server says when it lets nobody in.
struct RefusalText
{
    const char* text;
    Connector::Refusal refusal;
};
constexpr std::array<RefusalText, 4> kRefusals{{
    {"Server busy!", Connector::Refusal::Busy},
    {"Unsupported version protocol!", Connector::Refusal::UnsupportedVersion},
    {"Error get client packet values!", Connector::Refusal::BadRequest},
    {"Error factory RadioDevice!", Connector::Refusal::NoDevice},
}};

Connector::Refusal refusalOf(const QString& text)
{
    for (const RefusalText& row : kRefusals) {
        if (text == QLatin1String(row.text)) {
            return row.refusal;
        }
    }
    return Connector::Refusal::Other;
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
    , m_next(new QTimer(this))
{
    m_next->setSingleShot(true);
    connect(m_next, &QTimer::timeout, this, &Connector::ask);
}

Connector::~Connector()
{
    drop();
}

void Connector::begin(const QSharedPointer<Socket>& socket, const Target& target)
{
    m_socket = socket;
    m_target = target;
    start(false, 0);
}

void Connector::beginAgain()
{
    start(true, m_timing.pause);
}

void Connector::start(bool isAgain, int delayMs)
{
    m_isAgain = isAgain;
    m_unanswered = false;
    m_since = m_timing.clock();
    m_next->start(delayMs);
}

void Connector::stop()
{
    m_next->stop();
    drop();
}

void Connector::drop()
{
    if (m_rpc) {
        m_socket->removeSocket(m_rpc);
        m_rpc.clear();
    }
}

void Connector::ask()
{
    drop();
    m_rpc = QSharedPointer<RpcSocket>::create(m_socket, newId(), nullptr, m_timing.clock);
    m_declare(*m_rpc);
    // Properties change as soon as the device starts, before the answer leaves; the set that is asked for
    // then holds them. A session whose answer got lost is not to be kept alive.
    m_rpc->declareFunction(QStringLiteral("pc_rrd"), {});
    m_rpc->declareFunction(QStringLiteral("ping"), {});
    m_socket->addSocket(m_rpc);

    const QPointer<Connector> self(this);
    const auto isCurrent = [self, rpc = m_rpc.toWeakRef()] {
        return self && self->m_rpc && self->m_rpc == rpc;
    };
    m_rpc->invoke(
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

qint64 Connector::waited() const
{
    return m_timing.clock() - m_since;
}

void Connector::onAnswer(const QJsonObject& reply, const NodeInfo& peer)
{
    const QJsonValue refusal = reply.value(QStringLiteral("err"));
    const int160 sessionId(reply.value(QStringLiteral("session_id")).toString());
    if (refusal.isString()) {
        onRefusal(refusal.toString());
    } else if (peer.id == m_target.id && sessionId.bytes().size() == int160::kSize) {
        const Grant grant{m_rpc->id(), sessionId, peer};
        drop();
        emit granted(grant);
    } else {
        giveUp(Refusal::BadAnswer, {});
    }
}

void Connector::onNoAnswer()
{
    m_unanswered = true;
    if (m_isAgain || waited() < m_timing.patience) {
        m_next->start(0);
    } else {
        giveUp(Refusal::NoAnswer, {});
    }
}

void Connector::onRefusal(const QString& text)
{
    const Refusal refusal = refusalOf(text);
    const bool isOwnDoing = m_unanswered && waited() < m_timing.busyPatience;
    if (refusal == Refusal::Busy && (m_isAgain || isOwnDoing)) {
        m_next->start(m_timing.pause);
    } else {
        giveUp(refusal, foreignText(text));
    }
}

void Connector::giveUp(Refusal refusal, const QString& text)
{
    drop();
    emit refused(refusal, text);
}
