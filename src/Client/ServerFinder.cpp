#include "Client/ServerFinder.h"

#include "Core/Log/Log.h"

#include <QTimer>
#include <QUdpSocket>
#include <algorithm>
#include <utility>

namespace
{

constexpr int kTick = 1000;       // ms
constexpr int kReadsPerTurn = 64; // datagrams

// Whether one of these announces the same.
template <typename Iterator>
bool isAnnounced(Iterator begin, Iterator end, const Announcement& announcement)
{
    return std::any_of(begin, end,
                       [&announcement](const auto& entry) { return entry.announcement == announcement; });
}

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
        if (!isOld(entry) && !isAnnounced(servers.cbegin(), servers.cend(), entry.announcement)) {
            servers.append(toServer(entry));
        }
    }
    return servers;
}

bool ServerFinder::isOld(const Entry& entry) const
{
    return m_clock() - entry.heard > kMaximumAge;
}

ServerFinder::Server ServerFinder::toServer(const Entry& entry) const
{
    return {entry.announcement, entry.address, m_clock() - entry.heard};
}

void ServerFinder::onReadyRead()
{
    // One read at least, even if nothing waits: only a read switches the notifier on again. What still waits
    // after the last one calls back, once the timers have had their turn.
    for (int i = 0; i < kReadsPerTurn; ++i) {
        QByteArray datagram(Announcement::kMaximumSize + 1, Qt::Uninitialized); // longer ones are cut to this
        QHostAddress address;
        const qint64 size = m_udp->readDatagram(datagram.data(), datagram.size(), &address);
        if (size < 0) {
            return;
        }
        datagram.truncate(static_cast<int>(size));
        receive(datagram, address);
        if (!m_udp->hasPendingDatagrams()) {
            return;
        }
    }
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
    const bool isNews = std::none_of(m_entries.cbegin(), m_entries.cend(), [&](const Entry& other) {
        return other.announcement == *announcement && !isOld(other);
    });
    if (known != m_entries.end()) {
        *known = entry;
    } else if (m_entries.size() < kMaximumServers) {
        m_entries.append(entry);
    } else {
        return;
    }
    if (isNews) {
        emit found(toServer(entry));
    }
}

void ServerFinder::onTimeout()
{
    QVector<Server> gone;
    for (int i = m_entries.size() - 1; i >= 0; --i) {
        if (!isOld(m_entries.at(i))) {
            continue;
        }
        const Server server = toServer(m_entries.takeAt(i));
        if (!isAnnounced(m_entries.cbegin(), m_entries.cend(), server.announcement)) {
            gone.prepend(server);
        }
    }
    for (const Server& server : gone) {
        emit lost(server);
    }
}
