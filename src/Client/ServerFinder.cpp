#include "Client/ServerFinder.h"

#include "Core/Log/Log.h"

#include <QTimer>
#include <QUdpSocket>
#include <algorithm>
#include <utility>

namespace
{

constexpr int kTick = 1000; // ms

} // namespace

ServerFinder::ServerFinder(QObject* parent, Clock clock)
    : QObject(parent)
    , m_clock(std::move(clock))
    , m_udp(new QUdpSocket(this))
    , m_timer(new QTimer(this))
{
    m_elapsed.start();
    if (!m_clock) {
        m_clock = [this] { return m_elapsed.elapsed(); };
    }
    connect(m_udp, &QUdpSocket::readyRead, this, &ServerFinder::onReadyRead);
    connect(m_timer, &QTimer::timeout, this, &ServerFinder::onTimeout);
    m_timer->start(kTick);
}

bool ServerFinder::listen(quint16 port)
{
    return m_udp->bind(QHostAddress::AnyIPv4, port, QUdpSocket::ShareAddress | QUdpSocket::ReuseAddressHint);
}

QString ServerFinder::errorString() const
{
    return m_udp->errorString();
}

QVector<ServerFinder::Server> ServerFinder::servers() const
{
    QVector<Server> servers;
    for (const Entry& entry : m_entries) {
        const Server server = toServer(entry);
        if (server.age <= kMaximumAge) {
            servers.append(server);
        }
    }
    return servers;
}

ServerFinder::Server ServerFinder::toServer(const Entry& entry) const
{
    return {entry.announcement, entry.address, m_clock() - entry.heard};
}

void ServerFinder::onReadyRead()
{
    // One read at least, even if nothing waits: only a read switches the notifier on again.
    do {
        QByteArray datagram(Announcement::kMaximumSize + 1, Qt::Uninitialized); // longer ones are cut to this
        QHostAddress address;
        const qint64 size = m_udp->readDatagram(datagram.data(), datagram.size(), &address);
        if (size < 0) {
            return;
        }
        datagram.truncate(static_cast<int>(size));
        receive(datagram, address);
    } while (m_udp->hasPendingDatagrams());
}

void ServerFinder::receive(const QByteArray& datagram, const QHostAddress& address)
{
    const auto announcement = Announcement::decode(datagram);
    if (!announcement) {
        if (m_refused++ == 0) {
            LOG_WARNING() << "What is no announcement comes from" << address.toString();
        }
        return;
    }
    const auto known = std::find_if(m_entries.begin(), m_entries.end(), [&](const Entry& entry) {
        return entry.announcement.id == announcement->id && entry.announcement.port == announcement->port &&
               entry.address == address;
    });
    const Entry entry{*announcement, address, m_clock()};
    if (known == m_entries.end()) {
        if (m_entries.size() < kMaximumServers) {
            m_entries.append(entry);
            emit found(toServer(entry));
        }
        return;
    }
    const bool isNews = known->announcement != *announcement || entry.heard - known->heard > kMaximumAge;
    *known = entry;
    if (isNews) {
        emit found(toServer(entry));
    }
}

void ServerFinder::onTimeout()
{
    QVector<Server> gone;
    for (int i = m_entries.size() - 1; i >= 0; --i) {
        const Server server = toServer(m_entries.at(i));
        if (server.age > kMaximumAge) {
            gone.prepend(server);
            m_entries.removeAt(i);
        }
    }
    for (const Server& server : gone) {
        emit lost(server);
    }
}
