#include "Network/Socket/UserSocket.h"

#include "support/LogCapture.h"
#include "support/NodeOf.h"
#include "support/WirePeer.h"

#include <QDateTime>
#include <QtTest>
#include <sys/time.h>

namespace
{

time_t wallOffset = 0; // s

} // namespace

// Takes the place of the system's: Qt reads the wall clock here.
extern "C" int gettimeofday(timeval* time, void* /*zone*/) noexcept
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    time->tv_sec = now.tv_sec + wallOffset;
    time->tv_usec = static_cast<suseconds_t>(now.tv_nsec / 1000);
    return 0;
}

/// What a wall clock that is set by an hour does to deadlines: nothing.
class tst_WallClock : public QObject
{
    Q_OBJECT

private slots:
    void cleanup() { wallOffset = 0; }

    void clockCanBeSet();
    void setBackItStopsNoKeepAlive();
    void setForwardItEndsNoCall();
};

namespace
{

constexpr time_t kHour = 3600;

int160 id(char byte)
{
    return int160(QByteArray(20, byte).constData());
}

} // namespace

void tst_WallClock::clockCanBeSet()
{
    const qint64 before = QDateTime::currentMSecsSinceEpoch();
    wallOffset = -kHour;
    const qint64 after = QDateTime::currentMSecsSinceEpoch();
    QVERIFY(after < before - 3'500'000);
}

void tst_WallClock::setBackItStopsNoKeepAlive()
{
    const LogCapture log;
    const auto socket = QSharedPointer<Socket>::create(nullptr);
    QVERIFY(socket->listen(0));
    const WirePeer peer; // stays silent
    UserSocket user(socket, id('a'), nodeOf(peer, id('b')), nullptr);
    user.setPingInterval(1);
    user.setMaximumMissedPings(0);
    wallOffset = -kHour;
    // One ping has to leave, and to time out after 1.5 s.
    QTRY_VERIFY((user.onTimeout(), !user.isConnected()));
    QVERIFY(socket->sentPackets() > 0);
}

void tst_WallClock::setForwardItEndsNoCall()
{
    const auto socket = QSharedPointer<Socket>::create(nullptr);
    QVERIFY(socket->listen(0));
    const WirePeer peer;
    RpcSocket rpc(socket, id('a'), nullptr);
    bool expired = false;
    QVERIFY(rpc.invoke(
        nodeOf(peer, id('b')), QStringLiteral("work"), {}, {}, [&] { expired = true; }, 60'000));
    wallOffset = kHour;
    rpc.onTimeout();
    QVERIFY(!expired);
}

QTEST_GUILESS_MAIN(tst_WallClock)
#include "tst_WallClock.moc"
