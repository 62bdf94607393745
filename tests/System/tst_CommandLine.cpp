#include "System/Base58Text.h"
#include "System/Recording.h"
#include "System/ServerHome.h"
#include "System/ServerProcess.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTest>
#include <QUdpSocket>
#include <algorithm>

namespace
{

constexpr int kFailure = 255; // -1 as a process's exit code

const QStringList kUsage{
    QStringLiteral("Usage:\t-v app version"),
    QStringLiteral("\t-l list devices"),
    QStringLiteral("\t[-i device index (default: 0)]"),
    QStringLiteral("\t[-p listen port (default: random)]"),
    QStringLiteral("\t[-r regenerate server address (default: 0)]"),
    QStringLiteral("\t[-c disable compress iq data]"),
    QStringLiteral("\t-h, --help this text"),
    QStringLiteral("\t--rtl-offset-binary read RTL-SDR samples as the sticks deliver them, from now on"),
    QStringLiteral("\t--no-rtl-offset-binary read them as two's complement again"),
    QStringLiteral("\t--version, --list, --index, --port as -v, -l, -i, -p"),
};

QStringList words(const char* text)
{
    return QString::fromLatin1(text).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

QByteArray silence()
{
    return recording({});
}

QString addressKey(const QString& file)
{
    return QStringLiteral("pn/server_id_") + file;
}

/// A run that ends by itself.
struct Run
{
    int exitCode;
    QStringList lines;
};

/// Without the lines that depend on the machine: what its system grants and which libraries it has.
QStringList withoutTheMachines(QStringList lines)
{
    const auto isTheMachines = [](const QString& line) {
        return line.startsWith(QStringLiteral("Receive buffer")) ||
               line == QStringLiteral("The rsp library isn't installed");
    };
    lines.erase(std::remove_if(lines.begin(), lines.end(), isTheMachines), lines.end());
    return lines;
}

Run run(const ServerHome& home, const QStringList& arguments)
{
    ServerProcess server(home);
    server.start(arguments);
    const int exitCode = server.waitForExitCode();
    return {exitCode, withoutTheMachines(server.lines())};
}

/// What the server has warned of so far, without the tags.
QStringList warnings(const ServerProcess& server)
{
    QStringList result;
    const QStringList all = server.lines().filter(QStringLiteral("[ W ][ Application/Application ]"));
    for (const QString& line : all) {
        result.append(line.section(QStringLiteral("=>\t "), 1));
    }
    return result;
}

} // namespace

class tst_CommandLine : public QObject
{
    Q_OBJECT

private slots:
    void endsAtOnce_data();
    void endsAtOnce();
    void unknownOptionsEndTheProcess();
    void listNamesEveryReceiverAndEnds();
    void listAndRefusedStartsLeaveTheCountOfStartsAlone();
    void refusesToStartWithoutAClearChoice_data();
    void refusesToStartWithoutAClearChoice();
    void indexOutOfRangeIsAWarningWithItsTag();
    void startPrintsItsLinesInOrder();
    void oneReceiverNeedsNoOption();
    void indexChoosesAmongSeveral_data();
    void indexChoosesAmongSeveral();
    void portIsTheOneAskedFor();
    void portIsCutTo16Bits_data();
    void portIsCutTo16Bits();
    void portThatIsNoNumberIsLeftToTheSystem();
    void usablePortAndIndexBringNoWarning();
    void missingLibraryIsToldWhereAReceiverIsLookedFor_data();
    void missingLibraryIsToldWhereAReceiverIsLookedFor();
    void startWithAReceiverBeginsWithTheVersion();
    void loggingRulesOfTheEnvironmentLeaveTheAddressBlock_data();
    void loggingRulesOfTheEnvironmentLeaveTheAddressBlock();
    void portInUseEndsTheProcess();
    void addressSurvivesARestart();
    void eachReceiverHasItsOwnAddress();
    void regeneratedAddressIsNewAndStays();
    void regeneratingOnAFirstStartStoresWhatIsPrinted();
    void unusableStoredAddressIsReplaced_data();
    void unusableStoredAddressIsReplaced();
    void startsAreCounted();
    void unusableSettingsStoreEndsTheProcess();
    void nothingGoesToStandardOutput();
};

void tst_CommandLine::endsAtOnce_data()
{
    QTest::addColumn<int>("recordings");
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QStringList>("lines");

    const QStringList version{QStringLiteral("App version: " ORVENLINK_VERSION)};
    const QStringList nothing{QStringLiteral("Refresh enumerator radio device ..."),
                              QStringLiteral("No supported devices found!")};
    QTest::newRow("-h, no receiver") << 0 << words("-h") << kUsage;
    QTest::newRow("-h, two receivers") << 2 << words("-h") << kUsage;
    QTest::newRow("--help, no receiver") << 0 << words("--help") << kUsage;
    QTest::newRow("--version, no receiver") << 0 << words("--version") << version;
    QTest::newRow("-v, no receiver") << 0 << words("-v") << version;
    QTest::newRow("-v, one receiver") << 1 << words("-v") << version;
    QTest::newRow("-v before -h") << 0 << words("-v -h") << kUsage;
    QTest::newRow("-h before -v") << 0 << words("-h -v") << kUsage;
    QTest::newRow("-v before -l") << 1 << words("-l -v") << version;
    QTest::newRow("-l, no receiver") << 0 << words("-l") << nothing;
    QTest::newRow("--list, no receiver") << 0 << words("--list") << nothing;
    QTest::newRow("-l before a bad -i") << 0 << words("-i 7 -l") << nothing;
}

void tst_CommandLine::endsAtOnce()
{
    QFETCH(int, recordings);
    QFETCH(QStringList, arguments);
    QFETCH(QStringList, lines);
    const ServerHome home;
    for (int i = 0; i < recordings; ++i) {
        home.addRecording(QStringLiteral("%1.wav").arg(i), silence());
    }

    const Run result = run(home, arguments);

    QCOMPARE(result.exitCode, 0);
    QCOMPARE(result.lines, lines);
}

void tst_CommandLine::unknownOptionsEndTheProcess()
{
    const ServerHome home;
    home.addRecording(QStringLiteral("a.wav"), silence());
    for (const char* arguments : {"-x", "--hell", "-p"}) {
        const Run result = run(home, words(arguments));
        QCOMPARE(result.exitCode, 1);
        QVERIFY2(!result.lines.isEmpty(), arguments);
        QVERIFY2(result.lines.filter(QStringLiteral("Server address")).isEmpty(), arguments);
    }
}

void tst_CommandLine::listNamesEveryReceiverAndEnds()
{
    const ServerHome home;
    const QString first = home.addRecording(QStringLiteral("first.wav"), silence());
    home.addRecording(QStringLiteral("notes.txt"), "no recording");
    QDir(home.documents()).mkdir(QStringLiteral("folder.wav"));

    const Run one = run(home, words("-l"));
    QCOMPARE(one.exitCode, 0);
    QCOMPARE(one.lines,
             QStringList({QStringLiteral("Refresh enumerator radio device ..."),
                          QStringLiteral("0 \tfound .. IQFilePlayer IQ file player %1 %1").arg(first)}));

    const QString second = home.addRecording(QStringLiteral("second.wav"), silence());
    const Run two = run(home, words("--list"));
    QCOMPARE(two.exitCode, 0);
    QCOMPARE(two.lines.size(), 3);
    QVERIFY(two.lines[1].startsWith(QStringLiteral("0 \tfound .. IQFilePlayer IQ file player ")));
    QVERIFY(two.lines[2].startsWith(QStringLiteral("1 \tfound .. IQFilePlayer IQ file player ")));
    QCOMPARE(two.lines.filter(second).size(), 1);
    QCOMPARE(two.lines.filter(first).size(), 1);
}

void tst_CommandLine::listAndRefusedStartsLeaveTheCountOfStartsAlone()
{
    const ServerHome home;
    QCOMPARE(run(home, words("-l")).exitCode, 0);
    QCOMPARE(run(home, {}).exitCode, kFailure);
    home.addRecording(QStringLiteral("a.wav"), silence());
    QCOMPARE(run(home, words("-l")).exitCode, 0);
    QCOMPARE(run(home, words("-i 3")).exitCode, kFailure);
    QCOMPARE(home.setting(QStringLiteral("check_settings")), QVariant());
}

void tst_CommandLine::refusesToStartWithoutAClearChoice_data()
{
    QTest::addColumn<int>("recordings");
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("text");

    const QString none = QStringLiteral("No supported devices found!");
    const QString several =
        QStringLiteral("More than one device detected! Specify the device index through the \"i\" key.");
    const QString range = QStringLiteral("Index range out!");
    QTest::newRow("no receiver") << 0 << QStringList() << none;
    QTest::newRow("two receivers, none chosen") << 2 << QStringList() << several;
    QTest::newRow("three receivers, none chosen, a port") << 3 << words("-p 0") << several;
    QTest::newRow("any index without a receiver") << 0 << words("-i 0") << range;
    QTest::newRow("index equal to the count, one") << 1 << words("-i 1") << range;
    QTest::newRow("index equal to the count, two") << 2 << words("--index 2") << range;
    QTest::newRow("negative index") << 1 << words("-i -1") << range;
    QTest::newRow("no number, no receiver") << 0 << words("-i abc") << range;
}

void tst_CommandLine::refusesToStartWithoutAClearChoice()
{
    QFETCH(int, recordings);
    QFETCH(QStringList, arguments);
    QFETCH(QString, text);
    const ServerHome home;
    for (int i = 0; i < recordings; ++i) {
        home.addRecording(QStringLiteral("%1.wav").arg(i), silence());
    }

    const Run result = run(home, arguments);

    QCOMPARE(result.exitCode, kFailure);
    QVERIFY(!result.lines.isEmpty());
    QVERIFY2(result.lines.last().endsWith(text), qPrintable(result.lines.join(QLatin1Char('\n'))));
    QVERIFY(result.lines.filter(QStringLiteral("Server address")).isEmpty());
}

void tst_CommandLine::indexOutOfRangeIsAWarningWithItsTag()
{
    const ServerHome home;
    const Run result = run(home, words("-i 0"));
    QCOMPARE(result.lines.size(), 1);
    static const QRegularExpression form(
        QStringLiteral("^\\[ W \\]\\[ Application/[A-Za-z]+ \\] [A-Za-z]+ : [0-9]+ =>\t Index range out!$"));
    QVERIFY2(form.match(result.lines[0]).hasMatch(), qPrintable(result.lines[0]));
}

void tst_CommandLine::startPrintsItsLinesInOrder()
{
    const ServerHome home;
    const QString file = home.addRecording(QStringLiteral("a.wav"), silence());
    ServerProcess server(home);
    QVERIFY(server.serve());

    const QStringList lines = withoutTheMachines(server.lines());
    const QString stars(48, QLatin1Char('*'));
    QCOMPARE(lines.mid(0, 11),
             QStringList({QStringLiteral("App version: 0.8"),
                          QStringLiteral("Refresh enumerator radio device ..."),
                          QStringLiteral("0 \tfound .. IQFilePlayer IQ file player %1 %1").arg(file),
                          QStringLiteral("Set device ..  IQFilePlayer %1").arg(file), QString(), stars,
                          QStringLiteral("Server address:\t %1").arg(server.address()),
                          QStringLiteral("Identificator:\t %1").arg(file), stars, QString(),
                          QStringLiteral("Server local port:\t %1").arg(server.port())}));
    QCOMPARE(server.count(QStringLiteral("Press \"q\" to quit app.")), 1);
    QCOMPARE(server.id().size(), 20);
    QVERIFY(server.port() != 0);
    QVERIFY(server.quit());
}

void tst_CommandLine::oneReceiverNeedsNoOption()
{
    const ServerHome home;
    const QString file = home.addRecording(QStringLiteral("only.wav"), silence());
    ServerProcess server(home);
    QVERIFY(server.serve());
    QCOMPARE(server.identificator(), file);
    QVERIFY(server.quit());
}

void tst_CommandLine::indexChoosesAmongSeveral_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("index");
    QTest::addColumn<QStringList>("warned");
    QTest::newRow("-i 0") << words("-i 0") << 0 << QStringList();
    QTest::newRow("-i 1") << words("-i 1") << 1 << QStringList();
    QTest::newRow("--index=1") << words("--index=1") << 1 << QStringList();
    QTest::newRow("-i abc is -i 0") << words("-i abc") << 0
                                    << QStringList{
                                           QStringLiteral("Device index is no number: abc - taken as 0")};
}

void tst_CommandLine::indexChoosesAmongSeveral()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, index);
    QFETCH(QStringList, warned);
    const ServerHome home;
    home.addRecording(QStringLiteral("b.wav"), silence());
    home.addRecording(QStringLiteral("a.wav"), silence());
    const QString entry = run(home, words("-l")).lines.value(1 + index);

    ServerProcess server(home);
    QVERIFY(server.serve(arguments));
    QVERIFY(entry.startsWith(QString::number(index)));
    QVERIFY2(entry.endsWith(server.identificator()), qPrintable(entry));
    QCOMPARE(warnings(server), warned);
    QVERIFY(server.quit());
}

void tst_CommandLine::portIsTheOneAskedFor()
{
    const ServerHome home;
    home.addRecording(QStringLiteral("a.wav"), silence());
    ServerProcess server(home);
    QVERIFY(server.serve(words("--port 23456")));
    QCOMPARE(server.port(), quint16(23456));
    QVERIFY(server.quit());
}

void tst_CommandLine::portIsCutTo16Bits_data()
{
    QTest::addColumn<QString>("asked");
    QTest::addColumn<quint16>("port");
    QTest::newRow("70000") << QStringLiteral("70000") << quint16(4'464);
    QTest::newRow("99999") << QStringLiteral("99999") << quint16(34'463);
}

void tst_CommandLine::portIsCutTo16Bits()
{
    QFETCH(QString, asked);
    QFETCH(quint16, port);
    const ServerHome home;
    home.addRecording(QStringLiteral("a.wav"), silence());
    ServerProcess server(home);
    QVERIFY(server.serve({QStringLiteral("-p"), asked}));
    QCOMPARE(server.port(), port);
    QCOMPARE(warnings(server), QStringList{QStringLiteral("Port is no number up to 65535: %1 - taken as %2")
                                               .arg(asked, QString::number(port))});
    QVERIFY(server.quit());
}

void tst_CommandLine::portThatIsNoNumberIsLeftToTheSystem()
{
    const ServerHome home;
    home.addRecording(QStringLiteral("a.wav"), silence());
    ServerProcess server(home);
    QVERIFY(server.serve(words("-p ham")));
    QVERIFY(server.port() != 0);
    QCOMPARE(warnings(server),
             QStringList{QStringLiteral("Port is no number up to 65535: ham - taken as 0")});
    QVERIFY(server.quit());
}

void tst_CommandLine::usablePortAndIndexBringNoWarning()
{
    const ServerHome home;
    home.addRecording(QStringLiteral("a.wav"), silence());
    ServerProcess server(home);
    QVERIFY(server.serve(words("-p 65535 -i 0")));
    QCOMPARE(server.port(), quint16(65'535));
    QCOMPARE(warnings(server), QStringList());
    QVERIFY(server.quit());
}

void tst_CommandLine::missingLibraryIsToldWhereAReceiverIsLookedFor_data()
{
    QTest::addColumn<int>("recordings");
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("-l, no receiver") << 0 << words("-l");
    QTest::newRow("-l, one receiver") << 1 << words("-l");
    QTest::newRow("a start without a receiver") << 0 << QStringList();
    QTest::newRow("an index without a receiver") << 0 << words("-i 0");
}

void tst_CommandLine::missingLibraryIsToldWhereAReceiverIsLookedFor()
{
    QFETCH(int, recordings);
    QFETCH(QStringList, arguments);
    const ServerHome home;
    for (int i = 0; i < recordings; ++i) {
        home.addRecording(QStringLiteral("%1.wav").arg(i), silence());
    }
    ServerProcess server(home);
    server.start(arguments);
    QVERIFY(server.waitForExitCode() != -1000);
    QCOMPARE(server.count(QStringLiteral("The rsp library isn't installed")), 1);
}

void tst_CommandLine::startWithAReceiverBeginsWithTheVersion()
{
    const ServerHome home;
    home.addRecording(QStringLiteral("a.wav"), silence());
    ServerProcess server(home);
    QVERIFY(server.serve());
    QCOMPARE(server.lines().constFirst(), QStringLiteral("App version: 0.8"));
    QCOMPARE(server.count(QStringLiteral("The rsp library isn't installed")), 0);
    QVERIFY(server.quit());
}

void tst_CommandLine::loggingRulesOfTheEnvironmentLeaveTheAddressBlock_data()
{
    QTest::addColumn<QString>("rules");
    QTest::newRow("debug") << QStringLiteral("default.debug=false");
    QTest::newRow("everything") << QStringLiteral("*=false");
    QTest::newRow("in another section") << QStringLiteral("*.debug=false;[Elsewhere]");
}

void tst_CommandLine::loggingRulesOfTheEnvironmentLeaveTheAddressBlock()
{
    QFETCH(QString, rules);
    const ServerHome home;
    home.addRecording(QStringLiteral("a.wav"), silence());
    ServerProcess server(home);
    server.setVariable(QStringLiteral("QT_LOGGING_RULES"), rules);
    QVERIFY(server.serve());
    QCOMPARE(server.id().size(), 20);
    QVERIFY(server.port() != 0);
    QVERIFY(server.quit());
}

void tst_CommandLine::portInUseEndsTheProcess()
{
    const ServerHome home;
    home.addRecording(QStringLiteral("a.wav"), silence());
    QUdpSocket taken;
    QVERIFY(taken.bind(QHostAddress(QHostAddress::Any)));
    const QString port = QString::number(taken.localPort());

    const Run result = run(home, {QStringLiteral("-p"), port});

    QCOMPARE(result.exitCode, kFailure);
    const QRegularExpression form(
        QStringLiteral(
            "^\\[ C \\]\\[ Network/Socket/Socket \\] listen : [0-9]+ =>\t Error bind udp port: %1, .+$")
            .arg(port));
    QVERIFY2(form.match(result.lines.last()).hasMatch(), qPrintable(result.lines.last()));
    QVERIFY(result.lines.filter(QStringLiteral("Server address:")).size() == 1);
    QVERIFY(result.lines.filter(QStringLiteral("Server local port:")).isEmpty());
}

void tst_CommandLine::addressSurvivesARestart()
{
    const ServerHome home;
    const QString file = home.addRecording(QStringLiteral("a.wav"), silence());
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

void tst_CommandLine::eachReceiverHasItsOwnAddress()
{
    const ServerHome home;
    home.addRecording(QStringLiteral("a.wav"), silence());
    home.addRecording(QStringLiteral("b.wav"), silence());
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

void tst_CommandLine::regeneratedAddressIsNewAndStays()
{
    const ServerHome home;
    home.addRecording(QStringLiteral("a.wav"), silence());
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

void tst_CommandLine::regeneratingOnAFirstStartStoresWhatIsPrinted()
{
    const ServerHome home;
    const QString file = home.addRecording(QStringLiteral("a.wav"), silence());
    ServerProcess server(home);
    QVERIFY(server.serve(words("-r")));
    QCOMPARE(home.setting(addressKey(file)).toString(), QString::fromLatin1(server.id().toHex()));
    QVERIFY(server.quit());
}

void tst_CommandLine::unusableStoredAddressIsReplaced_data()
{
    QTest::addColumn<QString>("stored");
    QTest::newRow("all zero") << QString(40, QLatin1Char('0'));
    QTest::newRow("bytes that sum to 256") << QStringLiteral("8080") + QString(36, QLatin1Char('0'));
    QTest::newRow("39 digits") << QString(39, QLatin1Char('1'));
    QTest::newRow("41 digits") << QString(41, QLatin1Char('1'));
    QTest::newRow("empty") << QString();
}

void tst_CommandLine::unusableStoredAddressIsReplaced()
{
    QFETCH(QString, stored);
    const ServerHome home;
    const QString file = home.addRecording(QStringLiteral("a.wav"), silence());
    home.setSetting(addressKey(file), stored);
    ServerProcess server(home);
    QVERIFY(server.serve());
    const QString now = home.setting(addressKey(file)).toString();
    QVERIFY(now != stored);
    QCOMPARE(now, QString::fromLatin1(server.id().toHex()));
    QVERIFY(server.quit());
}

void tst_CommandLine::startsAreCounted()
{
    const ServerHome home;
    home.addRecording(QStringLiteral("a.wav"), silence());
    ServerProcess server(home);
    for (int start = 1; start <= 3; ++start) {
        QVERIFY(server.serve());
        QCOMPARE(home.setting(QStringLiteral("check_settings")).toInt(), start);
        QVERIFY(server.quit());
    }
}

void tst_CommandLine::unusableSettingsStoreEndsTheProcess()
{
    const ServerHome home;
    home.addRecording(QStringLiteral("a.wav"), silence());
    // A file stands where the store's folder would have to be made; that holds for root as well.
    QFile obstacle(home.path() + QStringLiteral("/config/Orvenlink"));
    QVERIFY(obstacle.open(QIODevice::WriteOnly));

    const Run result = run(home, {});

    QCOMPARE(result.exitCode, kFailure);
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

void tst_CommandLine::nothingGoesToStandardOutput()
{
    const ServerHome home;
    home.addRecording(QStringLiteral("a.wav"), silence());
    ServerProcess server(home);
    QVERIFY(server.serve());
    QVERIFY(server.quit());
    QCOMPARE(server.standardOutput(), QByteArray());
}

QTEST_GUILESS_MAIN(tst_CommandLine)
#include "tst_CommandLine.moc"
