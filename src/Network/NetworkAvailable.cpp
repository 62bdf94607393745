#include "Network/NetworkAvailable.h"

#include "Core/Log/Log.h"

#include <QHostAddress>
#include <utility>

namespace
{

constexpr quint16 kPort = 33672; // TCP

} // namespace

NetworkAvailable::NetworkAvailable(QObject* parent)
    : QObject(parent)
{
}

NetworkAvailable::~NetworkAvailable()
{
    LOG_DEBUG() << QStringLiteral("Destruct class .. %1")
                       .arg(QLatin1String(NetworkAvailable::staticMetaObject.className()));
    if (m_mode == Mode::Client && m_client) {
        LOG_DEBUG() << "Close TCP connection ...";
        m_client->disconnectFromHost();
    }
}

void NetworkAvailable::createServer()
{
    m_mode = Mode::Server;
    m_server.reset(new QTcpServer);
    connect(m_server.data(), &QTcpServer::newConnection, this, &NetworkAvailable::onNewConnection,
            Qt::DirectConnection);
    if (!m_server->listen(QHostAddress::Any, kPort)) {
        LOG_WARNING() << "Error createServer - init";
        m_server.reset();
    }
}

void NetworkAvailable::createClient()
{
    m_mode = Mode::Client;
    m_client.reset(new QTcpSocket);
    const bool isConnected = connect(m_client.data(), &QTcpSocket::connected, this,
                                     &NetworkAvailable::onClientConnected, Qt::DirectConnection) &&
                             connect(m_client.data(), &QTcpSocket::disconnected, this,
                                     &NetworkAvailable::onClientDisconnected, Qt::DirectConnection) &&
                             connect(m_client.data(), &QTcpSocket::errorOccurred, this,
                                     &NetworkAvailable::onClientError, Qt::DirectConnection);
    if (!isConnected) {
        LOG_WARNING() << "Error createClient - init";
        m_client.reset();
    }
}

void NetworkAvailable::connectClient(Callback connected, Callback disconnected)
{
    m_connected = std::move(connected);
    m_disconnected = std::move(disconnected);
    if (m_client) {
        m_client->connectToHost(QHostAddress(QHostAddress::LocalHost), kPort, QIODevice::ReadWrite);
    }
}

void NetworkAvailable::closeClient()
{
    if (m_client) {
        m_client->close();
    }
}

void NetworkAvailable::onNewConnection()
{
    m_peerSocket = m_server->nextPendingConnection();
    connect(m_peerSocket, &QTcpSocket::disconnected, this, &NetworkAvailable::onDisconnected);
    connect(m_peerSocket, &QTcpSocket::errorOccurred, this, &NetworkAvailable::onErrorOccurred);
    connect(m_peerSocket, &QTcpSocket::disconnected, m_peerSocket, &QObject::deleteLater);
}

void NetworkAvailable::onClientConnected()
{
    if (m_connected) {
        m_connected();
    }
}

void NetworkAvailable::onClientDisconnected()
{
    if (m_disconnected) {
        m_disconnected();
    }
}

void NetworkAvailable::onClientError(QAbstractSocket::SocketError error)
{
    LOG_WARNING() << "TCP SOCKET ERROR!" << error;
    if (m_disconnected) {
        m_disconnected();
    }
}
