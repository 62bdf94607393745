#include "System/SecondHost.h"
#include "System/Served.h"
#include "support/WireClient.h"

#include <QJsonDocument>
#include <QNetworkDatagram>
#include <QProcess>
#include <QTest>
#include <algorithm>
#include <iterator>

namespace
{

constexpr quint16 kPort = 45'433;

struct Announcement
{
    QByteArray bytes;
    QJsonObject object;
    QHostAddress address;
    quint16 port = 0;
    qint64 time = 0; // ms
};

/// Runs the program of that name.
bool ip(const QByteArray& arguments)
{
    return QProcess::execute(QStringLiteral("ip"), QString::fromLatin1(arguments).split(QLatin1Char(' '))) ==
           0;
}

} // namespace

/// Heard by a second computer, which knows nothing of the servers but what they say.
class tst_LocalNetwork : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void announcementTellsAllThatClientNeeds();
    void announcementsComeOncePerSecond();
    void everyServerOfComputerAnnouncesItself();
    void sessionSilencesAnnouncements();
    void announcementGoesOutOnEveryInterfaceWithoutRoute();
    void interfacesMayComeAndGo();
    void silenceIsToldWhenItBeginsAndWhenItEnds();

private:
    /// Announcements that came over a cable.
    [[nodiscard]] QVector<Announcement> over(int cable, const ServerProcess& server) const;
    [[nodiscard]] QVector<Announcement> of(const ServerProcess& server) const;
    [[nodiscard]] bool waitFor(const ServerProcess& server, int count) const;

    std::unique_ptr<SecondHost> m_host;
    QUdpSocket m_ear;
    QElapsedTimer m_clock;
    QVector<Announcement> m_heard;
};

void tst_LocalNetwork::initTestCase()
{
    m_clock.start();
    m_host = std::make_unique<SecondHost>();
    QVERIFY(m_host->isConnected());
    QVERIFY(m_ear.setSocketDescriptor(m_host->openSocket(kPort), QAbstractSocket::BoundState));
    connect(&m_ear, &QUdpSocket::readyRead, this, [this] {
        while (m_ear.hasPendingDatagrams()) {
            const QNetworkDatagram datagram = m_ear.receiveDatagram();
            m_heard.append({datagram.data(), QJsonDocument::fromJson(datagram.data()).object(),
                            datagram.senderAddress(), static_cast<quint16>(datagram.senderPort()),
                            m_clock.elapsed()});
        }
    });
}

void tst_LocalNetwork::init()
{
    m_heard.clear();
}

QVector<Announcement> tst_LocalNetwork::of(const ServerProcess& server) const
{
    QVector<Announcement> result;
    for (const Announcement& announcement : m_heard) {
        if (announcement.object.value(QStringLiteral("id")).toString().toLatin1() == server.id().toHex()) {
            result.append(announcement);
        }
    }
    return result;
}

bool tst_LocalNetwork::waitFor(const ServerProcess& server, int count) const
{
    return waitUntil([this, &server, count] { return of(server).size() >= count; });
}

void tst_LocalNetwork::announcementTellsAllThatClientNeeds()
{
    Served served(recording({}));
    QVERIFY(served.server.serve());
    QVERIFY(waitFor(served.server, 1));
    const Announcement announcement = of(served.server).first();

    const QJsonObject expected{
        {QStringLiteral("id"), QString::fromLatin1(served.server.id().toHex())},
        {QStringLiteral("vma"), 8},
        {QStringLiteral("vmi"), 0},
        {QStringLiteral("port"), served.server.port()},
        {QStringLiteral("device_type"), 0},
        {QStringLiteral("title"), QStringLiteral("IQ file player")},
        {QStringLiteral("description"), served.file},
        {QStringLiteral("identificator"), served.file},
    };
    QCOMPARE(announcement.object, expected);
    QCOMPARE(announcement.bytes, QJsonDocument(expected).toJson(QJsonDocument::Compact));
    QVERIFY(announcement.port != served.server.port());

    // It is enough to come in by.
    const QJsonObject& object = announcement.object;
    WireClient client(
        m_host->openSocket(0), QByteArray::fromHex(object.value(QStringLiteral("id")).toString().toLatin1()),
        announcement.address, static_cast<quint16>(object.value(QStringLiteral("port")).toInt()));
    QVERIFY(client.open(object.value(QStringLiteral("identificator")).toString()));
    QVERIFY(client.waitForSamples(4800));
    QVERIFY(client.close());
}

void tst_LocalNetwork::announcementsComeOncePerSecond()
{
    Served served(recording({}));
    QVERIFY(served.server.serve());
    QVERIFY(waitFor(served.server, 4));
    const QVector<Announcement> heard = of(served.server);
    // A coarse timer may be early by a twentieth, and a loaded machine late.
    QVERIFY(heard[3].time - heard[0].time >= 2500);
    QCOMPARE(heard[3].port, heard[0].port);
}

void tst_LocalNetwork::everyServerOfComputerAnnouncesItself()
{
    Served first(recording({}), QStringLiteral("first.wav"));
    Served second(recording({}), QStringLiteral("second.wav"));
    QVERIFY(first.server.serve());
    QVERIFY(second.server.serve());
    QVERIFY(waitFor(first.server, 1));
    QVERIFY(waitFor(second.server, 1));
    for (const Served* served : {&first, &second}) {
        const QJsonObject object = of(served->server).first().object;
        QCOMPARE(object.value(QStringLiteral("port")).toInt(), int(served->server.port()));
        QCOMPARE(object.value(QStringLiteral("identificator")).toString(), served->file);
    }
}

void tst_LocalNetwork::sessionSilencesAnnouncements()
{
    Served served(recording({}));
    Served other(recording({})); // goes on, and so tells that time passes
    QVERIFY(served.server.serve());
    QVERIFY(other.server.serve());
    QVERIFY(waitFor(served.server, 1));
    WireClient client(served.server);
    QVERIFY(client.open(served.file));
    m_heard.clear();
    QVERIFY(waitFor(other.server, 3));
    QVERIFY(of(served.server).size() <= 1); // one may have been on its way
    QVERIFY(client.close());
    m_heard.clear();
    QVERIFY(waitFor(served.server, 2));
}

QVector<Announcement> tst_LocalNetwork::over(int cable, const ServerProcess& server) const
{
    const QVector<Announcement> heard = of(server);
    QVector<Announcement> result;
    std::copy_if(heard.cbegin(), heard.cend(), std::back_inserter(result), [cable](const auto& announcement) {
        return announcement.address.isEqual(SecondHost::here(cable));
    });
    return result;
}

void tst_LocalNetwork::announcementGoesOutOnEveryInterfaceWithoutRoute()
{
    QVERIFY(m_host->lay(1));
    QVERIFY(m_host->lay(2));
    QVERIFY(ip("route del 255.255.255.255"));
    Served served(recording({}));
    QVERIFY(served.server.serve());
    for (const int cable : {0, 1, 2}) {
        QVERIFY(waitUntil([&] { return over(cable, served.server).size() >= 3; }));
        const QVector<Announcement> heard = over(cable, served.server);
        // Once a second, each of them.
        QVERIFY(heard[2].time - heard[0].time >= 1600);
        QCOMPARE(heard[0].bytes, over(0, served.server).value(0).bytes);
        QCOMPARE(heard[2].port, heard[0].port);
    }
    QCOMPARE(served.server.count(QStringLiteral("announcement")), 0);
}

void tst_LocalNetwork::interfacesMayComeAndGo()
{
    Served served(recording({}));
    QVERIFY(served.server.serve());
    QVERIFY(m_host->lay(3));
    QVERIFY(waitUntil([&] { return over(3, served.server).size() >= 1; }));
    QVERIFY(ip("link set cable3 down"));
    m_heard.clear();
    QVERIFY(waitUntil([&] { return over(0, served.server).size() >= 2; }));
    QCOMPARE(over(3, served.server).size(), 0);
    QVERIFY(ip("address flush dev cable3"));
    QVERIFY(ip("address add 10.90.3.1/24 dev cable3"));
    QVERIFY(ip("link set cable3 up"));
    QVERIFY(waitUntil([&] { return over(3, served.server).size() >= 1; }));
}

void tst_LocalNetwork::silenceIsToldWhenItBeginsAndWhenItEnds()
{
    const QString begun = QStringLiteral("The local network can't hear the announcement: ");
    const QString over = QStringLiteral("The local network hears the announcement again");
    Served served(recording({}));
    QVERIFY(served.server.serve());
    QVERIFY(waitFor(served.server, 1));
    for (int round = 1; round <= 2; ++round) {
        for (const char* const cable : {"cable0", "cable1", "cable2", "cable3"}) {
            QVERIFY(ip(QByteArray("link set ") + cable + " down"));
        }
        QVERIFY(waitUntil([&] { return served.server.count(begun) == round; }));
        // Others go by in silence.
        QElapsedTimer clock;
        clock.start();
        QVERIFY(waitUntil([&clock] { return clock.elapsed() > 1500; }));
        QCOMPARE(served.server.count(begun), round);
        QCOMPARE(served.server.count(over), round - 1);
        QVERIFY(ip("link set cable0 up"));
        QVERIFY(waitUntil([&] { return served.server.count(over) == round; }));
        QCOMPARE(served.server.count(begun), round);
    }
}

QTEST_GUILESS_MAIN(tst_LocalNetwork)
#include "tst_LocalNetwork.moc"
