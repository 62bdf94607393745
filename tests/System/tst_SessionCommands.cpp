#include "System/Served.h"
#include "support/WireClient.h"

#include <QTest>

class tst_SessionCommands : public QObject
{
    Q_OBJECT

private slots:
    void areUnknownUnderServersId();
    void answerWithEmptyObject_data();
    void answerWithEmptyObject();
};

void tst_SessionCommands::areUnknownUnderServersId()
{
    Served served(recording({}));
    QVERIFY(served.server.serve());
    WireClient client(served.server);
    QVERIFY(client.open(served.file));
    QVector<quint32> numbers;
    const QStringList commands{QStringLiteral("setIF"), QStringLiteral("setupDspH"),
                               QStringLiteral("fft_data_range"), QStringLiteral("ping"),
                               QStringLiteral("disconnect_from_host")};
    for (const QString& command : commands) {
        numbers.append(client.call(client.serverId(), command));
        QVERIFY(served.server.waitForLine(
            QStringLiteral("Error invoke rpc command \"%1\" - command name not found!").arg(command)));
    }
    QVERIFY(client.askSession(QStringLiteral("ping")).has_value());
    for (const quint32 number : qAsConst(numbers)) {
        QVERIFY(!client.hasReply(number));
    }
    QVERIFY(served.server.quit());
}

void tst_SessionCommands::answerWithEmptyObject_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QJsonObject>("arguments");
    const auto row = [](const char* name, const char* command, const QJsonObject& arguments) {
        QTest::newRow(name) << QString::fromLatin1(command) << arguments;
    };
    const QString bandWidth = QStringLiteral("prefBandWidth");
    const QString aliasFree = QStringLiteral("aliasFree");
    const QString startIndex = QStringLiteral("startIndex");
    const QString stopIndex = QStringLiteral("stopIndex");
    const QString dataSize = QStringLiteral("dataSize");
    row("setIF", "setIF", {{QStringLiteral("IF"), 1000}});
    row("setIF without IF", "setIF", {});
    row("setIF of a word", "setIF", {{QStringLiteral("IF"), QStringLiteral("up")}});
    row("setIF beyond all reason", "setIF", {{QStringLiteral("IF"), 1e300}});
    row("setupDspH", "setupDspH", {{bandWidth, 6000}, {aliasFree, 3000}});
    row("setupDspH without aliasFree", "setupDspH", {{bandWidth, 6000}});
    row("setupDspH of nothing", "setupDspH", {{bandWidth, 0}, {aliasFree, 0}});
    row("setupDspH below nothing", "setupDspH", {{bandWidth, -1e300}, {aliasFree, -5}});
    row("fft_data_range", "fft_data_range",
        {{startIndex, 0}, {stopIndex, 512}, {dataSize, 512}, {QStringLiteral("fftSize"), 512}});
    row("fft_data_range without fftSize", "fft_data_range",
        {{startIndex, 0}, {stopIndex, 512}, {dataSize, 512}});
}

void tst_SessionCommands::answerWithEmptyObject()
{
    QFETCH(QString, command);
    QFETCH(QJsonObject, arguments);
    static Served served(recording({}));
    if (!served.server.isRunning()) {
        QVERIFY(served.server.serve());
    }
    WireClient client(served.server);
    QVERIFY(client.open(served.file));
    const auto answer = client.askSession(command, arguments);
    QVERIFY(answer.has_value());
    QCOMPARE(answer->keys(), QStringList(QStringLiteral("cd")));
    QVERIFY(client.close());
}

QTEST_GUILESS_MAIN(tst_SessionCommands)
#include "tst_SessionCommands.moc"
