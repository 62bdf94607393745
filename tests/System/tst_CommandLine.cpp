#include "System/Recording.h"
#include "System/Run.h"
#include "System/ServerHome.h"
#include "System/ServerProcess.h"

#include <QDir>
#include <QRegularExpression>
#include <QTest>

namespace
{

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

} // namespace

class tst_CommandLine : public QObject
{
    Q_OBJECT

private slots:
    void endsAtOnce_data();
    void endsAtOnce();
    void unknownOptionsEndProcess();
    void listNamesEveryReceiverAndEnds();
    void refusesToStartWithoutClearChoice_data();
    void refusesToStartWithoutClearChoice();
    void indexOutOfRangeIsWarningWithItsTag();
    void startPrintsItsLinesInOrder();
    void oneReceiverNeedsNoOption();
    void indexChoosesAmongSeveral_data();
    void indexChoosesAmongSeveral();
    void missingLibraryIsToldWhereReceiverIsLookedFor_data();
    void missingLibraryIsToldWhereReceiverIsLookedFor();
    void startWithReceiverBeginsWithVersion();
    void loggingRulesOfEnvironmentLeaveAddressBlock_data();
    void loggingRulesOfEnvironmentLeaveAddressBlock();
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
        home.addRecording(QStringLiteral("%1.wav").arg(i), recording({}));
    }

    const Run result(home, arguments);

    QCOMPARE(result.exitCode, 0);
    QCOMPARE(result.lines, lines);
}

void tst_CommandLine::unknownOptionsEndProcess()
{
    const ServerHome home;
    home.addRecording(QStringLiteral("a.wav"), recording({}));
    for (const char* arguments : {"-x", "--hell", "-p"}) {
        const Run result(home, words(arguments));
        QCOMPARE(result.exitCode, 1);
        QVERIFY2(!result.lines.isEmpty(), arguments);
        QVERIFY2(result.lines.filter(QStringLiteral("Server address")).isEmpty(), arguments);
    }
}

void tst_CommandLine::listNamesEveryReceiverAndEnds()
{
    const ServerHome home;
    const QString first = home.addRecording(QStringLiteral("first.wav"), recording({}));
    home.addRecording(QStringLiteral("notes.txt"), "no recording");
    QDir(home.documents()).mkdir(QStringLiteral("folder.wav"));

    const Run one(home, words("-l"));
    QCOMPARE(one.exitCode, 0);
    QCOMPARE(one.lines,
             QStringList({QStringLiteral("Refresh enumerator radio device ..."),
                          QStringLiteral("0 \tfound .. IQFilePlayer IQ file player %1 %1").arg(first)}));

    const QString second = home.addRecording(QStringLiteral("second.wav"), recording({}));
    const Run two(home, words("--list"));
    QCOMPARE(two.exitCode, 0);
    QCOMPARE(two.lines.size(), 3);
    QVERIFY(two.lines[1].startsWith(QStringLiteral("0 \tfound .. IQFilePlayer IQ file player ")));
    QVERIFY(two.lines[2].startsWith(QStringLiteral("1 \tfound .. IQFilePlayer IQ file player ")));
    QCOMPARE(two.lines.filter(second).size(), 1);
    QCOMPARE(two.lines.filter(first).size(), 1);
}

void tst_CommandLine::refusesToStartWithoutClearChoice_data()
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

void tst_CommandLine::refusesToStartWithoutClearChoice()
{
    QFETCH(int, recordings);
    QFETCH(QStringList, arguments);
    QFETCH(QString, text);
    const ServerHome home;
    for (int i = 0; i < recordings; ++i) {
        home.addRecording(QStringLiteral("%1.wav").arg(i), recording({}));
    }

    const Run result(home, arguments);

    QCOMPARE(result.exitCode, Run::kFailure);
    QVERIFY(!result.lines.isEmpty());
    QVERIFY2(result.lines.last().endsWith(text), qPrintable(result.lines.join(QLatin1Char('\n'))));
    QVERIFY(result.lines.filter(QStringLiteral("Server address")).isEmpty());
}

void tst_CommandLine::indexOutOfRangeIsWarningWithItsTag()
{
    const ServerHome home;
    const Run result(home, words("-i 0"));
    QCOMPARE(result.lines.size(), 1);
    static const QRegularExpression form(
        QStringLiteral("^\\[ W \\]\\[ Application/[A-Za-z]+ \\] [A-Za-z]+ : [0-9]+ =>\t Index range out!$"));
    QVERIFY2(form.match(result.lines[0]).hasMatch(), qPrintable(result.lines[0]));
}

void tst_CommandLine::startPrintsItsLinesInOrder()
{
    const ServerHome home;
    const QString file = home.addRecording(QStringLiteral("a.wav"), recording({}));
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
    const QString file = home.addRecording(QStringLiteral("only.wav"), recording({}));
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
    home.addRecording(QStringLiteral("b.wav"), recording({}));
    home.addRecording(QStringLiteral("a.wav"), recording({}));
    const QString entry = Run(home, words("-l")).lines.value(1 + index);

    ServerProcess server(home);
    QVERIFY(server.serve(arguments));
    QVERIFY(entry.startsWith(QString::number(index)));
    QVERIFY2(entry.endsWith(server.identificator()), qPrintable(entry));
    QCOMPARE(warnings(server), warned);
    QVERIFY(server.quit());
}

void tst_CommandLine::missingLibraryIsToldWhereReceiverIsLookedFor_data()
{
    QTest::addColumn<int>("recordings");
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("-l, no receiver") << 0 << words("-l");
    QTest::newRow("-l, one receiver") << 1 << words("-l");
    QTest::newRow("a start without a receiver") << 0 << QStringList();
    QTest::newRow("an index without a receiver") << 0 << words("-i 0");
}

void tst_CommandLine::missingLibraryIsToldWhereReceiverIsLookedFor()
{
    QFETCH(int, recordings);
    QFETCH(QStringList, arguments);
    const ServerHome home;
    for (int i = 0; i < recordings; ++i) {
        home.addRecording(QStringLiteral("%1.wav").arg(i), recording({}));
    }
    ServerProcess server(home);
    server.start(arguments);
    QVERIFY(server.waitForExitCode() != -1000);
    QCOMPARE(server.count(QStringLiteral("The rsp library isn't installed")), 1);
}

void tst_CommandLine::startWithReceiverBeginsWithVersion()
{
    const ServerHome home;
    home.addRecording(QStringLiteral("a.wav"), recording({}));
    ServerProcess server(home);
    QVERIFY(server.serve());
    QCOMPARE(server.lines().constFirst(), QStringLiteral("App version: 0.8"));
    QCOMPARE(server.count(QStringLiteral("The rsp library isn't installed")), 0);
    QVERIFY(server.quit());
}

void tst_CommandLine::loggingRulesOfEnvironmentLeaveAddressBlock_data()
{
    QTest::addColumn<QString>("rules");
    QTest::newRow("debug") << QStringLiteral("default.debug=false");
    QTest::newRow("everything") << QStringLiteral("*=false");
    QTest::newRow("in another section") << QStringLiteral("*.debug=false;[Elsewhere]");
}

void tst_CommandLine::loggingRulesOfEnvironmentLeaveAddressBlock()
{
    QFETCH(QString, rules);
    const ServerHome home;
    home.addRecording(QStringLiteral("a.wav"), recording({}));
    ServerProcess server(home);
    server.setVariable(QStringLiteral("QT_LOGGING_RULES"), rules);
    QVERIFY(server.serve());
    QCOMPARE(server.id().size(), 20);
    QVERIFY(server.port() != 0);
    QVERIFY(server.quit());
}

void tst_CommandLine::nothingGoesToStandardOutput()
{
    const ServerHome home;
    home.addRecording(QStringLiteral("a.wav"), recording({}));
    ServerProcess server(home);
    QVERIFY(server.serve());
    QVERIFY(server.quit());
    QCOMPARE(server.standardOutput(), QByteArray());
}

QTEST_GUILESS_MAIN(tst_CommandLine)
#include "tst_CommandLine.moc"
