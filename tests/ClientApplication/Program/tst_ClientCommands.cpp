#include "ClientApplication/Program/ClientProcess.h"
#include "System/SecondHost.h"
#include "System/Served.h"
#include "System/Wait.h"
#include "System/WireClient.h"

#include <QImage>
#include <QJsonArray>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QtTest>
#include <cmath>

namespace
{

const QString kInfo = QStringLiteral("info");
const QString kGet = QStringLiteral("get");
const QString kSet = QStringLiteral("set");
const QString kJson = QStringLiteral("--json");
const QString kSeconds = QStringLiteral("--seconds");

QStringList words(const char* text)
{
    return QString::fromLatin1(text).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

} // namespace

class tst_ClientCommands : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void helpTellsTheCommands();
    void eachCommandHasItsHelp_data();
    void eachCommandHasItsHelp();
    void wrongUsageIsOneLineAndCode2_data();
    void wrongUsageIsOneLineAndCode2();

    void listShowsAFreeServer();
    void listWithoutAServerIsCode3();
    void addressAloneFindsTheServer();
    void infoTellsTheReceiver();
    void getPrintsValues();
    void setPrintsWhatWasTaken();
    void whatTheReceiverDoesNotTakeIsCode7_data();
    void whatTheReceiverDoesNotTakeIsCode7();
    void secondClientIsToldBusy();
    void withoutAnIdentificatorNobodyIsDrivenOut();
    void whereNobodyAnswersIsCode4();
    void outputThatCanNotBeWrittenIsOneLineAndCode1_data();
    void outputThatCanNotBeWrittenIsOneLineAndCode1();
    void aReaderWhoHasGoneIsNoError_data();
    void aReaderWhoHasGoneIsNoError();
    void aPictureThatCanNotBeWrittenIsOneLineAndCode1();
    void takeoverEndsTheSessionInOneLine();
    void sessionIsLeftPolitely();

    void spectrumIsATableForPrograms();
    void spectrumAsJson();
    void spectrumAsAPicture();
    void spectrumInATerminal_data();
    void spectrumInATerminal();
    void listShowsAServerOfTwoNetworksOnce(); // last: the cables take the route of broadcasts with them

private:
    ClientProcess m_unanswered;
};

// The client is patient for some seconds; what it then says is looked at in one of the tests below.
void tst_ClientCommands::initTestCase()
{
    Served served(recording({}));
    QVERIFY(served.server.serve());
    const QStringList server = ClientProcess::at(served.server);
    QVERIFY(served.server.quit());
    m_unanswered.start(QStringList{kInfo} + server);
}

void tst_ClientCommands::helpTellsTheCommands()
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

void tst_ClientCommands::eachCommandHasItsHelp_data()
{
    QTest::addColumn<QString>("usage");
    for (const char* usage :
         {"list [options]", "info [options] SERVER", "get [options] SERVER [NAME...]",
          "set [options] SERVER NAME VALUE", "spectrum [options] SERVER", "record [options] SERVER [FILE]",
          "stream [options] SERVER", "listen [options] SERVER [FILE]"}) {
        QTest::newRow(usage) << QString::fromLatin1(usage);
    }
}

void tst_ClientCommands::eachCommandHasItsHelp()
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

void tst_ClientCommands::wrongUsageIsOneLineAndCode2_data()
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

void tst_ClientCommands::wrongUsageIsOneLineAndCode2()
{
    QFETCH(QString, arguments);
    ClientProcess client;
    QCOMPARE(client.run(arguments.split(QLatin1Char(' '))), 2);
    QVERIFY2(client.errors().size() == 1, qPrintable(client.errors().join(QLatin1Char('\n'))));
    QVERIFY(client.errors()[0].startsWith(QLatin1String("orvenlink-client: ")));
    QVERIFY(client.output().isEmpty());
}

void tst_ClientCommands::listShowsAFreeServer()
{
    Served served(recording({}));
    QVERIFY(served.server.serve());
    ClientProcess client;
    QCOMPARE(client.run(words("list --wait 1.5")), 0);
    const QStringList columns = client.text().simplified().split(QLatin1Char(' '));
    QCOMPARE(columns.value(0), served.server.address());
    QVERIFY(columns.value(1).endsWith(QStringLiteral(":%1").arg(served.server.port())));
    QCOMPARE(client.run(words("list --json --wait 1.5")), 0);
    const QJsonArray servers = client.json().array();
    QCOMPARE(servers.size(), 1);
    QCOMPARE(servers[0].toObject()[QStringLiteral("address")].toString(), served.server.address());
    QCOMPARE(servers[0].toObject()[QStringLiteral("port")].toInt(), static_cast<int>(served.server.port()));
    QCOMPARE(servers[0].toObject()[QStringLiteral("identificator")].toString(), served.file);
    QCOMPARE(servers[0].toObject()[QStringLiteral("receiver")].toString(), QStringLiteral("IQ file player"));
    QVERIFY(served.server.quit());
}

// It announces itself on both cables, and the client is on both networks.
void tst_ClientCommands::listShowsAServerOfTwoNetworksOnce()
{
    const SecondHost host;
    QVERIFY(host.isConnected() && host.lay(1));
    Served served(recording({}));
    QVERIFY(served.server.serve());
    ClientProcess client;
    QCOMPARE(client.run(words("list --json --wait 1.5")), 0);
    QCOMPARE(client.json().array().size(), 1);
    QVERIFY(served.server.quit());
}

void tst_ClientCommands::listWithoutAServerIsCode3()
{
    ClientProcess client;
    QCOMPARE(client.run(words("list --wait 0.5")), 3);
    QCOMPARE(client.errors().size(), 1);
    QVERIFY(client.output().isEmpty());
    QCOMPARE(client.run(words("list --wait 0.5 --json")), 3);
    QCOMPARE(client.output(), QByteArray("[]\n"));
}

void tst_ClientCommands::addressAloneFindsTheServer()
{
    Served served(recording({}));
    QVERIFY(served.server.serve());
    ClientProcess client;
    QCOMPARE(client.run({kGet, served.server.address(), QStringLiteral("frequency")}), 0);
    QCOMPARE(client.text(), QStringLiteral("14250000\n"));
    QVERIFY(served.server.quit());
}

void tst_ClientCommands::infoTellsTheReceiver()
{
    Served served(recording({}));
    QVERIFY(served.server.serve());
    ClientProcess client;
    QCOMPARE(client.run(kInfo, served.server), 0);
    const QString text = client.text();
    for (const char* part :
         {"IQ file player", "14.000000 MHz to 14.500000 MHz", "48 kHz", "14250000 Hz", "ppmCorrection"}) {
        QVERIFY2(text.contains(QLatin1String(part)), part);
    }
    QVERIFY(text.contains(served.server.address()));
    QCOMPARE(client.run(kInfo, served.server, {kJson}), 0);
    const QJsonObject object = client.json().object();
    QCOMPARE(object[QStringLiteral("frequencies_hz")].toArray(), (QJsonArray{QJsonArray{14e6, 14.5e6}}));
    QCOMPARE(object[QStringLiteral("sample_rates_hz")].toArray(), QJsonArray{48e3});
    QCOMPARE(object[QStringLiteral("properties")].toObject().size(), 10);
    QVERIFY(served.server.quit());
}

void tst_ClientCommands::getPrintsValues()
{
    Served served(recording({}));
    QVERIFY(served.server.serve());
    ClientProcess client;
    QCOMPARE(client.run(kGet, served.server, words("swapIQ")), 0);
    QCOMPARE(client.text(), QStringLiteral("false\n"));
    QCOMPARE(client.run(kGet, served.server, words("sampleRate type")), 0);
    QCOMPARE(client.text(), QStringLiteral("sampleRate 48000\ntype 0\n"));
    QCOMPARE(client.run(kGet, served.server, words("--json sampleRate")), 0);
    QCOMPARE(client.output(), QByteArray("{\"sampleRate\":48000}\n"));
    QCOMPARE(client.run(kGet, served.server), 0);
    QCOMPARE(client.text().count(QLatin1Char('\n')), 10);
    QCOMPARE(client.run(kGet, served.server, words("nonsense")), 7);
    QCOMPARE(client.errors().size(), 1);
    QVERIFY(served.server.quit());
}

void tst_ClientCommands::setPrintsWhatWasTaken()
{
    Served served(recording({}));
    QVERIFY(served.server.serve());
    ClientProcess client;
    QCOMPARE(client.run(kSet, served.server, words("ppmCorrection 3")), 0);
    QCOMPARE(client.text(), QStringLiteral("3 ppm\n"));
    // The server keeps it for the next session.
    QCOMPARE(client.run(kGet, served.server, words("ppmCorrection")), 0);
    QCOMPARE(client.text(), QStringLiteral("3\n"));
    QCOMPARE(client.run(kSet, served.server, words("frequency 14.3M")), 0); // corrected, but taken
    QCOMPARE(client.run(kSet, served.server, words("levelCorrection -- -2.5")), 0);
    QCOMPARE(client.text(), QStringLiteral("-2.5 dB\n"));
    QCOMPARE(client.run(kSet, served.server, words("swapIQ on")), 0);
    QCOMPARE(client.text(), QStringLiteral("true\n"));
    QVERIFY(served.server.quit());
}

void tst_ClientCommands::whatTheReceiverDoesNotTakeIsCode7_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QString>("arguments");
    QTest::newRow("set, a frequency beyond the band") << kSet << QStringLiteral("frequency 99M");
    QTest::newRow("set, what can't be written") << kSet << QStringLiteral("running false");
    QTest::newRow("set, no such property") << kSet << QStringLiteral("gain 3");
    QTest::newRow("record, a frequency beyond the band")
        << QStringLiteral("record") << QStringLiteral("/dev/null --frequency 99M");
    QTest::newRow("listen, a mode wider than the receiver")
        << QStringLiteral("listen") << QStringLiteral("/dev/null --mode wfm");
}

void tst_ClientCommands::whatTheReceiverDoesNotTakeIsCode7()
{
    QFETCH(QString, command);
    QFETCH(QString, arguments);
    Served served(recording({}));
    QVERIFY(served.server.serve());
    ClientProcess client;
    QCOMPARE(client.run(command, served.server, arguments.split(QLatin1Char(' '))), 7);
    QVERIFY2(client.errors().size() == 1, qPrintable(client.errors().join(QLatin1Char('\n'))));
    QVERIFY(served.server.quit());
}

void tst_ClientCommands::secondClientIsToldBusy()
{
    Served served(recording({}));
    QVERIFY(served.server.serve());
    WireClient first(served.server);
    QVERIFY(first.open(served.file));
    ClientProcess second;
    QCOMPARE(second.run(kInfo, served.server), 5);
    QCOMPARE(second.errors().size(), 1);
    QVERIFY(second.errors()[0].contains(QLatin1String("Server busy!")));
    QVERIFY(first.close());
    QCOMPARE(second.run(kInfo, served.server), 0);
    QVERIFY(served.server.quit());
}

void tst_ClientCommands::withoutAnIdentificatorNobodyIsDrivenOut()
{
    Served served(recording({}));
    QVERIFY(served.server.serve());
    WireClient first(served.server);
    QVERIFY(first.open(served.file));
    ClientProcess second;
    QCOMPARE(second.run({kInfo, ClientProcess::at(served.server)[0]}), 2);
    QVERIFY(second.errors().value(0).contains(QLatin1String("--identificator is missing")));
    QVERIFY(first.askSession(QStringLiteral("ping")).has_value());
    QVERIFY(first.calls(QStringLiteral("admin_request")).isEmpty());
    QVERIFY(first.close());
    QVERIFY(served.server.quit());
}

void tst_ClientCommands::whereNobodyAnswersIsCode4()
{
    QCOMPARE(m_unanswered.waitForExitCode(), 4);
    QCOMPARE(m_unanswered.errors().size(), 2);
    QVERIFY(m_unanswered.errors()[0].startsWith(QLatin1String("no answer yet: waiting ")));
    QVERIFY(m_unanswered.errors()[1].startsWith(QLatin1String("orvenlink-client: nobody answers there")));
}

void tst_ClientCommands::outputThatCanNotBeWrittenIsOneLineAndCode1_data()
{
    QTest::addColumn<QString>("arguments");
    for (const char* arguments : {"--help", "record --help", "list --json --wait 0.2", "info SERVER",
                                  "get SERVER", "get SERVER --json", "set SERVER swapIQ off",
                                  "spectrum SERVER --seconds 0.3", "spectrum SERVER --json"}) {
        QTest::newRow(arguments) << QString::fromLatin1(arguments);
    }
}

void tst_ClientCommands::outputThatCanNotBeWrittenIsOneLineAndCode1()
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

void tst_ClientCommands::aReaderWhoHasGoneIsNoError_data()
{
    QTest::addColumn<QString>("command");
    for (const char* command : {"info", "get", "spectrum --seconds 0.3", "spectrum --json"}) {
        QTest::newRow(command) << QString::fromLatin1(command);
    }
}

void tst_ClientCommands::aReaderWhoHasGoneIsNoError()
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

void tst_ClientCommands::aPictureThatCanNotBeWrittenIsOneLineAndCode1()
{
    Served served(recording({}));
    QVERIFY(served.server.serve());
    const QTemporaryDir folder;
    QVERIFY(QFile::link(QStringLiteral("/dev/full"), folder.filePath(QStringLiteral("full.png"))));
    ClientProcess client;
    for (const char* name : {"full.png", "none/a.png"}) {
        const QString path = folder.filePath(QString::fromLatin1(name));
        QCOMPARE(client.run(QStringLiteral("spectrum"), served.server,
                            {QStringLiteral("--png"), path, kSeconds, QStringLiteral("0.3")}),
                 1);
        QVERIFY2(client.errors().size() == 1, qPrintable(client.errors().join(QLatin1Char('\n'))));
        QVERIFY(client.errors()[0].startsWith(QStringLiteral("orvenlink-client: can't write ") + path));
    }
    QVERIFY(QFile::exists(QStringLiteral("/dev/full")));
    QVERIFY(served.server.quit());
}

void tst_ClientCommands::takeoverEndsTheSessionInOneLine()
{
    Served served(recording({}));
    QVERIFY(served.server.serve());
    const QTemporaryDir folder;
    ClientProcess client;
    client.start(QStringLiteral("record"), served.server, {folder.filePath(QStringLiteral("a.wav"))});
    QVERIFY(waitUntil([&] { return QFile(folder.filePath(QStringLiteral("a.wav"))).size() > 10'000; }));
    WireClient admin(served.server);
    QVERIFY(admin.open(QStringLiteral("an administrator")));
    QCOMPARE(client.waitForExitCode(), 6);
    QCOMPARE(client.errors().size(), 1);
    QVERIFY(client.errors()[0].contains(QLatin1String("taken over")));
    QVERIFY(served.server.quit());
}

void tst_ClientCommands::sessionIsLeftPolitely()
{
    Served served(recording({}));
    QVERIFY(served.server.serve());
    const QTemporaryDir folder;
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        const QString path = folder.filePath(QStringLiteral("%1.wav").arg(number));
        ClientProcess client;
        client.start(QStringLiteral("record"), served.server, {path});
        QVERIFY(waitUntil([&] { return QFile(path).size() > 10'000; }));
        client.signal(number);
        QCOMPARE(client.waitForExitCode(), 0);
        QVERIFY2(client.errors().isEmpty(), qPrintable(client.errors().join(QLatin1Char('\n'))));
        // The server is free at once.
        WireClient next(served.server);
        QVERIFY(next.open(served.file));
        QVERIFY(next.close());
    }
    ClientProcess client;
    const QString path = folder.filePath(QStringLiteral("a.wav"));
    client.start(QStringLiteral("record"), served.server, {path, kSeconds, QStringLiteral("1h")});
    QVERIFY(waitUntil([&] { return QFile(path).size() > 10'000; }));
    client.signal(SIGINT);
    QCOMPARE(client.waitForExitCode(), 130); // there was to be more
    QVERIFY(served.server.quit());
}

void tst_ClientCommands::spectrumIsATableForPrograms()
{
    Served served(recording({{5'000, 1'000}, {-12'000, 200}}));
    QVERIFY(served.server.serve());
    ClientProcess client;
    QCOMPARE(client.run(QStringLiteral("spectrum"), served.server, words("--seconds 0.5")), 0);
    QVERIFY(!client.output().contains('\x1b'));
    const QStringList rows = client.text().split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    QCOMPARE(rows.size(), 2'048);
    QMap<double, double> byLevel;
    double last = 0;
    for (const QString& row : rows) {
        const double hertz = row.section(QLatin1Char('\t'), 0, 0).toDouble();
        QVERIFY(hertz > last);
        last = hertz;
        if (std::abs(hertz - 14'238'000) > 200) {
            byLevel[row.section(QLatin1Char('\t'), 1).toDouble()] = hertz;
        }
    }
    QVERIFY(std::abs(byLevel.last() - 14'255'000) < 50);
    QVERIFY(served.server.quit());
}

void tst_ClientCommands::spectrumAsJson()
{
    Served served(recording({{5'000, 1'000}}));
    QVERIFY(served.server.serve());
    ClientProcess client;
    QCOMPARE(client.run(QStringLiteral("spectrum"), served.server,
                        words("--json --seconds 0.5 --offset 5k --span 8k")),
             0);
    const QList<QByteArray> lines = client.output().split('\n');
    QVERIFY(lines.size() > 3);
    const QJsonObject frame = QJsonDocument::fromJson(lines[2]).object();
    const double lowest = frame[QStringLiteral("lowest_hz")].toDouble();
    const double highest = frame[QStringLiteral("highest_hz")].toDouble();
    QVERIFY(std::abs(lowest - 14'251'000) < 20 && std::abs(highest - 14'259'000) < 20);
    const QJsonArray decibels = frame[QStringLiteral("db")].toArray();
    int strongest = 0;
    for (int n = 0; n < decibels.size(); ++n) {
        strongest = decibels[n].toDouble() > decibels[strongest].toDouble() ? n : strongest;
    }
    QVERIFY(std::abs(lowest + (highest - lowest) * strongest / decibels.size() - 14'255'000) < 20);
    QVERIFY(served.server.quit());
}

void tst_ClientCommands::spectrumAsAPicture()
{
    Served served(recording({{12'000, 1'000}}));
    QVERIFY(served.server.serve());
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("a.png"));
    ClientProcess client;
    QCOMPARE(client.run(QStringLiteral("spectrum"), served.server,
                        {QStringLiteral("--png"), path, kSeconds, QStringLiteral("1")}),
             0);
    QVERIFY(client.text().startsWith(path));
    const QImage image(path);
    QCOMPARE(image.size(), QSize(960, 600));
    QVERIFY(qGreen(image.pixel(64 + 880 * 3 / 4, 440)) > 200);
    QVERIFY(qGreen(image.pixel(64 + 880 / 4, 440)) < 100);
    QVERIFY(served.server.quit());
}

void tst_ClientCommands::spectrumInATerminal_data()
{
    QTest::addColumn<int>("columns");
    QTest::addColumn<int>("rows");
    QTest::newRow("80 columns") << 80 << 24;
    QTest::newRow("200 columns") << 200 << 50;
}

void tst_ClientCommands::spectrumInATerminal()
{
    QFETCH(int, columns);
    QFETCH(int, rows);
    Served served(recording({{12'000, 1'000}}));
    QVERIFY(served.server.serve());
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("screen"));
    QStringList quoted;
    for (const QString& word : ClientProcess::at(served.server)) {
        quoted.append(QLatin1Char('\'') + word + QLatin1Char('\''));
    }
    QProcess terminal;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("TERM"), QStringLiteral("xterm"));
    environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C.UTF-8"));
    environment.insert(QStringLiteral("NO_COLOR"), QStringLiteral("1"));
    terminal.setProcessEnvironment(environment);
    terminal.start(QStringLiteral("script"),
                   {QStringLiteral("-qefc"),
                    QStringLiteral("stty cols %1 rows %2; '%3' spectrum %4 --seconds 1")
                        .arg(columns)
                        .arg(rows)
                        .arg(QStringLiteral(ORVENLINK_CLIENT), quoted.join(QLatin1Char(' '))),
                    path});
    QVERIFY(waitUntil([&] { return terminal.state() == QProcess::NotRunning; }));
    QCOMPARE(terminal.exitCode(), 0);
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QString all = QString::fromUtf8(file.readAll());
    all.remove(QLatin1Char('\r'));
    // It takes a screen of its own and gives the old one back.
    const int entered = all.indexOf(QStringLiteral("\x1b[?1049h"));
    const int left = all.indexOf(QStringLiteral("\x1b[?1049l"));
    QVERIFY(entered >= 0 && left > entered);
    QVERIFY(all.indexOf(QStringLiteral("\x1b[?25h")) > entered);
    all = all.left(all.indexOf(QStringLiteral("\x1b[?25h")));
    QStringList lines = all.mid(all.lastIndexOf(QStringLiteral("\x1b[H")) + 3).split(QLatin1Char('\n'));
    QCOMPARE(lines.size(), rows);
    for (QString& line : lines) {
        line.remove(QStringLiteral("\x1b[K"));
        QVERIFY2(line.size() <= columns, qPrintable(line));
    }
    QVERIFY(lines[0].contains(QLatin1String("14.250000 MHz")));
    // The station stands three quarters of the way to the right, in the spectrum and in the waterfall.
    const int place = 6 + (columns - 6) * 3 / 4;
    const int axis = lines.indexOf(
        lines.filter(QStringLiteral("MHz|")).value(0, lines.filter(QStringLiteral("   MHz")).value(0)));
    QVERIFY(axis > 3);
    QVERIFY(lines[2].mid(place - 2, 5).trimmed().size() > 0);
    QVERIFY(lines[2].left(place - 3).mid(6).trimmed().isEmpty());
    QVERIFY(lines[axis + 2].mid(place - 2, 5).contains(QChar(0x2588)) ||
            lines[axis + 2].mid(place - 2, 5).contains(QChar(0x2593)));
    QVERIFY(served.server.quit());
}

QTEST_GUILESS_MAIN(tst_ClientCommands)
#include "tst_ClientCommands.moc"
