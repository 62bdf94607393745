#include "ClientApplication/ServerResolver.h"

#include "ClientApplication/Commands/Text.h"

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
        emit failed(
            ExitCode::Usage,
            QStringLiteral("--identificator is missing: give the one that the server prints below its "
                           "address, for a wrong one would drive out whoever is connected"));
    } else {
        lookUp();
    }
}

void ServerResolver::listen(int listenMs)
{
    if (!m_finder.listen()) {
        emit failed(ExitCode::Failed, QStringLiteral("can't listen for servers: %1; name the server as "
                                                     "ADDRESS@HOST:PORT instead")
                                          .arg(m_finder.errorString()));
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
            emit failed(ExitCode::NotFound,
                        QStringLiteral("two servers claim this address, %1 and %2: name the right one as "
                                       "ADDRESS@HOST:PORT with --identificator")
                            .arg(one->address.toString(), server.address.toString()));
            return;
        }
        one = server;
    }
    if (!one) {
        emit failed(
            ExitCode::NotFound,
            QStringLiteral("no such server is heard on the local network: it is off, busy or elsewhere; "
                           "\"orvenlink-client list\" shows those that are free"));
    } else if (!m_identificator.isEmpty() && m_identificator != one->announcement.identificator) {
        emit failed(ExitCode::Usage,
                    QStringLiteral("the server's identificator is \"%1\", not the one given: leave "
                                   "--identificator out, or correct it")
                        .arg(Text::foreign(one->announcement.identificator)));
    } else if (!one->announcement.isCompatible()) {
        emit failed(ExitCode::Refused,
                    QStringLiteral("the server speaks version %1 of the protocol, which this "
                                   "client doesn't: bring the older of the two up to date")
                        .arg(one->announcement.majorVersion));
    } else {
        emit found({m_server.id, one->address, one->announcement.port, one->announcement.identificator});
    }
}

void ServerResolver::lookUp()
{
    QHostInfo::lookupHost(m_server.host, this, SLOT(onLookedUp(QHostInfo)));
}

void ServerResolver::onLookedUp(const QHostInfo& info)
{
    if (info.addresses().isEmpty()) {
        emit failed(ExitCode::NotFound, QStringLiteral("the host %1 is not known, %2: check the name and the "
                                                       "network of this machine")
                                            .arg(Text::foreign(m_server.host), info.errorString()));
        return;
    }
    emit found({m_server.id, info.addresses().constFirst(), m_server.port, m_identificator});
}
