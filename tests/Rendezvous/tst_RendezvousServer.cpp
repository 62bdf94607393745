#include "Rendezvous/RendezvousServer.h"

#include "Network/Data/int160.h"

#include <QtTest>

class tst_RendezvousServer : public QObject
{
    Q_OBJECT

private slots:
    void idIsOneThatDoesNotCountAsNull();
    void hostHasName();
    void portIs29365();
};

void tst_RendezvousServer::idIsOneThatDoesNotCountAsNull()
{
    const int160 id{QString::fromLatin1(RendezvousServer::kId)};
    QCOMPARE(id.bytes().size(), 20);
    QVERIFY(!id.isNull());
}

void tst_RendezvousServer::hostHasName()
{
    QVERIFY(*RendezvousServer::kHostName != '\0');
}

void tst_RendezvousServer::portIs29365()
{
    QCOMPARE(RendezvousServer::kPort, quint16(29365));
}

QTEST_GUILESS_MAIN(tst_RendezvousServer)
#include "tst_RendezvousServer.moc"
