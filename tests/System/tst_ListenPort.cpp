#include "System/Recording.h"
#include "System/Run.h"
#include "System/ServerHome.h"
#include "System/ServerProcess.h"

#include <QRegularExpression>
#include <QTest>
#include <QUdpSocket>

class tst_ListenPort : public QObject
{
    Q_OBJECT

private slots:
    void portAskedForIsUsed();
    void portIsCutTo16Bits_data();
    void portIsCutTo16Bits();
    void portThatIsNoNumberIsLeftToSystem();
    void usablePortAndIndexBringNoWarning();
    void portInUseEndsProcess();
};

void tst_ListenPort::portAskedForIsUsed()
{
    const ServerHome home;
    home.addRecording(QStringLiteral("a.wav"), recording({}));
    ServerProcess server(home);
    QVERIFY(server.serve(words("--port 23456")));
    QCOMPARE(server.port(), quint16(23456));
    QVERIFY(server.quit());
}

void tst_ListenPort::portIsCutTo16Bits_data()
{
    QTest::addColumn<QString>("asked");
    QTest::addColumn<quint16>("port");
    QTest::newRow("70000") << QStringLiteral("70000") << quint16(4'464);
    QTest::newRow("99999") << QStringLiteral("99999") << quint16(34'463);
}

void tst_ListenPort::portIsCutTo16Bits()
{
    QFETCH(QString, asked);
    QFETCH(quint16, port);
    const ServerHome home;
    home.addRecording(QStringLiteral("a.wav"), recording({}));
    ServerProcess server(home);
    QVERIFY(server.serve({QStringLiteral("-p"), asked}));
    QCOMPARE(server.port(), port);
    QCOMPARE(warnings(server), QStringList{QStringLiteral("Port is no number up to 65535: %1 - taken as %2")
                                               .arg(asked, QString::number(port))});
    QVERIFY(server.quit());
}

void tst_ListenPort::portThatIsNoNumberIsLeftToSystem()
{
    const ServerHome home;
    home.addRecording(QStringLiteral("a.wav"), recording({}));
    ServerProcess server(home);
    QVERIFY(server.serve(words("-p ham")));
    QVERIFY(server.port() != 0);
    QCOMPARE(warnings(server),
             QStringList{QStringLiteral("Port is no number up to 65535: ham - taken as 0")});
    QVERIFY(server.quit());
}

void tst_ListenPort::usablePortAndIndexBringNoWarning()
{
    const ServerHome home;
    home.addRecording(QStringLiteral("a.wav"), recording({}));
    ServerProcess server(home);
    QVERIFY(server.serve(words("-p 65535 -i 0")));
    QCOMPARE(server.port(), quint16(65'535));
    QCOMPARE(warnings(server), QStringList());
    QVERIFY(server.quit());
}

void tst_ListenPort::portInUseEndsProcess()
{
    const ServerHome home;
    home.addRecording(QStringLiteral("a.wav"), recording({}));
    QUdpSocket taken;
    QVERIFY(taken.bind(QHostAddress(QHostAddress::Any)));
    const QString port = QString::number(taken.localPort());

    const Run result(home, {QStringLiteral("-p"), port});

    QCOMPARE(result.exitCode, Run::kFailure);
    const QRegularExpression form(
        QStringLiteral(
            "^\\[ C \\]\\[ Network/Socket/Socket \\] listen : [0-9]+ =>\t Error bind udp port: %1, .+$")
            .arg(port));
    QVERIFY2(form.match(result.lines.last()).hasMatch(), qPrintable(result.lines.last()));
    QVERIFY(result.lines.filter(QStringLiteral("Server address:")).size() == 1);
    QVERIFY(result.lines.filter(QStringLiteral("Server local port:")).isEmpty());
}

QTEST_GUILESS_MAIN(tst_ListenPort)
#include "tst_ListenPort.moc"
