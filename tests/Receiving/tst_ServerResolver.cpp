#include "Receiving/ServerResolver.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkDatagram>
#include <QSignalSpy>
#include <QUdpSocket>
#include <QtTest>

namespace
{

constexpr int kListen = 400; // ms

const QString kId = QStringLiteral("0102030405060708090a0b0c0d0e0f1011121314");

QByteArray announcement(const QString& id, const QString& identificator, int port = 40'123, int major = 8)
{
    return QJsonDocument(QJsonObject{{QStringLiteral("id"), id},
                                     {QStringLiteral("port"), port},
                                     {QStringLiteral("vma"), major},
                                     {QStringLiteral("vmi"), 0},
                                     {QStringLiteral("device_type"), 0},
                                     {QStringLiteral("title"), QStringLiteral("a title")},
                                     {QStringLiteral("description"), QString()},
                                     {QStringLiteral("identificator"), identificator}})
        .toJson(QJsonDocument::Compact);
}

ServerArgument argument(const QString& host = {}, quint16 port = 0)
{
    ServerArgument server;
    server.id = int160(kId);
    server.host = host;
    server.port = port;
    return server;
}

} // namespace

class tst_ServerResolver : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void addressAloneIsHeardOnNetwork();
    void anotherServerIsNotTaken();
    void silenceIsNotFound();
    void twoServersOfOneAddressAreRefused_data();
    void twoServersOfOneAddressAreRefused();
    void identificatorMustBeAnnouncedOne_data();
    void identificatorMustBeAnnouncedOne();
    void otherVersionIsRefused();
    void hostWithoutIdentificatorSaysWhatIsMissing();
    void hostIsLookedUp_data();
    void hostIsLookedUp();
    void unknownHostIsNotFound();

private:
    void announce(const QByteArray& datagram);
    [[nodiscard]] ServerResolver::Failure failure() const
    {
        return m_failed->at(0).at(0).value<ServerResolver::Failure>();
    }
    [[nodiscard]] ClientSession::Target target() const
    {
        return m_found->at(0).at(0).value<ClientSession::Target>();
    }

    QUdpSocket m_server;
    std::unique_ptr<ServerResolver> m_resolver;
    std::unique_ptr<QSignalSpy> m_found;
    std::unique_ptr<QSignalSpy> m_failed;
};

Q_DECLARE_METATYPE(ServerResolver::Failure)
Q_DECLARE_METATYPE(ClientSession::Target)

void tst_ServerResolver::init()
{
    qRegisterMetaType<ServerResolver::Failure>("ServerResolver::Failure");
    qRegisterMetaType<ClientSession::Target>("ClientSession::Target");
    m_resolver = std::make_unique<ServerResolver>();
    m_found = std::make_unique<QSignalSpy>(m_resolver.get(), &ServerResolver::found);
    m_failed = std::make_unique<QSignalSpy>(m_resolver.get(), &ServerResolver::failed);
}

void tst_ServerResolver::announce(const QByteArray& datagram)
{
    QCOMPARE(m_server.writeDatagram(datagram, QHostAddress::LocalHost, Announcement::kPort),
             qint64(datagram.size()));
}

void tst_ServerResolver::addressAloneIsHeardOnNetwork()
{
    m_resolver->start(argument(), {}, kListen);
    announce(announcement(kId, QStringLiteral("an id")));
    announce(announcement(kId, QStringLiteral("an id")));
    QTRY_COMPARE(m_found->size(), 1);
    QCOMPARE(target().id, int160(kId));
    QVERIFY(target().address.isEqual(QHostAddress::LocalHost, QHostAddress::TolerantConversion));
    QCOMPARE(target().port, quint16(40'123));
    QCOMPARE(target().identificator, QStringLiteral("an id"));
}

void tst_ServerResolver::anotherServerIsNotTaken()
{
    m_resolver->start(argument(), {}, kListen);
    announce(announcement(QString(kId).replace(0, 2, QStringLiteral("02")), QStringLiteral("an id")));
    QTRY_COMPARE(m_failed->size(), 1);
    QCOMPARE(failure().problem, ServerResolver::Problem::NotHeard);
}

void tst_ServerResolver::silenceIsNotFound()
{
    m_resolver->start(argument(), {}, kListen);
    QTRY_COMPARE(m_failed->size(), 1);
    QCOMPARE(failure().problem, ServerResolver::Problem::NotHeard);
}

void tst_ServerResolver::twoServersOfOneAddressAreRefused_data()
{
    QTest::addColumn<QByteArray>("second");
    QTest::newRow("another port") << announcement(kId, QStringLiteral("an id"), 40'124);
    QTest::newRow("another identificator, another port")
        << announcement(kId, QStringLiteral("other"), 40'124);
}

void tst_ServerResolver::twoServersOfOneAddressAreRefused()
{
    QFETCH(QByteArray, second);
    m_resolver->start(argument(), {}, kListen);
    announce(announcement(kId, QStringLiteral("an id")));
    announce(second);
    QTRY_COMPARE(m_failed->size(), 1);
    QCOMPARE(failure().problem, ServerResolver::Problem::ClaimedTwice);
    QVERIFY(!failure().detail.isEmpty() && !failure().other.isEmpty());
    QVERIFY(m_found->isEmpty());
}

void tst_ServerResolver::identificatorMustBeAnnouncedOne_data()
{
    QTest::addColumn<QString>("given");
    QTest::addColumn<bool>("isTaken");
    QTest::newRow("the same") << QStringLiteral("an id") << true;
    QTest::newRow("another") << QStringLiteral("an Id") << false;
}

void tst_ServerResolver::identificatorMustBeAnnouncedOne()
{
    QFETCH(QString, given);
    QFETCH(bool, isTaken);
    m_resolver->start(argument(), given, kListen);
    announce(announcement(kId, QStringLiteral("an id")));
    QTRY_COMPARE(m_found->size() + m_failed->size(), 1);
    QCOMPARE(m_found->size(), isTaken ? 1 : 0);
    if (!isTaken) {
        QCOMPARE(failure().problem, ServerResolver::Problem::OtherIdentificator);
        QCOMPARE(failure().detail, QStringLiteral("an id"));
    }
}

void tst_ServerResolver::otherVersionIsRefused()
{
    m_resolver->start(argument(), {}, kListen);
    announce(announcement(kId, QStringLiteral("an id"), 40'123, 9));
    QTRY_COMPARE(m_failed->size(), 1);
    QCOMPARE(failure().problem, ServerResolver::Problem::OtherVersion);
    QCOMPARE(failure().detail, QStringLiteral("9"));
}

void tst_ServerResolver::hostWithoutIdentificatorSaysWhatIsMissing()
{
    m_resolver->start(argument(QStringLiteral("127.0.0.1"), 1), {}, kListen);
    QCOMPARE(m_failed->size(), 1);
    QCOMPARE(failure().problem, ServerResolver::Problem::IdentificatorMissing);
}

void tst_ServerResolver::hostIsLookedUp_data()
{
    QTest::addColumn<QString>("host");
    QTest::addColumn<QString>("address");
    QTest::newRow("IPv4") << QStringLiteral("127.0.0.1") << QStringLiteral("127.0.0.1");
    QTest::newRow("IPv6") << QStringLiteral("::1") << QStringLiteral("::1");
    QTest::newRow("a name") << QStringLiteral("rendezvous.orvenlink.test") << QStringLiteral("127.0.0.1");
}

void tst_ServerResolver::hostIsLookedUp()
{
    QFETCH(QString, host);
    QFETCH(QString, address);
    m_resolver->start(argument(host, 40'123), QStringLiteral("an id"), kListen);
    QTRY_COMPARE(m_found->size(), 1);
    QCOMPARE(target().address, QHostAddress(address));
    QCOMPARE(target().port, quint16(40'123));
    QCOMPARE(target().identificator, QStringLiteral("an id"));
}

void tst_ServerResolver::unknownHostIsNotFound()
{
    m_resolver->start(argument(QStringLiteral("nohost.invalid"), 1), QStringLiteral("an id"), kListen);
    QTRY_COMPARE_WITH_TIMEOUT(m_failed->size(), 1, 60'000);
    QCOMPARE(failure().problem, ServerResolver::Problem::UnknownHost);
    QCOMPARE(failure().detail, QStringLiteral("nohost.invalid"));
    QVERIFY(!failure().other.isEmpty());
}

QTEST_GUILESS_MAIN(tst_ServerResolver)
#include "tst_ServerResolver.moc"
