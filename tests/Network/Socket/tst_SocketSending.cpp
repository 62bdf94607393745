#include "Core/Losses/Losses.h"
#include "SocketTest.h"
#include "support/LogCapture.h"

#include <QtTest>
#include <cerrno>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace
{

int sendsToFail = 0; // of this program's next ones

} // namespace

// Takes the place of the system's: a send may fail once and work the next time.
extern "C" ssize_t sendto(int descriptor, const void* data, size_t size, int flags, const sockaddr* address,
                          socklen_t length)
{
    if (sendsToFail > 0) {
        --sendsToFail;
        errno = ENOBUFS;
        return -1;
    }
    return syscall(SYS_sendto, descriptor, data, size, flags, address, length);
}

class tst_SocketSending : public SocketTest
{
    Q_OBJECT

private slots:
    void writtenDatagramArrivesAndIsCounted();
    void write65537BytesIsRefusedWithoutTrace();
    void write65536BytesReachesSystem();
    void failedSendCountsPacketAndTakesByteOff();
    void failedSendIsNotTriedAgain();
    void objectMayWriteFromItsReadyRead();
    void speedOfFailedSendIsOneByteBelowZero();
    void failedSendsAreLoggedFiftyTimesPerSecond();
    void whatBudgetHasNoRoomForStaysAndIsCountedAsLost();
};

void tst_SocketSending::writtenDatagramArrivesAndIsCounted()
{
    QVERIFY(m_socket->write(kPacket, QHostAddress(QHostAddress::LocalHost), m_peer->localPort()));
    QTRY_VERIFY(m_peer->hasPendingDatagrams());
    QByteArray data(100, '\0');
    quint16 port = 0;
    data.truncate(static_cast<int>(m_peer->readDatagram(data.data(), data.size(), nullptr, &port)));
    QCOMPARE(data, kPacket);
    QCOMPARE(port, m_socket->localPort());
    QCOMPARE(m_socket->sentPackets(), quint64(1));
    QCOMPARE(m_socket->sentMegabytes(), kPacket.size() / kMebibyte);
    QCOMPARE(m_socket->receivedPackets(), quint64(0));
}

void tst_SocketSending::write65537BytesIsRefusedWithoutTrace()
{
    const LogCapture log;
    QVERIFY(
        !m_socket->write(QByteArray(65537, 'x'), QHostAddress(QHostAddress::LocalHost), m_peer->localPort()));
    QCOMPARE(m_socket->sentPackets(), quint64(0));
    QCOMPARE(m_socket->sentMegabytes(), 0.0);
    QCOMPARE(log.texts(), QStringList());
}

void tst_SocketSending::write65536BytesReachesSystem()
{
    // No UDP payload is that long, so it is the system that refuses.
    const LogCapture log;
    QVERIFY(
        !m_socket->write(QByteArray(65536, 'x'), QHostAddress(QHostAddress::LocalHost), m_peer->localPort()));
    QCOMPARE(m_socket->sentPackets(), quint64(1));
    QCOMPARE(log.records().size(), 1);
    QCOMPARE(log.texts(QtWarningMsg).value(0).section(QStringLiteral("=>\t "), 1),
             QStringLiteral("Error send packet! Size: 65536, sended size: -1"));
}

void tst_SocketSending::failedSendCountsPacketAndTakesByteOff()
{
    const LogCapture log;
    const QHostAddress local(QHostAddress::LocalHost);
    const qint64 lost = Losses::process().total(Losses::Cause::Unsent);
    QVERIFY(m_socket->write(QByteArray(100, 'x'), local, m_peer->localPort()));
    QVERIFY(!m_socket->write(QByteArray(65536, 'x'), local, m_peer->localPort()));
    QCOMPARE(Losses::process().total(Losses::Cause::Unsent) - lost, qint64(1));
    QCOMPARE(m_socket->sentPackets(), quint64(2));
    QCOMPARE(m_socket->sentMegabytes(), 99 / kMebibyte);
}

void tst_SocketSending::failedSendIsNotTriedAgain()
{
    const LogCapture log;
    const qint64 before = Losses::process().total(Losses::Cause::Unsent);
    const QHostAddress local(QHostAddress::LocalHost);
    QVERIFY(m_socket->write("first", local, m_peer->localPort()));
    sendsToFail = 1;
    QVERIFY(!m_socket->write("second", local, m_peer->localPort()));
    QCOMPARE(sendsToFail, 0);
    QVERIFY(m_socket->write("third", local, m_peer->localPort()));
    QByteArrayList arrived;
    for (int i = 0; i < 2; ++i) {
        QTRY_VERIFY(m_peer->hasPendingDatagrams());
        QByteArray data(10, '\0');
        data.truncate(static_cast<int>(m_peer->readDatagram(data.data(), data.size())));
        arrived.append(data);
    }
    QCOMPARE(arrived, (QByteArrayList{"first", "third"}));
    QCOMPARE(Losses::process().total(Losses::Cause::Unsent) - before, qint64(1));
}

void tst_SocketSending::objectMayWriteFromItsReadyRead()
{
    const auto recorder = attach();
    recorder->onDatagram = [this, &recorder](QByteArray&) {
        const Recorder::Datagram& request = recorder->datagrams.constLast();
        QVERIFY(m_socket->write("reply", request.address, request.port));
    };
    sendFromPeer(kPacket);
    QTRY_VERIFY(m_peer->hasPendingDatagrams());
}

void tst_SocketSending::speedOfFailedSendIsOneByteBelowZero()
{
    const LogCapture log;
    m_socket->findChild<QTimer*>()->stop();
    QVERIFY(
        !m_socket->write(QByteArray(65536, 'x'), QHostAddress(QHostAddress::LocalHost), m_peer->localPort()));
    m_socket->onTimeout();
    QCOMPARE(m_socket->sendSpeed(), -0.0009765625);
}

void tst_SocketSending::failedSendsAreLoggedFiftyTimesPerSecond()
{
    const LogCapture log;
    const QByteArray tooLong(65536, 'x');
    for (int i = 0; i < 500; ++i) {
        QVERIFY(!m_socket->write(tooLong, QHostAddress(QHostAddress::LocalHost), m_peer->localPort()));
    }
    // A second may end in the middle.
    QVERIFY2(log.texts().size() < 250, qPrintable(QString::number(log.texts().size())));
}

void tst_SocketSending::whatBudgetHasNoRoomForStaysAndIsCountedAsLost()
{
    const LogCapture log;
    const QHostAddress local(QHostAddress::LocalHost);
    const qint64 before = Losses::process().total(Losses::Cause::OverBudget);
    const auto budget = QSharedPointer<UnprovenBudget>::create();
    m_socket->setBudget(budget);
    QUdpSocket other;
    QVERIFY(other.bind(QHostAddress::LocalHost, 0));
    budget->limit(local, m_peer->localPort());
    const QByteArray kibibyte(1024, 'x');
    int sent = 0;
    for (int i = 0; i < 100; ++i) {
        sent += m_socket->write(kibibyte, local, m_peer->localPort()) ? 1 : 0;
    }
    QCOMPARE(sent, 32);
    QCOMPARE(m_socket->sentPackets(), quint64(32));
    QCOMPARE(m_socket->sentMegabytes(), 32 / 1024.0);
    QCOMPARE(Losses::process().total(Losses::Cause::OverBudget) - before, qint64(68));
    QVERIFY(m_socket->write(kibibyte, local, other.localPort())); // nobody limits this one
    QVERIFY(m_socket->answer(kibibyte, local, m_peer->localPort()));
    QVERIFY(!m_socket->write(kibibyte, local, m_peer->localPort()));
    budget->release(local, m_peer->localPort());
    QVERIFY(m_socket->write(kibibyte, local, m_peer->localPort()));
    QCOMPARE(log.texts(), QStringList());
}

QTEST_GUILESS_MAIN(tst_SocketSending)

#include "tst_SocketSending.moc"
