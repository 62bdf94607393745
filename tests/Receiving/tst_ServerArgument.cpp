#include "Receiving/ServerArgument.h"

#include <QtTest>

namespace
{

const QString kAddress = QStringLiteral("3MNUd76SJBZRSTq2p2h1ckm7vkid");

} // namespace

class tst_ServerArgument : public QObject
{
    Q_OBJECT

private slots:
    void serverIsRead_data();
    void serverIsRead();
    void whatIsNoneSaysWhatToDo_data();
    void whatIsNoneSaysWhatToDo();
    void errorShowsNothingThatTerminalObeys();
};

void tst_ServerArgument::serverIsRead_data()
{
    QTest::addColumn<QString>("place");
    QTest::addColumn<QString>("host");
    QTest::addColumn<int>("port");
    QTest::newRow("the address alone") << QString() << QString() << 0;
    QTest::newRow("IPv4") << QStringLiteral("@192.168.1.5:40123") << QStringLiteral("192.168.1.5") << 40'123;
    QTest::newRow("IPv6") << QStringLiteral("@[2001:db8::1]:1") << QStringLiteral("2001:db8::1") << 1;
    QTest::newRow("IPv6 with a scope")
        << QStringLiteral("@[fe80::1%eth0]:65535") << QStringLiteral("fe80::1%eth0") << 65'535;
    QTest::newRow("a name") << QStringLiteral("@radio.example:40123") << QStringLiteral("radio.example")
                            << 40'123;
}

void tst_ServerArgument::serverIsRead()
{
    QFETCH(QString, place);
    QFETCH(QString, host);
    QFETCH(int, port);
    const ServerArgument::Result result = ServerArgument::parse(kAddress + place);
    QVERIFY2(result.server.has_value(), qPrintable(result.error));
    QCOMPARE(result.server->id.bytes().size(), int160::kSize);
    QCOMPARE(result.server->host, host);
    QCOMPARE(static_cast<int>(result.server->port), port);
}

void tst_ServerArgument::whatIsNoneSaysWhatToDo_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("hint");
    const QString address = QStringLiteral("give the server address");
    const QString place = QStringLiteral("behind the @ stand host and port");
    QTest::newRow("empty") << QString() << address;
    QTest::newRow("a word") << QStringLiteral("radio") << address;
    QTest::newRow("half of it") << kAddress.left(14) << address;
    QTest::newRow("a character that Base58 lacks") << QStringLiteral("0") + kAddress.mid(1) << address;
    QTest::newRow("very long") << QString(100'000, QLatin1Char('z')) << address;
    QTest::newRow("no id but zeros") << QString(20, QLatin1Char('1')) << address;
    QTest::newRow("no address") << QStringLiteral("@radio.example:1") << address;
    QTest::newRow("no port") << kAddress + QStringLiteral("@radio.example") << place;
    QTest::newRow("an empty port") << kAddress + QStringLiteral("@radio.example:") << place;
    QTest::newRow("port 0") << kAddress + QStringLiteral("@radio.example:0") << place;
    QTest::newRow("port 65536") << kAddress + QStringLiteral("@radio.example:65536") << place;
    QTest::newRow("port a word") << kAddress + QStringLiteral("@radio.example:http") << place;
    QTest::newRow("no host") << kAddress + QStringLiteral("@:40123") << place;
    QTest::newRow("IPv6 without brackets")
        << kAddress + QStringLiteral("@fe80::1:40123") << QStringLiteral("put an IPv6 address in brackets");
    QTest::newRow("no IPv6 in brackets") << kAddress + QStringLiteral("@[radio.example]:1")
                                         << QStringLiteral("in brackets stands an IPv6 address");
    QTest::newRow("nothing in brackets")
        << kAddress + QStringLiteral("@[]:1") << QStringLiteral("in brackets stands an IPv6 address");
}

void tst_ServerArgument::whatIsNoneSaysWhatToDo()
{
    QFETCH(QString, text);
    QFETCH(QString, hint);
    const ServerArgument::Result result = ServerArgument::parse(text);
    QVERIFY(!result.server.has_value());
    QVERIFY2(result.error.contains(hint), qPrintable(result.error));
    QVERIFY(result.error.size() < 300);
}

void tst_ServerArgument::errorShowsNothingThatTerminalObeys()
{
    const ServerArgument::Result result = ServerArgument::parse(QStringLiteral("\x1b[2J\nradio"));
    QVERIFY(!result.error.contains(QChar(0x1b)));
    QVERIFY(!result.error.contains(QLatin1Char('\n')));
}

QTEST_GUILESS_MAIN(tst_ServerArgument)
#include "tst_ServerArgument.moc"
