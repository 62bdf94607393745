#include "Server/Discovery.h"

#include "Core/Log/Log.h"
#include "Network/Data/ProtocolVersion.h"

#include <QHostAddress>
#include <QJsonDocument>
#include <QJsonObject>
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
    , m_id(std::move(id))
    , m_port(port)
    , m_title(title)
    , m_description(description)
    , m_identificator(identificator)
    , m_deviceType(deviceType)
    , m_udpSocket(new QUdpSocket(this))
{
}

Discovery::~Discovery() = default;

void Discovery::send()
{
    const QByteArray datagram = announcement();
    setReachable(sendOnInterfaces(datagram) || sendFrom(*m_udpSocket, datagram));
}

QByteArray Discovery::announcement() const
{
    const QJsonObject object{
        {QStringLiteral("id"), m_id.toString()},          {QStringLiteral("vma"), ProtocolVersion::kMajor},
        {QStringLiteral("vmi"), ProtocolVersion::kMinor}, {QStringLiteral("port"), m_port},
        {QStringLiteral("device_type"), m_deviceType},    {QStringLiteral("title"), m_title},
        {QStringLiteral("description"), m_description},   {QStringLiteral("identificator"), m_identificator},
    };
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

// Interfaces come and go, and so do their addresses. False if there is none to send on.
bool Discovery::sendOnInterfaces(const QByteArray& datagram)
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
        sent = sendFrom(*socket, datagram) || sent;
        m_ofInterfaces[name] = std::move(socket);
    }
    return sent;
}

bool Discovery::sendFrom(QUdpSocket& socket, const QByteArray& datagram)
{
    if (socket.writeDatagram(datagram, QHostAddress::Broadcast, kPort) == datagram.size()) {
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
