#include "SocketTest.h"

#include "support/LogCapture.h"

#include <QtTest>

void SocketTest::init()
{
    const LogCapture log;
    m_socket = std::make_unique<Socket>();
    QVERIFY(m_socket->listen(0));
    m_peer = std::make_unique<QUdpSocket>();
    QVERIFY(m_peer->bind(QHostAddress::LocalHost, 0));
}

void SocketTest::cleanup()
{
    m_socket.reset();
    m_peer.reset();
}

QSharedPointer<Recorder> SocketTest::attach(bool accepts)
{
    auto recorder = QSharedPointer<Recorder>::create(accepts);
    m_socket->addSocket(recorder);
    return recorder;
}

void SocketTest::sendFromPeer(const QByteArray& data)
{
    QCOMPARE(m_peer->writeDatagram(data, QHostAddress::LocalHost, m_socket->localPort()),
             qint64(data.size()));
}

void SocketTest::offer(const QByteArray& data)
{
    const double expected = m_socket->receivedMegabytes() + data.size() / kMebibyte;
    sendFromPeer(data);
    QTRY_COMPARE(m_socket->receivedMegabytes(), expected);
}
