#include "Network/Internet/IPFromDNS.h"

#include "support/LogCapture.h"

#include <QtTest>

// Runs with the name server of tests/isolated-dns.
class tst_IPFromDNS : public QObject
{
    Q_OBJECT

private slots:
    void hostsAddressIsFoundAndLogged();
    void hostOfSeveralAddressesYieldsFirstOfNameServer();
    void hostWithoutIpv4AddressGivesNullAddressAndNotFoundText_data();
    void hostWithoutIpv4AddressGivesNullAddressAndNotFoundText();
    void unknownHostGivesNullAddressAndFailedText();
    void lookupReturnsBeforeAnswerIsThere();
    void eachLookupFinishesOnce();
};

namespace
{

constexpr int kAnswerTimeout = 20'000; // ms; a resolver may try again

/// The addresses that `finish` has carried.
class Finishes
{
public:
    explicit Finishes(const IPFromDNS& dns)
        : m_connection(QObject::connect(&dns, &IPFromDNS::finish,
                                        [this](const QHostAddress& address) { m_addresses.append(address); }))
    {
    }
    ~Finishes() { QObject::disconnect(m_connection); }

    [[nodiscard]] const QVector<QHostAddress>& addresses() const { return m_addresses; }
    [[nodiscard]] bool wait(int count) const
    {
        return QTest::qWaitFor([this, count] { return m_addresses.size() >= count; }, kAnswerTimeout);
    }

private:
    Q_DISABLE_COPY_MOVE(Finishes)
    QVector<QHostAddress> m_addresses;
    QMetaObject::Connection m_connection;
};

/// What one look-up came to.
struct Outcome
{
    QVector<QHostAddress> addresses;
    QStringList warnings; ///< Without their tags.
    QStringList debugs;
};

Outcome lookUp(const QString& name)
{
    const LogCapture log;
    IPFromDNS dns(nullptr);
    const Finishes finishes(dns);
    dns.lookup(name);
    if (!finishes.wait(1)) {
        return {};
    }
    QStringList warnings;
    for (const QString& warning : log.texts(QtWarningMsg)) {
        warnings.append(warning.section(QStringLiteral("=>\t "), 1));
    }
    return {finishes.addresses(), warnings, log.texts(QtDebugMsg)};
}

} // namespace

void tst_IPFromDNS::hostsAddressIsFoundAndLogged()
{
    const Outcome outcome = lookUp(QStringLiteral("one.orvenlink.test"));
    QCOMPARE(outcome.addresses, QVector<QHostAddress>{QHostAddress(QStringLiteral("192.0.2.1"))});
    QCOMPARE(outcome.warnings, QStringList());
    QCOMPARE(outcome.debugs.size(), 1);
    QCOMPARE(outcome.debugs.constFirst(),
             QStringLiteral("DNS lookup one.orvenlink.test QHostAddress(\"192.0.2.1\")"));
}

void tst_IPFromDNS::hostOfSeveralAddressesYieldsFirstOfNameServer()
{
    QDnsLookup direct(QDnsLookup::A, QStringLiteral("several.orvenlink.test"));
    direct.lookup();
    QTRY_VERIFY_WITH_TIMEOUT(direct.isFinished(), kAnswerTimeout);
    QCOMPARE(direct.hostAddressRecords().size(), 3);
    const QHostAddress first = direct.hostAddressRecords().constFirst().value();

    const Outcome outcome = lookUp(QStringLiteral("several.orvenlink.test"));
    QCOMPARE(outcome.addresses, QVector<QHostAddress>{first});
    QCOMPARE(outcome.warnings, QStringList());
}

void tst_IPFromDNS::hostWithoutIpv4AddressGivesNullAddressAndNotFoundText_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("an IPv6 address alone") << QStringLiteral("six.orvenlink.test");
    QTest::newRow("a text record alone") << QStringLiteral("text.orvenlink.test");
    QTest::newRow("an alias of such a host") << QStringLiteral("alias.orvenlink.test");
}

void tst_IPFromDNS::hostWithoutIpv4AddressGivesNullAddressAndNotFoundText()
{
    QFETCH(QString, name);
    const Outcome outcome = lookUp(name);
    QCOMPARE(outcome.addresses, QVector<QHostAddress>{QHostAddress()});
    QCOMPARE(outcome.warnings, QStringList{QStringLiteral("DNS lookup not found records")});
    QCOMPARE(outcome.debugs, QStringList());
}

void tst_IPFromDNS::unknownHostGivesNullAddressAndFailedText()
{
    const Outcome outcome = lookUp(QStringLiteral("none.orvenlink.test"));
    QCOMPARE(outcome.addresses, QVector<QHostAddress>{QHostAddress()});
    QCOMPARE(outcome.warnings.size(), 1);
    QCOMPARE(outcome.warnings.constFirst(), QStringLiteral("DNS lookup failed Non existent domain"));
    QCOMPARE(outcome.debugs, QStringList());
}

void tst_IPFromDNS::lookupReturnsBeforeAnswerIsThere()
{
    const LogCapture log;
    IPFromDNS dns(nullptr);
    const Finishes finishes(dns);
    dns.lookup(QStringLiteral("one.orvenlink.test"));
    QCOMPARE(finishes.addresses().size(), 0);
    QVERIFY(finishes.wait(1));
}

void tst_IPFromDNS::eachLookupFinishesOnce()
{
    const LogCapture log;
    IPFromDNS dns(nullptr);
    const Finishes finishes(dns);
    dns.lookup(QStringLiteral("none.orvenlink.test"));
    QVERIFY(finishes.wait(1));
    dns.lookup(QStringLiteral("one.orvenlink.test"));
    QVERIFY(finishes.wait(2));
    QCOMPARE(finishes.addresses(),
             (QVector<QHostAddress>{QHostAddress(), QHostAddress(QStringLiteral("192.0.2.1"))}));
}

QTEST_GUILESS_MAIN(tst_IPFromDNS)
#include "tst_IPFromDNS.moc"
