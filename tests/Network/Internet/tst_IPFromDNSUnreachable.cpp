#include "Network/Internet/IPFromDNS.h"

#include "support/LogCapture.h"

#include <QtTest>

// Runs where no name server can be reached.
class tst_IPFromDNSUnreachable : public QObject
{
    Q_OBJECT

private slots:
    void withoutNetworkAddressIsNullAndTextTellsFailure();
};

void tst_IPFromDNSUnreachable::withoutNetworkAddressIsNullAndTextTellsFailure()
{
    const LogCapture log;
    IPFromDNS dns(nullptr);
    QVector<QHostAddress> addresses;
    connect(&dns, &IPFromDNS::finish, this, [&](const QHostAddress& address) { addresses.append(address); });
    dns.lookup(QStringLiteral("one.orvenlink.test"));
    QTRY_COMPARE_WITH_TIMEOUT(addresses, QVector<QHostAddress>{QHostAddress()}, 60'000);
    QCOMPARE(log.records().size(), 1);
    QVERIFY2(log.texts(QtWarningMsg)
                 .constFirst()
                 .endsWith(QStringLiteral("=>\t DNS lookup failed Invalid reply received")),
             qPrintable(log.texts().constFirst()));
}

QTEST_GUILESS_MAIN(tst_IPFromDNSUnreachable)
#include "tst_IPFromDNSUnreachable.moc"
