#include "Server/RendezvousSettings.h"

#include "Core/Settings/Settings.h"
#include "Rendezvous/RendezvousServer.h"
#include "support/LogCapture.h"

#include <QtTest>

class tst_RendezvousSettings : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void withNothingStoredBuiltInServerIsMeant();
    void builtInIdIsNotNull();
    void storedValuesReplaceBuiltInOnes();
    void storedValueThatCannotBeMeantIsPassedOver_data();
    void storedValueThatCannotBeMeantIsPassedOver();
};

void tst_RendezvousSettings::initTestCase()
{
    QCoreApplication::setOrganizationName(QStringLiteral("Orvenlink"));
    QCoreApplication::setApplicationName(QStringLiteral("tst_RendezvousSettings"));
}

void tst_RendezvousSettings::init()
{
    Settings::eraseAll();
}

void tst_RendezvousSettings::withNothingStoredBuiltInServerIsMeant()
{
    QCOMPARE(RendezvousSettings::host(), QString::fromLatin1(RendezvousServer::kHostName));
    QCOMPARE(RendezvousSettings::id().toString(), QString::fromLatin1(RendezvousServer::kId));
    QCOMPARE(RendezvousSettings::port(), quint16(29365));
}

void tst_RendezvousSettings::builtInIdIsNotNull()
{
    QVERIFY(!RendezvousSettings::id().isNull());
}

void tst_RendezvousSettings::storedValuesReplaceBuiltInOnes()
{
    const QString id = QStringLiteral("0102030405060708090a0b0c0d0e0f1011121314");
    Settings::privateWrite(QStringLiteral("rendezvous_host"), QStringLiteral(" rendezvous.test "));
    Settings::privateWrite(QStringLiteral("rendezvous_id"), id);
    Settings::privateWrite(QStringLiteral("rendezvous_port"), 65535);
    QCOMPARE(RendezvousSettings::host(), QStringLiteral("rendezvous.test"));
    QCOMPARE(RendezvousSettings::id().toString(), id);
    QCOMPARE(RendezvousSettings::port(), quint16(65535));
}

void tst_RendezvousSettings::storedValueThatCannotBeMeantIsPassedOver_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("value");
    QTest::newRow("empty host") << QStringLiteral("rendezvous_host") << QString(QLatin1String(""));
    QTest::newRow("short id") << QStringLiteral("rendezvous_id") << QStringLiteral("0102");
    QTest::newRow("null id") << QStringLiteral("rendezvous_id") << QString(40, QLatin1Char('0'));
    QTest::newRow("port 0") << QStringLiteral("rendezvous_port") << QStringLiteral("0");
    QTest::newRow("port 65536") << QStringLiteral("rendezvous_port") << QStringLiteral("65536");
    QTest::newRow("port as a word") << QStringLiteral("rendezvous_port") << QStringLiteral("http");
}

void tst_RendezvousSettings::storedValueThatCannotBeMeantIsPassedOver()
{
    QFETCH(QString, key);
    QFETCH(QString, value);
    Settings::privateWrite(key, value);
    const LogCapture log;
    QCOMPARE(RendezvousSettings::host(), QString::fromLatin1(RendezvousServer::kHostName));
    QCOMPARE(RendezvousSettings::id().toString(), QString::fromLatin1(RendezvousServer::kId));
    QCOMPARE(RendezvousSettings::port(), RendezvousServer::kPort);
    QCOMPARE(log.texts(QtWarningMsg).size(), 1);
    QVERIFY2(log.texts(QtWarningMsg)
                 .constFirst()
                 .endsWith(QStringLiteral("Stored setting passed over! Key: %1, value: %2").arg(key, value)),
             qPrintable(log.texts(QtWarningMsg).constFirst()));
}

QTEST_GUILESS_MAIN(tst_RendezvousSettings)
#include "tst_RendezvousSettings.moc"
