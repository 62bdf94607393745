#include <QDir>
#include <QFile>
#include <QtTest>

class tst_UdevRules : public QObject
{
    Q_OBJECT

private slots:
    void rulesComeBeforeThoseThatGrantAccess();
    void receiverIsOpenToItsGroupAndSeatedUser_data();
    void receiverIsOpenToItsGroupAndSeatedUser();
    void everyRuleWithIdsIsOfKnownReceiver();
    void modprobeFileNamesTelevisionDriver();

private:
    static QStringList lines(const QString& fileName);
};

QStringList tst_UdevRules::lines(const QString& fileName)
{
    QFile file(QStringLiteral(PACKAGING_FOLDER "/") + fileName);
    if (!file.open(QIODevice::ReadOnly)) {
        return {};
    }
    QStringList result;
    for (const QString& line : QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'))) {
        if (!line.isEmpty() && !line.startsWith(QLatin1Char('#'))) {
            result.append(line);
        }
    }
    return result;
}

void tst_UdevRules::rulesComeBeforeThoseThatGrantAccess()
{
    const QStringList names =
        QDir(QStringLiteral(PACKAGING_FOLDER)).entryList({QStringLiteral("*.rules")}, QDir::Files);
    QCOMPARE(names.size(), 1);
    QVERIFY(names.constFirst().section(QLatin1Char('-'), 0, 0).toInt() > 0);
    QVERIFY(names.constFirst().section(QLatin1Char('-'), 0, 0).toInt() < 73);
}

void tst_UdevRules::receiverIsOpenToItsGroupAndSeatedUser_data()
{
    QTest::addColumn<QString>("vendor");
    QTest::addColumn<QString>("product");
    QTest::newRow("RTL2832U") << QStringLiteral("0bda") << QStringLiteral("2832");
    QTest::newRow("RTL2838") << QStringLiteral("0bda") << QStringLiteral("2838");
    QTest::newRow("Airspy R2 and mini") << QStringLiteral("1d50") << QStringLiteral("60a1");
    QTest::newRow("Airspy HF+") << QStringLiteral("03eb") << QStringLiteral("800c");
}

void tst_UdevRules::receiverIsOpenToItsGroupAndSeatedUser()
{
    QFETCH(QString, vendor);
    QFETCH(QString, product);
    const QString rule = QStringLiteral("ATTR{idVendor}==\"%1\", ATTR{idProduct}==\"%2\", MODE=\"0660\", "
                                        "GROUP=\"plugdev\", TAG+=\"uaccess\"");
    QCOMPARE(lines(QStringLiteral("60-orvenlink.rules")).count(rule.arg(vendor, product)), 1);
}

void tst_UdevRules::everyRuleWithIdsIsOfKnownReceiver()
{
    QCOMPARE(lines(QStringLiteral("60-orvenlink.rules")).filter(QStringLiteral("idProduct")).size(), 4);
}

void tst_UdevRules::modprobeFileNamesTelevisionDriver()
{
    QCOMPARE(lines(QStringLiteral("orvenlink-no-dvb.conf")),
             QStringList{QStringLiteral("blacklist dvb_usb_rtl28xxu")});
}

QTEST_GUILESS_MAIN(tst_UdevRules)
#include "tst_UdevRules.moc"
