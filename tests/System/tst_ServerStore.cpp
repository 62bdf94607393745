#include "System/Base58Text.h"
#include "System/Recording.h"
#include "System/Run.h"
#include "System/ServerHome.h"
#include "System/ServerProcess.h"

#include <QFile>
#include <QRegularExpression>
#include <QTest>

namespace
{

QString addressKey(const QString& file)
{
    return QStringLiteral("pn/server_id_") + file;
}

} // namespace

/// What a server keeps from one run to the next.
class tst_ServerStore : public QObject
{
    Q_OBJECT

private slots:
    void addressSurvivesRestart();
    void eachReceiverHasItsOwnAddress();
    void regeneratedAddressIsNewAndStays();
    void regeneratingOnFirstStartStoresWhatIsPrinted();
    void unusableStoredAddressIsReplaced_data();
    void unusableStoredAddressIsReplaced();
    void startsAreCounted();
    void listAndRefusedStartsLeaveCountOfStartsAlone();
    void unusableSettingsStoreEndsProcess();
};

void tst_ServerStore::addressSurvivesRestart()
{
    const ServerHome home;
    const QString file = home.addRecording(QStringLiteral("a.wav"), recording({}));
    ServerProcess server(home);
    QVERIFY(server.serve());
    const QString address = server.address();
    const QString stored = home.setting(addressKey(file)).toString();
    QCOMPARE(stored.size(), 40);
    QCOMPARE(stored, stored.toLower());
    QCOMPARE(Base58Text::encode(QByteArray::fromHex(stored.toLatin1())), address);
    QVERIFY(server.quit());

    QVERIFY(server.serve());
    QCOMPARE(server.address(), address);
    QVERIFY(server.quit());
}

void tst_ServerStore::eachReceiverHasItsOwnAddress()
{
    const ServerHome home;
    home.addRecording(QStringLiteral("a.wav"), recording({}));
    home.addRecording(QStringLiteral("b.wav"), recording({}));
    ServerProcess first(home);
    ServerProcess second(home);
    QVERIFY(first.serve(words("-i 0")));
    QVERIFY(second.serve(words("-i 1")));
    QVERIFY(first.address() != second.address());
    QVERIFY(first.port() != second.port());
    const QString address = first.address();
    QVERIFY(first.quit());
    QVERIFY(first.serve(words("-i 0")));
    QCOMPARE(first.address(), address);
    QVERIFY(first.quit());
    QVERIFY(second.quit());
}

void tst_ServerStore::regeneratedAddressIsNewAndStays()
{
    const ServerHome home;
    home.addRecording(QStringLiteral("a.wav"), recording({}));
    ServerProcess server(home);
    QVERIFY(server.serve());
    const QString before = server.address();
    QVERIFY(server.quit());

    QVERIFY(server.serve(words("-r")));
    const QString after = server.address();
    QVERIFY(after != before);
    QVERIFY(server.quit());

    QVERIFY(server.serve());
    QCOMPARE(server.address(), after);
    QVERIFY(server.quit());
}

void tst_ServerStore::regeneratingOnFirstStartStoresWhatIsPrinted()
{
    const ServerHome home;
    const QString file = home.addRecording(QStringLiteral("a.wav"), recording({}));
    ServerProcess server(home);
    QVERIFY(server.serve(words("-r")));
    QCOMPARE(home.setting(addressKey(file)).toString(), QString::fromLatin1(server.id().toHex()));
    QVERIFY(server.quit());
}

void tst_ServerStore::unusableStoredAddressIsReplaced_data()
{
    QTest::addColumn<QString>("stored");
    QTest::newRow("all zero") << QString(40, QLatin1Char('0'));
    QTest::newRow("bytes that sum to 256") << QStringLiteral("8080") + QString(36, QLatin1Char('0'));
    QTest::newRow("39 digits") << QString(39, QLatin1Char('1'));
    QTest::newRow("41 digits") << QString(41, QLatin1Char('1'));
    QTest::newRow("empty") << QString();
}

void tst_ServerStore::unusableStoredAddressIsReplaced()
{
    QFETCH(QString, stored);
    const ServerHome home;
    const QString file = home.addRecording(QStringLiteral("a.wav"), recording({}));
    home.setSetting(addressKey(file), stored);
    ServerProcess server(home);
    QVERIFY(server.serve());
    const QString now = home.setting(addressKey(file)).toString();
    QVERIFY(now != stored);
    QCOMPARE(now, QString::fromLatin1(server.id().toHex()));
    QVERIFY(server.quit());
}

void tst_ServerStore::startsAreCounted()
{
    const ServerHome home;
    home.addRecording(QStringLiteral("a.wav"), recording({}));
    ServerProcess server(home);
    for (int start = 1; start <= 3; ++start) {
        QVERIFY(server.serve());
        QCOMPARE(home.setting(QStringLiteral("check_settings")).toInt(), start);
        QVERIFY(server.quit());
    }
}

void tst_ServerStore::listAndRefusedStartsLeaveCountOfStartsAlone()
{
    const ServerHome home;
    QCOMPARE(Run(home, words("-l")).exitCode, 0);
    QCOMPARE(Run(home, {}).exitCode, Run::kFailure);
    home.addRecording(QStringLiteral("a.wav"), recording({}));
    QCOMPARE(Run(home, words("-l")).exitCode, 0);
    QCOMPARE(Run(home, words("-i 3")).exitCode, Run::kFailure);
    QCOMPARE(home.setting(QStringLiteral("check_settings")), QVariant());
}

void tst_ServerStore::unusableSettingsStoreEndsProcess()
{
    const ServerHome home;
    home.addRecording(QStringLiteral("a.wav"), recording({}));
    // A file is where the store's folder would have to be made; that holds for root as well.
    QFile obstacle(home.path() + QStringLiteral("/config/Orvenlink"));
    QVERIFY(obstacle.open(QIODevice::WriteOnly));

    const Run result(home, {});

    QCOMPARE(result.exitCode, Run::kFailure);
    static const QRegularExpression form(QStringLiteral(
        "^\\[ C \\]\\[ Application/[A-Za-z]+ \\] [A-Za-z]+ : [0-9]+ =>\t Check settings: false$"));
    QVERIFY(result.lines.size() > 1);
    QVERIFY2(form.match(result.lines[result.lines.size() - 2]).hasMatch(), qPrintable(result.lines.last()));
    QVERIFY2(result.lines.last().contains(home.settingsFile()), qPrintable(result.lines.last()));
    QVERIFY2(result.lines.last().endsWith(
                 QStringLiteral("- the folder %1/config/Orvenlink can't be made").arg(home.path())),
             qPrintable(result.lines.last()));
    QVERIFY(result.lines.filter(QStringLiteral("Server address")).isEmpty());
}

QTEST_GUILESS_MAIN(tst_ServerStore)
#include "tst_ServerStore.moc"
