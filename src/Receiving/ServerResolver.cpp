#include "Receiving/ServerResolver.h"

#include <QHostInfo>
#include <QTimer>

namespace
{

// After the first announcement, others that claim the same address are waited for: each server announces
// itself once a second.
constexpr int kOthers = 1200; // ms

} // namespace

ServerResolver::ServerResolver(QObject* parent)
    : QObject(parent)
    , m_timer(new QTimer(this))
{
    m_timer->setSingleShot(true);
    connect(m_timer, &QTimer::timeout, this, &ServerResolver::onListened);
    connect(&m_finder, &ServerFinder::found, this, &ServerResolver::onFound);
}

void ServerResolver::start(const ServerArgument& server, const QString& identificator, int listenMs)
{
    m_server = server;
    m_identificator = identificator;
    if (server.host.isEmpty()) {
        listen(listenMs);
    } else if (identificator.isEmpty()) {
        emit failed({Problem::IdentificatorMissing, {}, {}});
    } else {
        lookUp();
    }
}

void ServerResolver::listen(int listenMs)
{
    if (!m_finder.listen()) {
        emit failed({Problem::CanNotListen, m_finder.errorString(), {}});
        return;
    }
    m_timer->start(listenMs);
}

void ServerResolver::onFound(const ServerFinder::Server& server)
{
    if (server.announcement.id == m_server.id && m_timer->isActive() && m_timer->remainingTime() > kOthers) {
        m_timer->start(kOthers);
    }
}

void ServerResolver::onListened()
{
    std::optional<ServerFinder::Server> one;
    const QVector<ServerFinder::Server> servers = m_finder.servers();
    for (const ServerFinder::Server& server : servers) {
        if (server.announcement.id != m_server.id) {
            continue;
        }
        if (one) {
            emit failed({Problem::ClaimedTwice, one->address.toString(), server.address.toString()});
            return;
        }
        one = server;
    }
    if (!one) {
        emit failed({Problem::NotHeard, {}, {}});
    } else if (!m_identificator.isEmpty() && m_identificator != one->announcement.identificator) {
        emit failed({Problem::OtherIdentificator, one->announcement.identificator, {}});
    } else if (!one->announcement.isCompatible()) {
        emit failed({Problem::OtherVersion, QString::number(one->announcement.majorVersion), {}});
    } else {
        emit found({m_server.id, one->address, one->announcement.port, one->announcement.identificator});
    }
}

// An address is not looked up: that would ask a name server for its name.
void ServerResolver::lookUp()
{
    if (const QHostAddress address(m_server.host); !address.isNull()) {
        emit found({m_server.id, address, m_server.port, m_identificator});
        return;
    }
    QHostInfo::lookupHost(m_server.host, this, SLOT(onLookedUp(QHostInfo)));
}

void ServerResolver::onLookedUp(const QHostInfo& info)
{
    if (info.addresses().isEmpty()) {
        emit failed({Problem::UnknownHost, m_server.host, info.errorString()});
        return;
    }
    emit found({m_server.id, info.addresses().constFirst(), m_server.port, m_identificator});
}
