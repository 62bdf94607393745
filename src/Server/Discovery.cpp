#include "Server/Discovery.h"

#include "Core/Log/Log.h"
#include "Network/Protocol/ProtocolVersion.h"

#include <QHostAddress>
#include <QNetworkInterface>
#include <QUdpSocket>
#include <algorithm>
#include <utility>

namespace
{

/// One for each interface that is up and can broadcast: its first IPv4 address.
QList<QHostAddress> broadcastAddresses()
{
    constexpr QNetworkInterface::InterfaceFlags kWanted =
        QNetworkInterface::IsUp | QNetworkInterface::CanBroadcast;
    QList<QHostAddress> addresses;
    for (const QNetworkInterface& card : QNetworkInterface::allInterfaces()) {
        if ((card.flags() & kWanted) != kWanted) {
            continue;
        }
        const QList<QNetworkAddressEntry> entries = card.addressEntries();
        const auto found =
            std::find_if(entries.cbegin(), entries.cend(), [](const QNetworkAddressEntry& entry) {
                return entry.ip().protocol() == QAbstractSocket::IPv4Protocol;
            });
        if (found != entries.cend()) {
            addresses.append(found->ip());
        }
    }
    return addresses;
}

} // namespace

Discovery::Discovery(int160 id, quint16 port, int deviceType, const QString& title,
                     const QString& description, const QString& identificator, QObject* parent)
    : QObject(parent)
    , m_announcement(Announcement{std::move(id), ProtocolVersion::kMajor, ProtocolVersion::kMinor, port,
                                  deviceType, title, description, identificator}
                         .encode())
    , m_udpSocket(new QUdpSocket(this))
{
}

Discovery::~Discovery() = default;

void Discovery::send()
{
    setReachable(sendOnInterfaces() || sendFrom(*m_udpSocket));
}

// Interfaces come and go, and so do their addresses. False if there is none to send on.
bool Discovery::sendOnInterfaces()
{
    Sockets before = std::move(m_ofInterfaces);
    m_ofInterfaces.clear();
    bool sent = false;
    for (const QHostAddress& address : broadcastAddresses()) {
        const QString name = address.toString();
        std::unique_ptr<QUdpSocket> socket = std::move(before[name]);
        if (!socket) {
            socket = std::make_unique<QUdpSocket>();
            socket->bind(address);
        }
        // A broadcast leaves by the interface of the address that it comes from, whatever the routes say.
        sent = sendFrom(*socket) || sent;
        m_ofInterfaces[name] = std::move(socket);
    }
    return sent;
}

bool Discovery::sendFrom(QUdpSocket& socket)
{
    if (socket.writeDatagram(m_announcement, QHostAddress::Broadcast, Announcement::kPort) ==
        m_announcement.size()) {
        return true;
    }
    m_error = socket.errorString();
    return false;
}

void Discovery::setReachable(bool reachable)
{
    if (reachable == m_reachable) {
        return;
    }
    m_reachable = reachable;
    if (reachable) {
        LOG_INFO() << "The local network hears the announcement again";
    } else {
        LOG_INFO() << "The local network can't hear the announcement:" << m_error;
    }
}
