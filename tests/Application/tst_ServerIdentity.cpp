#include "Application/ServerIdentity.h"

#include "Core/Settings/Settings.h"

#include <QRegularExpression>
#include <QtTest>

class tst_ServerIdentity : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void firstStartStoresFreshIdentity();
    void storedIdentityIsKept();
    void eachReceiverHasItsOwn();
    void regenerateReplacesStoredOne();
    void storedTextThatIsNoIdentityIsReplaced_data();
    void storedTextThatIsNoIdentityIsReplaced();
};

namespace
{

const QString kDevice = QStringLiteral("/home/a/Documents/one.wav");
const QString kKey = QStringLiteral("server_id_/home/a/Documents/one.wav");

QString stored()
{
    return Settings::privateRead(kKey, QString()).toString();
}

} // namespace

void tst_ServerIdentity::initTestCase()
{
    QCoreApplication::setOrganizationName(QStringLiteral("Orvenlink"));
    QCoreApplication::setApplicationName(QStringLiteral("tst_ServerIdentity"));
}

void tst_ServerIdentity::init()
{
    Settings::eraseAll();
}

void tst_ServerIdentity::firstStartStoresFreshIdentity()
{
    const int160 id = ServerIdentity::load(kDevice, false);
    QVERIFY(!id.isNull());
    QCOMPARE(stored(), id.toString());
    QVERIFY(QRegularExpression(QStringLiteral("^[0-9a-f]{40}$")).match(stored()).hasMatch());
}

void tst_ServerIdentity::storedIdentityIsKept()
{
    const QString text = QStringLiteral("0102030405060708090a0b0c0d0e0f1011121314");
    Settings::privateWrite(kKey, text);
    QCOMPARE(ServerIdentity::load(kDevice, false).toString(), text);
    QCOMPARE(stored(), text);
}

void tst_ServerIdentity::eachReceiverHasItsOwn()
{
    const int160 one = ServerIdentity::load(kDevice, false);
    const int160 two = ServerIdentity::load(QStringLiteral("/home/a/Documents/two.wav"), false);
    QVERIFY(one != two);
    QVERIFY(ServerIdentity::load(kDevice, false) == one);
}

void tst_ServerIdentity::regenerateReplacesStoredOne()
{
    const int160 before = ServerIdentity::load(kDevice, false);
    const int160 after = ServerIdentity::load(kDevice, true);
    QVERIFY(before != after);
    QCOMPARE(stored(), after.toString());
}

void tst_ServerIdentity::storedTextThatIsNoIdentityIsReplaced_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("39 digits") << QString(39, QLatin1Char('1'));
    QTest::newRow("41 digits") << QString(41, QLatin1Char('1'));
    QTest::newRow("all zero") << QString(40, QLatin1Char('0'));
    QTest::newRow("bytes that sum to 256") << QStringLiteral("8080") + QString(36, QLatin1Char('0'));
}

void tst_ServerIdentity::storedTextThatIsNoIdentityIsReplaced()
{
    QFETCH(QString, text);
    Settings::privateWrite(kKey, text);
    const int160 id = ServerIdentity::load(kDevice, false);
    QVERIFY(!id.isNull());
    QVERIFY(id.toString() != text);
    QCOMPARE(stored(), id.toString());
}

QTEST_GUILESS_MAIN(tst_ServerIdentity)
#include "tst_ServerIdentity.moc"
