#include "Client/ServerFinder.h"

#include "support/LogCapture.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QUdpSocket>
#include <QtTest>
#include <memory>

class tst_ServerFinder : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void serverThatAnnouncesItselfIsFound();
    void twoFindersOnOneMachineHearSameBroadcast();
    void serverHeardAgainIsYoungAndNoNews();
    void serverThatAnnouncesSomethingElseIsNews();
    void serverUnheardForFiveSecondsIsDropped();
    void serverThatComesBackIsFoundAgain();
    void twoServersOnOneMachineAreTwo();
    void serverHeardFromTwoAddressesIsOneAtFirst();
    void serverThatFallsSilentAtOneAddressIsAtOther();
    void impostorDoesNotTakeServersPlace();
    void whatIsNoAnnouncementCostsOneWarning();
    void afterSixtyFourReadsTimersHaveTheirTurn();
    void noMoreThan256ServersAreKept();
    void portThatIsTakenWithoutSharingIsError();

private:
    void announce(const QJsonObject& changes = {});
    void announceRaw(const QByteArray& datagram);
    void announceFrom(const QString& address);

    qint64 m_now = 0;
    std::unique_ptr<ServerFinder> m_finder;
    QVector<ServerFinder::Server> m_found;
    QVector<ServerFinder::Server> m_lost;
    QUdpSocket m_socket;
};

namespace
{

constexpr quint16 kPort = 45433;

// Decimal digits: the bytes of an id must not sum to 0 modulo 256.
QString idOf(int number)
{
    return QStringLiteral("%1").arg(number, 40, 10, QLatin1Char('0'));
}

} // namespace

void tst_ServerFinder::init()
{
    m_now = 1000;
    m_found.clear();
    m_lost.clear();
    m_finder = std::make_unique<ServerFinder>(nullptr, [this] { return m_now; });
    connect(m_finder.get(), &ServerFinder::found, this,
            [this](const ServerFinder::Server& server) { m_found.append(server); });
    connect(m_finder.get(), &ServerFinder::lost, this,
            [this](const ServerFinder::Server& server) { m_lost.append(server); });
    QVERIFY(m_finder->listen());
}

void tst_ServerFinder::announce(const QJsonObject& changes)
{
    QJsonObject object{{QStringLiteral("id"), idOf(1)},
                       {QStringLiteral("vma"), 8},
                       {QStringLiteral("vmi"), 0},
                       {QStringLiteral("port"), 50'000},
                       {QStringLiteral("device_type"), 5},
                       {QStringLiteral("title"), QString()},
                       {QStringLiteral("description"), QString()},
                       {QStringLiteral("identificator"), QString()}};
    for (auto change = changes.begin(); change != changes.end(); ++change) {
        object.insert(change.key(), change.value());
    }
    announceRaw(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

void tst_ServerFinder::announceRaw(const QByteArray& datagram)
{
    m_socket.writeDatagram(datagram, QHostAddress::Broadcast, kPort);
}

void tst_ServerFinder::announceFrom(const QString& address)
{
    m_socket.close();
    QVERIFY(m_socket.bind(QHostAddress(address)));
    announce();
    m_socket.close();
}

void tst_ServerFinder::serverThatAnnouncesItselfIsFound()
{
    announce();
    QTRY_COMPARE(m_found.size(), 1);
    const auto servers = m_finder->servers();
    QCOMPARE(servers.size(), 1);
    QCOMPARE(servers.first().announcement.id.toString(), idOf(1));
    QCOMPARE(servers.first().announcement.port, quint16(50'000));
    QCOMPARE(servers.first().announcement.deviceType, 5);
    QCOMPARE(servers.first().age, 0);
    QCOMPARE(servers.first().address.protocol(), QAbstractSocket::IPv4Protocol);
    m_now += 1500;
    QCOMPARE(m_finder->servers().first().age, 1500);
}

void tst_ServerFinder::twoFindersOnOneMachineHearSameBroadcast()
{
    ServerFinder second;
    QVERIFY(second.listen());
    announce();
    QTRY_COMPARE(m_finder->servers().size(), 1);
    QTRY_COMPARE(second.servers().size(), 1);
}

void tst_ServerFinder::serverHeardAgainIsYoungAndNoNews()
{
    announce();
    QTRY_COMPARE(m_found.size(), 1);
    m_now += 4000;
    announce();
    QTRY_COMPARE(m_finder->servers().first().age, 0);
    QCOMPARE(m_found.size(), 1);
}

void tst_ServerFinder::serverThatAnnouncesSomethingElseIsNews()
{
    announce();
    QTRY_COMPARE(m_found.size(), 1);
    announce({{QStringLiteral("title"), QStringLiteral("b")}});
    QTRY_COMPARE(m_found.size(), 2);
    QCOMPARE(m_finder->servers().size(), 1);
    QCOMPARE(m_finder->servers().first().announcement.title, QStringLiteral("b"));
}

void tst_ServerFinder::serverUnheardForFiveSecondsIsDropped()
{
    announce();
    QTRY_COMPARE(m_found.size(), 1);
    m_now += 5000;
    m_finder->onTimeout();
    QCOMPARE(m_finder->servers().size(), 1);
    m_now += 1;
    QCOMPARE(m_finder->servers().size(), 0);
    m_finder->onTimeout();
    QCOMPARE(m_lost.size(), 1);
    QCOMPARE(m_lost.first().announcement.id.toString(), idOf(1));
    m_finder->onTimeout();
    QCOMPARE(m_lost.size(), 1);
}

void tst_ServerFinder::serverThatComesBackIsFoundAgain()
{
    announce();
    QTRY_COMPARE(m_found.size(), 1);
    m_now += 5001;
    announce(); // before the tick that would have dropped it
    QTRY_COMPARE(m_found.size(), 2);
    m_now += 5001;
    m_finder->onTimeout();
    announce();
    QTRY_COMPARE(m_found.size(), 3);
    QCOMPARE(m_lost.size(), 1);
}

void tst_ServerFinder::twoServersOnOneMachineAreTwo()
{
    announce();
    announce({{QStringLiteral("id"), idOf(2)}, {QStringLiteral("port"), 50'001}});
    QTRY_COMPARE(m_finder->servers().size(), 2);
    QCOMPARE(m_finder->servers().at(1).announcement.port, quint16(50'001));
}

void tst_ServerFinder::serverHeardFromTwoAddressesIsOneAtFirst()
{
    for (int round = 0; round < 3; ++round) {
        announceFrom(QStringLiteral("127.0.0.1"));
        announceFrom(QStringLiteral("127.0.0.2"));
        announce({{QStringLiteral("id"), idOf(2 + round)}}); // all before it has been heard then
        QTRY_COMPARE(m_finder->servers().size(), 2 + round);
    }
    QCOMPARE(m_finder->servers().first().address, QHostAddress(QStringLiteral("127.0.0.1")));
    QCOMPARE(m_found.size(), 4);
}

void tst_ServerFinder::serverThatFallsSilentAtOneAddressIsAtOther()
{
    announceFrom(QStringLiteral("127.0.0.1"));
    QTRY_COMPARE(m_finder->servers().size(), 1);
    m_now += 3000;
    announceFrom(QStringLiteral("127.0.0.2"));
    announce({{QStringLiteral("id"), idOf(2)}});
    QTRY_COMPARE(m_finder->servers().size(), 2);
    m_now += 3000;
    QCOMPARE(m_finder->servers().size(), 2);
    QCOMPARE(m_finder->servers().first().address, QHostAddress(QStringLiteral("127.0.0.2")));
    m_finder->onTimeout();
    QCOMPARE(m_lost.size(), 0);
    m_now += 3000;
    m_finder->onTimeout();
    QCOMPARE(m_lost.size(), 2);
}

void tst_ServerFinder::impostorDoesNotTakeServersPlace()
{
    announce();
    announce({{QStringLiteral("port"), 666}});
    QTRY_COMPARE(m_finder->servers().size(), 2);
    QCOMPARE(m_finder->servers().first().announcement.port, quint16(50'000));
}

void tst_ServerFinder::whatIsNoAnnouncementCostsOneWarning()
{
    const LogCapture log;
    announceRaw("hello");
    announceRaw(QByteArray());
    announceRaw(QByteArray(60'000, '{'));
    announce({{QStringLiteral("port"), 0}});
    QTRY_COMPARE(m_finder->refusedDatagrams(), 4);
    announce();
    QTRY_COMPARE(m_finder->servers().size(), 1);
    QCOMPARE(log.texts().size(), 1);
    QVERIFY(log.texts().first().contains(QStringLiteral("=>\t What is no announcement comes from ")));
}

void tst_ServerFinder::afterSixtyFourReadsTimersHaveTheirTurn()
{
    const LogCapture log;
    for (int i = 0; i < 150; ++i) {
        announceRaw("x");
    }
    QList<qint64> readAtTurn;
    QTimer turns;
    connect(&turns, &QTimer::timeout, this, [&] { readAtTurn.append(m_finder->refusedDatagrams()); });
    turns.start(0);
    QTRY_COMPARE(m_finder->refusedDatagrams(), qint64(150));
    qint64 before = 0;
    for (const qint64 read : readAtTurn) {
        QVERIFY2(read - before <= 64, qPrintable(QString::number(read - before)));
        before = read;
    }
    QVERIFY(readAtTurn.size() >= 2);
}

void tst_ServerFinder::noMoreThan256ServersAreKept()
{
    for (int i = 1; i <= 300; ++i) {
        announce({{QStringLiteral("id"), idOf(10'000 + i)}});
        QTRY_COMPARE(m_finder->servers().size(), qMin(i, 256));
    }
    m_now += 5000;
    announce({{QStringLiteral("id"), idOf(10'001)}}); // one that is known
    QTRY_COMPARE(m_finder->servers().first().age, 0);
    m_now += 1;
    m_finder->onTimeout();
    announce({{QStringLiteral("id"), idOf(20'000)}});
    QTRY_COMPARE(m_finder->servers().size(), 2);
}

void tst_ServerFinder::portThatIsTakenWithoutSharingIsError()
{
    QUdpSocket other;
    QVERIFY(other.bind(QHostAddress::AnyIPv4, 0, QUdpSocket::DontShareAddress));
    ServerFinder finder;
    QVERIFY(!finder.listen(other.localPort()));
    QVERIFY(!finder.errorString().isEmpty());
}

QTEST_GUILESS_MAIN(tst_ServerFinder)
#include "tst_ServerFinder.moc"
