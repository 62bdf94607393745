#include "Network/Socket/Socket.h"

#include "Core/Losses/Losses.h"
#include "Recorder.h"
#include "support/LogCapture.h"

#include <QTimer>
#include <QUdpSocket>
#include <QtEndian>
#include <QtTest>
#include <cerrno>
#include <memory>
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

class tst_Socket : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void systemChoosesThePortOfListenZero();
    void listenTakesThePortItIsGiven();
    void takenPortIsACriticalRecordAndFalse();
    void bothFamiliesReachTheOnePort();
    void senderCanBeAnswered_data();
    void senderCanBeAnswered();
    void systemIsAskedForALargeReceiveBuffer();

    void datagramOfFourBytesIsDroppedAndOneOfFiveOffered_data();
    void datagramOfFourBytesIsDroppedAndOneOfFiveOffered();
    void largestDatagramsOfBothFamiliesAreOffered_data();
    void largestDatagramsOfBothFamiliesAreOffered();
    void fiveTo65536BytesAreOffered();
    void burstIsReadToItsEnd();
    void afterSixtyFourReadsTheTimersHaveTheirTurn();
    void objectMayEndTheTurnAfterItsDatagram();
    void floodLeavesTheTimersTheirTime();
    void bufferOfALongDatagramIsCutForAShortOne();

    void writtenDatagramArrivesAndIsCounted();
    void write65537BytesIsRefusedWithoutATrace();
    void write65536BytesReachesTheSystem();
    void failedSendCountsAPacketAndTakesAByteOff();
    void failedSendIsNotTriedAgain();
    void objectMayWriteFromItsReadyRead();

    void firstThatAcceptsIsTheOnlyOneToSee();
    void refusedDatagramReachesTheNextAsItWas();
    void datagramRefusedByAllCountsInBytesAlone();
    void objectAttachedTwiceIsListedOnce();
    void detachedObjectSeesNothing();
    void detachingAnUnknownObjectChangesNothing();
    void socketSharesWhatIsAttached();

    void heartbeatTicksFromConstructionOnceASecond();
    void heartbeatReachesObjectsInOrder();
    void speedsAreKibibytesOfTheLastTick();
    void speedOfAFailedSendIsOneByteBelowZero();

    void objectDetachedDuringAWalkLeavesNoneOut_data();
    void objectDetachedDuringAWalkLeavesNoneOut();
    void laterObjectDetachedDuringAWalkIsNotCalled();
    void objectAttachedDuringAWalkIsCalled();
    void objectOutlivesItsOwnDetachingForTheCall();
    void acceptingObjectMayReplaceAnother();
    void heartbeatWithinAReadKeepsBothWalks();

    void unreachablePortDoesNotStopTheReading();
    void datagramWithABadChecksumDoesNotStopTheReading();
    void failedSendsAreLoggedFiftyTimesASecond();
    void whatTheBudgetHasNoRoomForStaysAndIsCountedAsLost();

private:
    QSharedPointer<Recorder> attach(bool accepts = true);
    void sendFromPeer(const QByteArray& data);
    void offer(const QByteArray& data);

    std::unique_ptr<Socket> m_socket;
    std::unique_ptr<QUdpSocket> m_peer;
};

namespace
{

constexpr double kMebibyte = 1048576.0;
const QByteArray kPacket("hello world");

} // namespace

void tst_Socket::init()
{
    const LogCapture log;
    m_socket = std::make_unique<Socket>();
    QVERIFY(m_socket->listen(0));
    m_peer = std::make_unique<QUdpSocket>();
    QVERIFY(m_peer->bind(QHostAddress::LocalHost, 0));
}

void tst_Socket::cleanup()
{
    m_socket.reset();
    m_peer.reset();
}

QSharedPointer<Recorder> tst_Socket::attach(bool accepts)
{
    auto recorder = QSharedPointer<Recorder>::create(accepts);
    m_socket->addSocket(recorder);
    return recorder;
}

void tst_Socket::sendFromPeer(const QByteArray& data)
{
    QCOMPARE(m_peer->writeDatagram(data, QHostAddress::LocalHost, m_socket->localPort()),
             qint64(data.size()));
}

// Sends one datagram and waits until it has been read.
void tst_Socket::offer(const QByteArray& data)
{
    const double expected = m_socket->receivedMegabytes() + data.size() / kMebibyte;
    sendFromPeer(data);
    QTRY_COMPARE(m_socket->receivedMegabytes(), expected);
}

void tst_Socket::systemChoosesThePortOfListenZero()
{
    QVERIFY(m_socket->localPort() != 0);
    QCOMPARE(Socket().localPort(), quint16(0));
}

void tst_Socket::listenTakesThePortItIsGiven()
{
    const LogCapture log;
    Socket socket;
    QVERIFY(socket.listen(45678));
    QCOMPARE(socket.localPort(), quint16(45678));
}

void tst_Socket::takenPortIsACriticalRecordAndFalse()
{
    const LogCapture log;
    Socket second;
    QVERIFY(!second.listen(m_socket->localPort()));
    QVERIFY(!second.errorString().isEmpty());
    QCOMPARE(log.records().size(), 1);
    QCOMPARE(
        log.texts(QtCriticalMsg).value(0).section(QStringLiteral("=>\t "), 1),
        QStringLiteral("Error bind udp port: %1, %2").arg(m_socket->localPort()).arg(second.errorString()));
}

void tst_Socket::bothFamiliesReachTheOnePort()
{
    const auto recorder = attach();
    for (const auto address : {QHostAddress::LocalHost, QHostAddress::LocalHostIPv6}) {
        QUdpSocket().writeDatagram(kPacket, QHostAddress(address), m_socket->localPort());
    }
    QTRY_COMPARE(recorder->datagrams.size(), 2);
    QVERIFY(recorder->datagrams[0].address.isEqual(QHostAddress(QHostAddress::LocalHost),
                                                   QHostAddress::ConvertV4MappedToIPv4));
    QCOMPARE(recorder->datagrams[1].address, QHostAddress(QHostAddress::LocalHostIPv6));
}

void tst_Socket::senderCanBeAnswered_data()
{
    QTest::addColumn<QString>("host");
    QTest::newRow("IPv4") << QStringLiteral("127.0.0.1");
    QTest::newRow("IPv6") << QStringLiteral("::1");
}

void tst_Socket::senderCanBeAnswered()
{
    QFETCH(QString, host);
    const QHostAddress address(host);
    const auto recorder = attach();
    QUdpSocket peer;
    QVERIFY(peer.bind(address, 0));
    peer.writeDatagram(kPacket, address, m_socket->localPort());
    QTRY_COMPARE(recorder->datagrams.size(), 1);
    const Recorder::Datagram received = recorder->datagrams.constFirst();
    QCOMPARE(received.data, kPacket);
    QCOMPARE(received.port, peer.localPort());
    QVERIFY(m_socket->write("reply", received.address, received.port));
    QTRY_VERIFY(peer.hasPendingDatagrams());
    char reply[16];
    QCOMPARE(peer.readDatagram(reply, sizeof reply), qint64(5));
}

void tst_Socket::systemIsAskedForALargeReceiveBuffer()
{
    const auto option = QAbstractSocket::ReceiveBufferSizeSocketOption;
    const LogCapture log;
    Socket socket;
    QVERIFY(socket.listen(0));
    auto* const udp = socket.findChild<QUdpSocket*>();
    QCOMPARE(udp->readBufferSize(), qint64(2'000'000));
    QVERIFY(udp->socketOption(option).toInt() > m_peer->socketOption(option).toInt());
    const int granted = udp->socketOption(option).toInt() / 2; // Linux tells twice what it grants
    if (granted < 2'000'000) {
        QCOMPARE(log.texts(QtDebugMsg).size(), 1);
        QCOMPARE(
            log.texts().constFirst(),
            QStringLiteral("Receive buffer of the udp port: 2000000 bytes wanted, %1 granted").arg(granted));
    } else {
        QCOMPARE(log.texts(), QStringList());
    }
}

void tst_Socket::datagramOfFourBytesIsDroppedAndOneOfFiveOffered_data()
{
    QTest::addColumn<int>("size");
    for (int size = 0; size < 5; ++size) {
        QTest::addRow("%d bytes", size) << size;
    }
}

void tst_Socket::datagramOfFourBytesIsDroppedAndOneOfFiveOffered()
{
    QFETCH(int, size);
    const LogCapture log;
    const auto recorder = attach();
    sendFromPeer(QByteArray(size, 'x'));
    sendFromPeer("12345");
    QTRY_COMPARE(recorder->contents(), QList<QByteArray>{"12345"});
    QCOMPARE(m_socket->receivedMegabytes(), (size + 5) / kMebibyte);
    QCOMPARE(m_socket->receivedPackets(), quint64(1));
    QCOMPARE(log.texts(), QStringList());
}

void tst_Socket::largestDatagramsOfBothFamiliesAreOffered_data()
{
    QTest::addColumn<QString>("host");
    QTest::addColumn<int>("size");
    QTest::newRow("IPv4") << QStringLiteral("127.0.0.1") << 65507;
    QTest::newRow("IPv6") << QStringLiteral("::1") << 65527;
}

void tst_Socket::largestDatagramsOfBothFamiliesAreOffered()
{
    QFETCH(QString, host);
    const QHostAddress address(host);
    QFETCH(int, size);
    const auto recorder = attach();
    const QByteArray data(size, 'x');
    QUdpSocket peer;
    QVERIFY(peer.bind(address, 0));
    QCOMPARE(peer.writeDatagram(data, address, m_socket->localPort()), qint64(size));
    QTRY_COMPARE(recorder->datagrams.size(), 1);
    QVERIFY(recorder->datagrams.constFirst().data == data);
}

void tst_Socket::fiveTo65536BytesAreOffered()
{
    QVERIFY(!Socket::isOffered(-1));
    QVERIFY(!Socket::isOffered(0));
    QVERIFY(!Socket::isOffered(4));
    QVERIFY(Socket::isOffered(5));
    QVERIFY(Socket::isOffered(65536));
    QVERIFY(!Socket::isOffered(65537));
}

void tst_Socket::burstIsReadToItsEnd()
{
    const auto recorder = attach();
    QList<QByteArray> sent;
    for (int i = 0; i < 150; ++i) {
        sent.append(QByteArray("datagram ") + QByteArray::number(i));
        sendFromPeer(sent.constLast());
    }
    QTRY_COMPARE(recorder->datagrams.size(), 150);
    QCOMPARE(recorder->contents(), sent);
    QCOMPARE(m_socket->receivedPackets(), quint64(150));
}

void tst_Socket::afterSixtyFourReadsTheTimersHaveTheirTurn()
{
    const auto recorder = attach();
    QList<int> readAtTurn;
    for (int i = 0; i < 150; ++i) {
        sendFromPeer("datagram");
    }
    QTimer turns;
    connect(&turns, &QTimer::timeout, this, [&] { readAtTurn.append(recorder->datagrams.size()); });
    turns.start(0);
    QTRY_COMPARE(recorder->datagrams.size(), 150);
    int before = 0;
    for (const int read : readAtTurn) {
        QVERIFY2(read - before <= 64, qPrintable(QString::number(read - before)));
        before = read;
    }
    QVERIFY(readAtTurn.size() >= 2);
}

void tst_Socket::objectMayEndTheTurnAfterItsDatagram()
{
    const auto recorder = attach();
    recorder->onDatagram = [this](QByteArray& data) {
        if (data == "a slow one") {
            m_socket->endTurn();
        }
    };
    QList<int> readAtTurn;
    for (const char* const data : {"a quick one", "a slow one", "a slow one", "a quick one", "a quick one"}) {
        sendFromPeer(data);
    }
    QTimer turns;
    connect(&turns, &QTimer::timeout, this, [&] { readAtTurn.append(recorder->datagrams.size()); });
    turns.start(0);
    QTRY_COMPARE(recorder->datagrams.size(), 5);
    QTRY_VERIFY(readAtTurn.contains(5));
    QVERIFY(readAtTurn.contains(2));
    QVERIFY(readAtTurn.contains(3));
    QVERIFY(!readAtTurn.contains(1) && !readAtTurn.contains(4));
}

// A sender that never pauses: each datagram that is read brings the next.
void tst_Socket::floodLeavesTheTimersTheirTime()
{
    const auto recorder = attach();
    recorder->onDatagram = [this](QByteArray&) { sendFromPeer("datagram"); };
    int ticks = 0;
    int zeroTicks = 0;
    QTimer timer;
    connect(&timer, &QTimer::timeout, this, [&ticks] { ++ticks; });
    QTimer zeroTimer;
    connect(&zeroTimer, &QTimer::timeout, this, [&zeroTicks] { ++zeroTicks; });
    QEventLoop loop;
    QElapsedTimer elapsed;
    connect(&timer, &QTimer::timeout, &loop, [&] {
        if (elapsed.elapsed() > 500) {
            loop.quit();
        }
    });
    timer.start(10);
    zeroTimer.start(0);
    elapsed.start();
    sendFromPeer("datagram");
    // In the loop of a program that runs, where the system's dispatcher may rank timers lower.
    QTimer::singleShot(20'000, &loop, [&loop] { loop.exit(1); });
    QCOMPARE(loop.exec(), 0);
    recorder->onDatagram = {};
    QVERIFY2(ticks >= 25, qPrintable(QString::number(ticks)));
    QVERIFY2(zeroTicks * 64 >= recorder->datagrams.size() / 2, qPrintable(QString::number(zeroTicks)));
    QVERIFY(recorder->datagrams.size() > 1000);
}

void tst_Socket::bufferOfALongDatagramIsCutForAShortOne()
{
    const auto recorder = attach();
    sendFromPeer(QByteArray(5000, 'x'));
    sendFromPeer("short");
    QTRY_COMPARE(recorder->datagrams.size(), 2);
    QCOMPARE(recorder->datagrams[1].data, QByteArray("short"));
}

void tst_Socket::writtenDatagramArrivesAndIsCounted()
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

void tst_Socket::write65537BytesIsRefusedWithoutATrace()
{
    const LogCapture log;
    QVERIFY(
        !m_socket->write(QByteArray(65537, 'x'), QHostAddress(QHostAddress::LocalHost), m_peer->localPort()));
    QCOMPARE(m_socket->sentPackets(), quint64(0));
    QCOMPARE(m_socket->sentMegabytes(), 0.0);
    QCOMPARE(log.texts(), QStringList());
}

void tst_Socket::write65536BytesReachesTheSystem()
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

void tst_Socket::failedSendCountsAPacketAndTakesAByteOff()
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

void tst_Socket::failedSendIsNotTriedAgain()
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

void tst_Socket::objectMayWriteFromItsReadyRead()
{
    const auto recorder = attach();
    recorder->onDatagram = [this, &recorder](QByteArray&) {
        const Recorder::Datagram& request = recorder->datagrams.constLast();
        QVERIFY(m_socket->write("reply", request.address, request.port));
    };
    sendFromPeer(kPacket);
    QTRY_VERIFY(m_peer->hasPendingDatagrams());
}

void tst_Socket::firstThatAcceptsIsTheOnlyOneToSee()
{
    const auto first = attach();
    const auto second = attach();
    offer(kPacket);
    QCOMPARE(first->datagrams.size(), 1);
    QCOMPARE(second->datagrams.size(), 0);
    QCOMPARE(m_socket->receivedPackets(), quint64(1));
}

void tst_Socket::refusedDatagramReachesTheNextAsItWas()
{
    const auto first = attach(false);
    const auto second = attach();
    offer(kPacket);
    QCOMPARE(first->contents(), QList<QByteArray>{kPacket});
    QCOMPARE(second->contents(), QList<QByteArray>{kPacket});
    QCOMPARE(second->datagrams.constFirst().port, m_peer->localPort());
}

void tst_Socket::datagramRefusedByAllCountsInBytesAlone()
{
    const LogCapture log;
    attach(false);
    attach(false);
    offer(kPacket);
    QCOMPARE(m_socket->receivedMegabytes(), kPacket.size() / kMebibyte);
    QCOMPARE(m_socket->receivedPackets(), quint64(0));
    QCOMPARE(log.texts(), QStringList());
}

void tst_Socket::objectAttachedTwiceIsListedOnce()
{
    const auto recorder = attach(false);
    m_socket->addSocket(recorder);
    offer(kPacket);
    m_socket->onTimeout();
    QCOMPARE(recorder->datagrams.size(), 1);
    QCOMPARE(recorder->heartbeats, 1);
    m_socket->removeSocket(recorder);
    m_socket->onTimeout();
    QCOMPARE(recorder->heartbeats, 1);
}

void tst_Socket::detachedObjectSeesNothing()
{
    const auto first = attach();
    const auto second = attach();
    m_socket->removeSocket(first);
    offer(kPacket);
    m_socket->onTimeout();
    QCOMPARE(first->datagrams.size(), 0);
    QCOMPARE(first->heartbeats, 0);
    QCOMPARE(second->datagrams.size(), 1);
    QCOMPARE(second->heartbeats, 1);
}

void tst_Socket::detachingAnUnknownObjectChangesNothing()
{
    const auto recorder = attach();
    m_socket->removeSocket(QSharedPointer<Recorder>::create());
    m_socket->removeSocket({});
    offer(kPacket);
    QCOMPARE(recorder->datagrams.size(), 1);
}

void tst_Socket::socketSharesWhatIsAttached()
{
    auto recorder = attach();
    const QWeakPointer<Recorder> watched(recorder);
    recorder.reset();
    QVERIFY(!watched.isNull());
    m_socket->removeSocket(watched.toStrongRef());
    QVERIFY(watched.isNull());
}

void tst_Socket::heartbeatTicksFromConstructionOnceASecond()
{
    Socket unbound;
    const auto recorder = QSharedPointer<Recorder>::create();
    unbound.addSocket(recorder);
    auto* const timer = unbound.findChild<QTimer*>();
    QVERIFY(timer->isActive());
    QVERIFY(!timer->isSingleShot());
    QCOMPARE(timer->interval(), 1000);
    QCOMPARE(timer->timerType(), Qt::CoarseTimer);
    QTRY_COMPARE(recorder->heartbeats, 1);
}

void tst_Socket::heartbeatReachesObjectsInOrder()
{
    QList<int> order;
    for (int i = 0; i < 3; ++i) {
        attach()->onHeartbeat = [&order, i] { order.append(i); };
    }
    m_socket->onTimeout();
    QCOMPARE(order, (QList<int>{0, 1, 2}));
}

void tst_Socket::speedsAreKibibytesOfTheLastTick()
{
    QCOMPARE(m_socket->receiveSpeed(), 0.0);
    QCOMPARE(m_socket->sendSpeed(), 0.0);
    m_socket->findChild<QTimer*>()->stop();

    offer(QByteArray(1024, 'x'));
    offer(QByteArray(512, 'x'));
    QVERIFY(
        m_socket->write(QByteArray(256, 'x'), QHostAddress(QHostAddress::LocalHost), m_peer->localPort()));
    QCOMPARE(m_socket->receiveSpeed(), 0.0);
    m_socket->onTimeout();
    QCOMPARE(m_socket->receiveSpeed(), 1.5);
    QCOMPARE(m_socket->sendSpeed(), 0.25);

    offer(QByteArray(128, 'x'));
    m_socket->onTimeout();
    QCOMPARE(m_socket->receiveSpeed(), 0.125);
    QCOMPARE(m_socket->sendSpeed(), 0.0);
}

void tst_Socket::speedOfAFailedSendIsOneByteBelowZero()
{
    const LogCapture log;
    m_socket->findChild<QTimer*>()->stop();
    QVERIFY(
        !m_socket->write(QByteArray(65536, 'x'), QHostAddress(QHostAddress::LocalHost), m_peer->localPort()));
    m_socket->onTimeout();
    QCOMPARE(m_socket->sendSpeed(), -0.0009765625);
}

void tst_Socket::objectDetachedDuringAWalkLeavesNoneOut_data()
{
    QTest::addColumn<QList<int>>("detached");
    QTest::newRow("itself") << QList<int>{1};
    QTest::newRow("one before") << QList<int>{0};
    QTest::newRow("itself and one before") << QList<int>{0, 1};
    QTest::newRow("one before and itself") << QList<int>{1, 0};
    QTest::newRow("itself and one behind") << QList<int>{1, 3};
}

void tst_Socket::objectDetachedDuringAWalkLeavesNoneOut()
{
    QFETCH(QList<int>, detached);
    // Object 1 detaches; whoever is still attached behind it has to be called, in either walk.
    QList<QSharedPointer<Recorder>> recorders;
    for (int i = 0; i < 4; ++i) {
        recorders.append(attach(false));
    }
    const auto detach = [&] {
        for (const int index : detached) {
            m_socket->removeSocket(recorders[index]);
        }
    };
    recorders[1]->onDatagram = [&](QByteArray&) { detach(); };
    offer(kPacket);
    QCOMPARE(recorders[2]->datagrams.size(), 1);
    QCOMPARE(recorders[3]->datagrams.size(), detached.contains(3) ? 0 : 1);

    for (const auto& recorder : recorders) {
        m_socket->removeSocket(recorder);
    }
    for (const auto& recorder : recorders) {
        m_socket->addSocket(recorder);
    }
    recorders[1]->onHeartbeat = detach;
    m_socket->onTimeout();
    QCOMPARE(recorders[2]->heartbeats, 1);
    QCOMPARE(recorders[3]->heartbeats, detached.contains(3) ? 0 : 1);
}

void tst_Socket::laterObjectDetachedDuringAWalkIsNotCalled()
{
    const auto first = attach();
    const auto second = attach();
    first->onHeartbeat = [&] { m_socket->removeSocket(second); };
    m_socket->onTimeout();
    QCOMPARE(second->heartbeats, 0);
}

void tst_Socket::objectAttachedDuringAWalkIsCalled()
{
    const auto first = attach();
    const auto late = QSharedPointer<Recorder>::create();
    first->onHeartbeat = [&] { m_socket->addSocket(late); };
    m_socket->onTimeout();
    QCOMPARE(late->heartbeats, 1);
}

void tst_Socket::objectOutlivesItsOwnDetachingForTheCall()
{
    auto recorder = attach();
    const QWeakPointer<Recorder> watched(recorder);
    bool aliveAfterDetaching = false;
    recorder->onHeartbeat = [&] {
        m_socket->removeSocket(watched.toStrongRef());
        aliveAfterDetaching = !watched.isNull();
    };
    recorder.reset();
    m_socket->onTimeout();
    QVERIFY(aliveAfterDetaching);
    QVERIFY(watched.isNull());
}

void tst_Socket::acceptingObjectMayReplaceAnother()
{
    // A command takes the session over: the old client's object goes and a new one comes.
    const auto commands = attach();
    auto oldClient = attach();
    const auto newClient = QSharedPointer<Recorder>::create();
    commands->onDatagram = [&](QByteArray&) {
        m_socket->removeSocket(oldClient);
        oldClient.reset();
        m_socket->addSocket(newClient);
    };
    sendFromPeer(kPacket);
    sendFromPeer(kPacket);
    QTRY_COMPARE(commands->datagrams.size(), 2);
    QCOMPARE(newClient->datagrams.size(), 0);
    commands->accepts = false;
    offer(kPacket);
    QCOMPARE(newClient->datagrams.size(), 1);
    m_socket->onTimeout();
    QCOMPARE(newClient->heartbeats, 1);
}

void tst_Socket::heartbeatWithinAReadKeepsBothWalks()
{
    const auto first = attach(false);
    const auto second = attach(false);
    const auto third = attach(false);
    first->onDatagram = [&](QByteArray&) { m_socket->onTimeout(); };
    first->onHeartbeat = [&] { m_socket->removeSocket(first); };
    offer(kPacket);
    QCOMPARE(second->heartbeats, 1);
    QCOMPARE(third->heartbeats, 1);
    QCOMPARE(second->datagrams.size(), 1);
    QCOMPARE(third->datagrams.size(), 1);
}

void tst_Socket::unreachablePortDoesNotStopTheReading()
{
    const LogCapture log;
    const auto recorder = attach();
    for (const auto address : {QHostAddress::LocalHost, QHostAddress::LocalHostIPv6}) {
        QUdpSocket closed;
        QVERIFY(closed.bind(QHostAddress(address), 0));
        const quint16 port = closed.localPort();
        closed.close();
        for (int i = 0; i < 5; ++i) {
            m_socket->write(kPacket, QHostAddress(address), port);
            offer(kPacket);
        }
    }
    QCOMPARE(recorder->datagrams.size(), 10);
}

void tst_Socket::datagramWithABadChecksumDoesNotStopTheReading()
{
    // The system wakes the reader before it checks a payload this long, and then has nothing to hand over.
    QByteArray datagram(8 + 200, 'x');
    auto* const header = reinterpret_cast<uchar*>(datagram.data());
    qToBigEndian<quint16>(m_peer->localPort(), header);
    qToBigEndian<quint16>(m_socket->localPort(), header + 2);
    qToBigEndian<quint16>(static_cast<quint16>(datagram.size()), header + 4);
    qToBigEndian<quint16>(0xBAD0, header + 6);
    const int raw = ::socket(AF_INET, SOCK_RAW, IPPROTO_UDP);
    QVERIFY(raw >= 0);
    sockaddr_in target{};
    target.sin_family = AF_INET;
    target.sin_addr.s_addr = htonl(INADDR_LOOPBACK);

    const auto recorder = attach();
    for (int i = 0; i < 5; ++i) {
        QCOMPARE(::sendto(raw, datagram.constData(), size_t(datagram.size()), 0,
                          reinterpret_cast<const sockaddr*>(&target), sizeof target),
                 ssize_t(datagram.size()));
        QCoreApplication::processEvents();
        offer(kPacket);
    }
    ::close(raw);
    QCOMPARE(recorder->datagrams.size(), 5);
}

void tst_Socket::failedSendsAreLoggedFiftyTimesASecond()
{
    const LogCapture log;
    const QByteArray tooLong(65536, 'x');
    for (int i = 0; i < 500; ++i) {
        QVERIFY(!m_socket->write(tooLong, QHostAddress(QHostAddress::LocalHost), m_peer->localPort()));
    }
    // A second may end in the middle.
    QVERIFY2(log.texts().size() < 250, qPrintable(QString::number(log.texts().size())));
}

void tst_Socket::whatTheBudgetHasNoRoomForStaysAndIsCountedAsLost()
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

QTEST_GUILESS_MAIN(tst_Socket)
#include "tst_Socket.moc"
