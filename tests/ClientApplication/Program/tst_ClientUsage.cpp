#include "ClientApplication/Program/ClientProcess.h"
#include "System/Served.h"
#include "support/Wait.h"

#include <QTemporaryDir>
#include <QtTest>

namespace
{

const QString kSpectrum = QStringLiteral("spectrum");
const QString kSeconds = QStringLiteral("--seconds");

} // namespace

/// Help, wrong usage, and outputs that take nothing.
class tst_ClientUsage : public QObject
{
    Q_OBJECT

private slots:
    void helpTellsCommands();
    void eachCommandHasItsHelp_data();
    void eachCommandHasItsHelp();
    void wrongUsageIsOneLineAndCode2_data();
    void wrongUsageIsOneLineAndCode2();
    void outputThatCanNotBeWrittenIsOneLineAndCode1_data();
    void outputThatCanNotBeWrittenIsOneLineAndCode1();
    void readerWhoHasGoneIsNoError_data();
    void readerWhoHasGoneIsNoError();
    void pictureThatCanNotBeWrittenIsOneLineAndCode1();
};

void tst_ClientUsage::helpTellsCommands()
{
    ClientProcess client;
    QCOMPARE(client.run(words("--help")), 0);
    for (const char* name : {"list", "info", "get", "set", "spectrum", "record", "stream", "listen"}) {
        QVERIFY2(client.text().contains(QStringLiteral("\n  %1 ").arg(QLatin1String(name))), name);
    }
    QCOMPARE(client.run(words("--version")), 0);
    QCOMPARE(client.text(), QStringLiteral("orvenlink-client " ORVENLINK_VERSION "\n"));
    QCOMPARE(client.run(QStringList()), 2);
}

void tst_ClientUsage::eachCommandHasItsHelp_data()
{
    QTest::addColumn<QString>("usage");
    for (const char* usage :
         {"list [options]", "info [options] SERVER", "get [options] SERVER [NAME...]",
          "set [options] SERVER NAME VALUE", "spectrum [options] SERVER", "record [options] SERVER [FILE]",
          "stream [options] SERVER", "listen [options] SERVER [FILE]"}) {
        QTest::newRow(usage) << QString::fromLatin1(usage);
    }
}

void tst_ClientUsage::eachCommandHasItsHelp()
{
    QFETCH(QString, usage);
    ClientProcess client;
    QCOMPARE(client.run({usage.section(QLatin1Char(' '), 0, 0), QStringLiteral("--help")}), 0);
    QCOMPARE(client.text().section(QLatin1Char('\n'), 0, 0).trimmed(),
             QStringLiteral("Usage: orvenlink-client ") + usage);
    const QStringList lines = client.text().split(QLatin1Char('\n'));
    for (const QString& line : lines) {
        QVERIFY2(line.size() <= 84, qPrintable(line)); // an example of a command is not broken
    }
}

void tst_ClientUsage::wrongUsageIsOneLineAndCode2_data()
{
    QTest::addColumn<QString>("arguments");
    const char* server = "1111111111111111111H";
    for (const char* arguments : {"nonsense",
                                  "info",
                                  "info nobody",
                                  "info SERVER more",
                                  "info SERVER@host:1",
                                  "list --nonsense",
                                  "list --wait never",
                                  "set SERVER name",
                                  "record SERVER --frequency high",
                                  "record SERVER --offset x",
                                  "record SERVER --bandwidth x",
                                  "record SERVER --bandwidth -5",
                                  "record SERVER --seconds 0",
                                  "record SERVER --format mp3",
                                  "record SERVER a.sigmf-data --for-player",
                                  "record SERVER a b",
                                  "stream SERVER --format cs8",
                                  "stream SERVER file",
                                  "listen SERVER",
                                  "listen SERVER --mode fm",
                                  "listen SERVER --mode am --audio-rate 100",
                                  "spectrum SERVER --span 0",
                                  "spectrum SERVER more"}) {
        QTest::newRow(arguments) << QString::fromLatin1(arguments).replace(QStringLiteral("SERVER"),
                                                                           QString::fromLatin1(server));
    }
}

void tst_ClientUsage::wrongUsageIsOneLineAndCode2()
{
    QFETCH(QString, arguments);
    ClientProcess client;
    QCOMPARE(client.run(arguments.split(QLatin1Char(' '))), 2);
    QVERIFY2(client.errors().size() == 1, qPrintable(client.errors().join(QLatin1Char('\n'))));
    QVERIFY(client.errors()[0].startsWith(QLatin1String("orvenlink-client: ")));
    QVERIFY(client.output().isEmpty());
}

void tst_ClientUsage::outputThatCanNotBeWrittenIsOneLineAndCode1_data()
{
    QTest::addColumn<QString>("arguments");
    for (const char* arguments : {"--help", "record --help", "list --json --wait 0.2", "info SERVER",
                                  "get SERVER", "get SERVER --json", "set SERVER swapIQ off",
                                  "spectrum SERVER --seconds 0.3", "spectrum SERVER --json"}) {
        QTest::newRow(arguments) << QString::fromLatin1(arguments);
    }
}

void tst_ClientUsage::outputThatCanNotBeWrittenIsOneLineAndCode1()
{
    QFETCH(QString, arguments);
    Served served(recording({}));
    QVERIFY(served.server.serve());
    QStringList words = arguments.split(QLatin1Char(' '));
    if (const int at = words.indexOf(QStringLiteral("SERVER")); at >= 0) {
        words = words.mid(0, at) + ClientProcess::at(served.server) + words.mid(at + 1);
    }
    ClientProcess client;
    client.setOutputFile(QStringLiteral("/dev/full"));
    QCOMPARE(client.run(words), 1);
    QCOMPARE(client.errors(),
             QStringList{QStringLiteral("orvenlink-client: can't write to standard output: No "
                                        "space left on device; send it elsewhere")});
    QVERIFY(served.server.quit());
}

void tst_ClientUsage::readerWhoHasGoneIsNoError_data()
{
    QTest::addColumn<QString>("command");
    for (const char* command : {"info", "get", "spectrum --seconds 0.3", "spectrum --json"}) {
        QTest::newRow(command) << QString::fromLatin1(command);
    }
}

void tst_ClientUsage::readerWhoHasGoneIsNoError()
{
    QFETCH(QString, command);
    Served served(recording({}));
    QVERIFY(served.server.serve());
    QStringList words = command.split(QLatin1Char(' '));
    words = words.mid(0, 1) + ClientProcess::at(served.server) + words.mid(1);
    QProcess shell;
    shell.start(QStringLiteral("sh"),
                QStringList{QStringLiteral("-c"), QStringLiteral("{ \"$0\" \"$@\"; echo $? >&2; } | true"),
                            QStringLiteral(ORVENLINK_CLIENT)} +
                    words);
    QVERIFY(waitUntil([&] { return shell.state() == QProcess::NotRunning; }));
    QCOMPARE(shell.readAllStandardError(), QByteArray("0\n"));
    QVERIFY(served.server.quit());
}

void tst_ClientUsage::pictureThatCanNotBeWrittenIsOneLineAndCode1()
{
    Served served(recording({}));
    QVERIFY(served.server.serve());
    const QTemporaryDir folder;
    QVERIFY(QFile::link(QStringLiteral("/dev/full"), folder.filePath(QStringLiteral("full.png"))));
    ClientProcess client;
    for (const char* name : {"full.png", "none/a.png"}) {
        const QString path = folder.filePath(QString::fromLatin1(name));
        QCOMPARE(client.run(kSpectrum, served.server,
                            {QStringLiteral("--png"), path, kSeconds, QStringLiteral("0.3")}),
                 1);
        QVERIFY2(client.errors().size() == 1, qPrintable(client.errors().join(QLatin1Char('\n'))));
        QVERIFY(client.errors()[0].startsWith(QStringLiteral("orvenlink-client: can't write ") + path));
    }
    QVERIFY(QFile::exists(QStringLiteral("/dev/full")));
    QVERIFY(served.server.quit());
}

QTEST_GUILESS_MAIN(tst_ClientUsage)
#include "tst_ClientUsage.moc"
