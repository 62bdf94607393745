#include "UserSocketTest.h"

#include <QRegularExpression>
#include <QtTest>

void UserSocketTest::init()
{
    m_log = std::make_unique<LogCapture>();
    m_now = 1'000'000;
    m_socket = QSharedPointer<Socket>::create(nullptr);
    QVERIFY(m_socket->listen(0));
    m_peer = std::make_unique<WirePeer>();
    QVERIFY(m_peer->isBound());
    m_user = QSharedPointer<UserSocket>::create(m_socket, ownId(), nodeOf(*m_peer, peerId()), nullptr,
                                                [this] { return m_now; });
}

void UserSocketTest::cleanup()
{
    m_socket->removeSocket(m_user); // attached, each would keep the other
    m_user.clear();
    m_peer.reset();
    m_socket.clear();
    QCOMPARE(logged(QtWarningMsg), QStringList());
    m_log.reset();
}

// What was logged since the test began or cleared the log, less the report of lines that an earlier test had
// left out.
QStringList UserSocketTest::logged(QtMsgType type) const
{
    return m_log->texts(type).filter(QRegularExpression(QStringLiteral("^(?!.*lines left out)")));
}

void UserSocketTest::tick(qint64 milliseconds)
{
    m_now += milliseconds;
    m_user->onTimeout();
}

// The peer answers the call of this number.
void UserSocketTest::reply(quint32 number)
{
    QByteArray data =
        Wire::packet(Wire::bigEndian(number), peerId().bytes(), ownId().bytes(), R"({"cd":""})");
    QVERIFY(m_user->readyRead(data, m_peer->address(), m_peer->port()));
}

void UserSocketTest::callFromPeer(const QByteArray& json)
{
    QByteArray data = Wire::packet(Wire::bigEndian(1), peerId().bytes(), ownId().bytes(), json);
    QVERIFY(m_user->readyRead(data, m_peer->address(), m_peer->port()));
}

bool UserSocketTest::deliver(const int160& sender, const QHostAddress& address, quint16 port, quint32 number,
                             const QByteArray& json)
{
    QByteArray data = Wire::packet(Wire::bigEndian(number), sender.bytes(), ownId().bytes(), json);
    return m_user->readyRead(data, address, port);
}

// What tells a stranger, who knows the session's id, from the peer.
void UserSocketTest::addStrangers()
{
    QTest::addColumn<QByteArray>("id");
    QTest::addColumn<QString>("address");
    QTest::addColumn<int>("portStep");
    QTest::newRow("another id") << kOwnBytes << QStringLiteral("127.0.0.1") << 0;
    QTest::newRow("another address") << kPeerBytes << QStringLiteral("127.0.0.2") << 0;
    QTest::newRow("another port") << kPeerBytes << QStringLiteral("127.0.0.1") << 1;
}

// Ticks until `count` pings have timed out without an answer; returns the pings sent. At 1001 ms a tick the
// first ping, of 1500 ms, expires in the third.
int UserSocketTest::missTo(int count)
{
    const int ticks = count + 2;
    for (int i = 0; i < ticks; ++i) {
        tick();
    }
    return ticks;
}
