#include "Network/Protocol/Replication.h"

#include <QtTest>

class tst_Replication : public QObject
{
    Q_OBJECT

private slots:
    void checksumIsCrcOfIso3309_data();
    void checksumIsCrcOfIso3309();
};

void tst_Replication::checksumIsCrcOfIso3309_data()
{
    QTest::addColumn<QByteArray>("names");
    QTest::addColumn<quint16>("checksum");
    QTest::newRow("none") << QByteArray() << quint16(0);
    QTest::newRow("check value") << QByteArray("123456789") << quint16(0x906E);
}

void tst_Replication::checksumIsCrcOfIso3309()
{
    QFETCH(QByteArray, names);
    QTEST(Replication::checksum(names), "checksum");
}

QTEST_MAIN(tst_Replication)

#include "tst_Replication.moc"
