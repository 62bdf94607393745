#include "Server/Discovery.h"

#include "Network/Data/ProtocolVersion.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QUdpSocket>

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

void Discovery::send()
{
    const QJsonObject announcement{
        {QStringLiteral("id"), m_id.toString()},          {QStringLiteral("vma"), ProtocolVersion::kMajor},
        {QStringLiteral("vmi"), ProtocolVersion::kMinor}, {QStringLiteral("port"), m_port},
        {QStringLiteral("device_type"), m_deviceType},    {QStringLiteral("title"), m_title},
        {QStringLiteral("description"), m_description},   {QStringLiteral("identificator"), m_identificator},
    };
    m_udpSocket->writeDatagram(QJsonDocument(announcement).toJson(QJsonDocument::Compact),
                               QHostAddress::Broadcast, kPort);
}
