#include "Rendezvous/HolePunching.h"

#include "Network/Protocol/RendezvousCalls.h"

#include <QPointer>
#include <utility>

namespace
{

constexpr int kFirstTriesLeft = 10; // counted down to below zero: one call more than this
constexpr int kCallTimeout = 5000;  // ms

} // namespace

HolePunching::HolePunching(QSharedPointer<RpcSocket> rpcSocket, QObject* parent, int intervalMs)
    : QObject(parent)
    , m_timer(new QTimer(this))
    , m_rpcSocket(std::move(rpcSocket))
    , m_interval(intervalMs)
{
    connect(m_timer, &QTimer::timeout, this, &HolePunching::onTimeout);
    m_rpcSocket->declareFunction(RendezvousCalls::kProcessHolePunching,
                                 [](const QJsonObject&, const NodeInfo&) { return QJsonObject(); });
}

void HolePunching::start(const NodeInfo& node, const QString& identificator)
{
    m_triesLeft = kFirstTriesLeft;
    m_identificator = identificator;
    m_node = node;
    m_timer->start(m_interval);
}

void HolePunching::onTimeout()
{
    // The call may outlive this object in the RPC layer.
    const auto onReply = [self = QPointer<HolePunching>(this)](const QJsonObject&, const NodeInfo&) {
        if (self) {
            self->onReply();
        }
    };
    m_rpcSocket->invoke(m_node, RendezvousCalls::kProcessHolePunching, {}, onReply, {}, kCallTimeout);
    if (--m_triesLeft < 0) {
        stop();
        emit fail(m_node);
    }
}

void HolePunching::onReply()
{
    emit success(m_node, m_identificator);
    stop();
}

void HolePunching::stop()
{
    m_node = NodeInfo();
    m_timer->stop();
}
