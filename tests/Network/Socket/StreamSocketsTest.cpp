#include "StreamSocketsTest.h"

#include "support/LogCapture.h"

#include <QtTest>

void StreamSocketsTest::init()
{
    const LogCapture log;
    m_socket = QSharedPointer<Socket>::create();
    QVERIFY(m_socket->listen(0));
    m_peer = std::make_unique<QUdpSocket>();
    QVERIFY(m_peer->bind(QHostAddress::LocalHost, 0));
}

void StreamSocketsTest::cleanup()
{
    // They and the port keep each other alive.
    for (const auto& socket : m_attached) {
        m_socket->removeSocket(socket);
    }
    m_attached.clear();
    m_socket.reset();
    m_peer.reset();
}

void StreamSocketsTest::attach(const QSharedPointer<InterfaceSocket>& socket)
{
    m_socket->addSocket(socket);
    m_attached.append(socket);
}

QByteArray StreamSocketsTest::sentDatagram()
{
    if (!QTest::qWaitFor([this] { return m_peer->hasPendingDatagrams(); })) {
        return {};
    }
    QByteArray data(static_cast<int>(m_peer->pendingDatagramSize()), '\0');
    m_peer->readDatagram(data.data(), data.size());
    return data;
}
