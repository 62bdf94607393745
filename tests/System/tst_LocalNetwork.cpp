#include "System/SecondHost.h"
#include "System/Served.h"
#include "System/WireClient.h"

#include <QJsonDocument>
#include <QNetworkDatagram>
#include <QTest>
#include <map>

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

} // namespace

/// Heard by a second computer, which knows nothing of the servers but what they say.
class tst_LocalNetwork : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void announcementTellsAllThatAClientNeeds();
    void announcementsComeOnceASecond();
    void everyServerOfAComputerAnnouncesItself();
    void sessionSilencesTheAnnouncements();

private:
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

void tst_LocalNetwork::announcementTellsAllThatAClientNeeds()
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

void tst_LocalNetwork::announcementsComeOnceASecond()
{
    Served served(recording({}));
    QVERIFY(served.server.serve());
    QVERIFY(waitFor(served.server, 4));
    const QVector<Announcement> heard = of(served.server);
    // A coarse timer may be early by a twentieth, and a loaded machine late.
    QVERIFY(heard[3].time - heard[0].time >= 2500);
    QCOMPARE(heard[3].port, heard[0].port);
}

void tst_LocalNetwork::everyServerOfAComputerAnnouncesItself()
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

void tst_LocalNetwork::sessionSilencesTheAnnouncements()
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

QTEST_GUILESS_MAIN(tst_LocalNetwork)
#include "tst_LocalNetwork.moc"
