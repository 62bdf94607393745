#include "ClientApplication/Commands/CommandTest.h"
#include "ClientApplication/Commands/InfoCommand.h"
#include "ClientApplication/Commands/RecordCommand.h"
#include "ClientApplication/Commands/SessionText.h"
#include "ClientApplication/Commands/SetCommand.h"
#include "ClientApplication/Console/ClientLog.h"
#include "Core/Log/Log.h"

#include <QJsonDocument>
#include <QtTest>
#include <unistd.h>

namespace
{

// Colours, a title, a line of its own, and text that runs backwards; and no end.
QString evil()
{
    return QStringLiteral("\u001b[31m\u001b]0;x\u0007\norvenlink-client: done\u009b2J\u202e") +
           QString(5'000, QLatin1Char('y'));
}

} // namespace

Q_DECLARE_METATYPE(ExitCode)
Q_DECLARE_METATYPE(ServerResolver::Failure)

/// What commands say, and that nothing a server says of itself is more than text.
class tst_CommandTexts : public CommandTest
{
    Q_OBJECT

private slots:
    void whatKeepsFromServerHasLineAndCode_data();
    void whatKeepsFromServerHasLineAndCode();
    void valueTakesTypeOfPresentOne_data();
    void valueTakesTypeOfPresentOne();
    void valuesOfReceiverAreNoOrders();
    void jsonOfReceiverIsNoOrderEither();
    void whyServerRefusesIsNoOrder();
    void whatItsReceiverReportsIsNoOrder();
    void logIsNoOrder();

    void rtlReceiversCorrectionMovesItAndThatIsSaid_data();
    void rtlReceiversCorrectionMovesItAndThatIsSaid();
    void recordingSaysThatCorrectionMovesReceiver();
    void recordingThatComesBackMovesItBack();

private:
    static void verifyHarmless(const QStringList& lines);
};

void tst_CommandTexts::whatKeepsFromServerHasLineAndCode_data()
{
    using Problem = ServerResolver::Problem;
    QTest::addColumn<ServerResolver::Failure>("failure");
    QTest::addColumn<ExitCode>("code");
    QTest::addColumn<QString>("part");
    const auto row = [](Problem problem, ExitCode code, const char* part) {
        QTest::newRow(part) << ServerResolver::Failure{problem, text("one"), text("two")} << code
                            << text(part);
    };
    row(Problem::IdentificatorMissing, ExitCode::Usage, "--identificator is missing: give the one ");
    row(Problem::CanNotListen, ExitCode::Failed, "can't listen for servers: one; ");
    row(Problem::NotHeard, ExitCode::NotFound, "it is off, busy or elsewhere; \"orvenlink-client list\"");
    row(Problem::ClaimedTwice, ExitCode::NotFound, "two servers claim this address, one and two: ");
    row(Problem::OtherIdentificator, ExitCode::Usage, "the server's identificator is \"one\", not the ");
    row(Problem::OtherVersion, ExitCode::Refused, "the server speaks version one of the protocol, ");
    row(Problem::UnknownHost, ExitCode::NotFound, "the host one is not known, two: ");
}

void tst_CommandTexts::whatKeepsFromServerHasLineAndCode()
{
    QFETCH(ServerResolver::Failure, failure);
    QFETCH(ExitCode, code);
    QFETCH(QString, part);
    const SessionText told = SessionText::of(failure);
    QCOMPARE(told.code, code);
    QVERIFY2(told.line.contains(part), qPrintable(told.line));
}

void tst_CommandTexts::valueTakesTypeOfPresentOne_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QVariant>("present");
    QTest::addColumn<QVariant>("value");
    QTest::newRow("a number") << QStringLiteral("14.25M") << QVariant(1.5) << QVariant(14'250'000.0);
    QTest::newRow("a whole number") << QStringLiteral("-3") << QVariant(1LL) << QVariant(-3.0);
    QTest::newRow("no number") << QStringLiteral("many") << QVariant(1LL) << QVariant();
    QTest::newRow("true") << QStringLiteral("true") << QVariant(false) << QVariant(true);
    QTest::newRow("off") << QStringLiteral("off") << QVariant(true) << QVariant(false);
    QTest::newRow("no switch") << QStringLiteral("maybe") << QVariant(true) << QVariant();
    QTest::newRow("a text") << QStringLiteral("1") << QVariant(QStringLiteral("a"))
                            << QVariant(QStringLiteral("1"));
    QTest::newRow("a list") << QStringLiteral("1") << QVariant(QVariantList{1}) << QVariant();
    QTest::newRow("nothing") << QStringLiteral("1") << QVariant() << QVariant();
}

void tst_CommandTexts::valueTakesTypeOfPresentOne()
{
    QFETCH(QString, text);
    QFETCH(QVariant, present);
    QFETCH(QVariant, value);
    QCOMPARE(SetCommand::toValue(text, present), value);
}

void tst_CommandTexts::verifyHarmless(const QStringList& lines)
{
    QVERIFY(!lines.isEmpty());
    for (const QString& line : lines) {
        QVERIFY2(!line.contains(QRegularExpression(QStringLiteral("[\\x00-\\x1f\\x7f-\\x9f\u202e]"))),
                 qPrintable(line));
        QVERIFY2(!line.startsWith(text("orvenlink-client: done")), qPrintable(line));
    }
}

void tst_CommandTexts::valuesOfReceiverAreNoOrders()
{
    m_server->device.setObjectName(evil());
    m_server->device.rates = QStringList{text("48000"), evil()};
    InfoCommand command(InfoCommand::Form::Everything);
    Captured output(STDOUT_FILENO);
    launch(command);
    QTRY_VERIFY(isEnded());
    verifyHarmless(output.lines());
    QCOMPARE(output.count("\\x1b[31m\\x1b]0;x\\x07\\norvenlink-client: done\\x9b2J\\u202eyyyy"), 2);
    QCOMPARE(output.count("yyyyy"), 2);
    QVERIFY(!output.lines().join(QString()).contains(QString(200, QLatin1Char('y'))));
}

void tst_CommandTexts::jsonOfReceiverIsNoOrderEither()
{
    m_server->device.setObjectName(evil());
    InfoCommand command(InfoCommand::Form::ValuesAlone);
    Captured output(STDOUT_FILENO);
    launch(command, {text("--json")});
    QTRY_VERIFY(isEnded());
    verifyHarmless(output.lines());
    const QJsonObject told = QJsonDocument::fromJson(output.lines().join(QString()).toUtf8()).object();
    QCOMPARE(told[text("objectName")].toString(), evil());
}

void tst_CommandTexts::whyServerRefusesIsNoOrder()
{
    m_server->setAnswer({{text("err"), evil()}});
    InfoCommand command(InfoCommand::Form::Everything);
    Captured errors(STDERR_FILENO);
    launch(command);
    QTRY_COMPARE(m_codes, QVector<ExitCode>{ExitCode::Refused});
    verifyHarmless(errors.lines());
    QCOMPARE(errors.lines().size(), 1);
    QVERIFY(errors.lines().first().size() < 300);
}

void tst_CommandTexts::whatItsReceiverReportsIsNoOrder()
{
    RecordCommand command;
    Captured errors(STDERR_FILENO);
    start(command, {m_folder->path()});
    m_server->call(text("error_happen"), {{text("err"), evil()}});
    m_server->session().disconnectFromHost();
    QTRY_COMPARE(m_codes, QVector<ExitCode>{ExitCode::SessionLost});
    verifyHarmless(errors.lines());
    QCOMPARE(errors.lines().size(), 1);
    QVERIFY(errors.lines().first().size() < 300);
}

void tst_CommandTexts::logIsNoOrder()
{
    m_log.reset();
    const auto before = qInstallMessageHandler(nullptr);
    ClientLog::install();
    {
        Captured errors(STDERR_FILENO);
        ClientLog::setVerbose(true);
        LOG_WARNING() << evil();
        LOG_DEBUG() << evil();
        ClientLog::setVerbose(false);
        LOG_WARNING() << evil();
        ClientLog::summarize();
        verifyHarmless(errors.lines());
        QCOMPARE(errors.lines().size(), 3);
        QVERIFY(errors.lines().last().startsWith(text("orvenlink-client: \\x1b[31m")));
        for (const QString& line : errors.lines()) {
            QVERIFY(line.size() <= 1'000);
        }
    }
    qInstallMessageHandler(before);
}

void tst_CommandTexts::rtlReceiversCorrectionMovesItAndThatIsSaid_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("value");
    QTest::addColumn<int>("lines");
    QTest::newRow("set on an RTL") << 5 << text("ppmCorrection") << text("50") << 1;
    QTest::newRow("tuned after that") << 5 << text("frequency") << text("14.3M") << 1;
    QTest::newRow("of no consequence") << 5 << text("levelCorrection") << text("3") << 0;
    QTest::newRow("set back") << 5 << text("ppmCorrection") << text("0") << 0;
    QTest::newRow("set on an Airspy") << 7 << text("ppmCorrection") << text("50") << 0;
}

void tst_CommandTexts::rtlReceiversCorrectionMovesItAndThatIsSaid()
{
    QFETCH(int, type);
    QFETCH(QString, name);
    QFETCH(QString, value);
    QFETCH(int, lines);
    m_server->device.type = type;
    m_server->device.ppm = 50;
    SetCommand command;
    Captured errors(STDERR_FILENO);
    Captured output(STDOUT_FILENO);
    launch(command, {name, value});
    QTRY_COMPARE(m_codes, QVector<ExitCode>{ExitCode::Done});
    QCOMPARE(output.lines().size(), 1);
    QCOMPARE(errors.lines().size(), lines);
    QCOMPARE(errors.count("ppmCorrection is 50: "), lines);
}

void tst_CommandTexts::recordingSaysThatCorrectionMovesReceiver()
{
    m_server->device.ppm = 50;
    RecordCommand command;
    Captured errors(STDERR_FILENO);
    start(command, {m_folder->path()});
    QTRY_COMPARE(
        errors.count("ppmCorrection is 50: the frequency of this receiver moves by 712.5 Hz at each start"),
        1);
    command.interrupt();
    QTRY_VERIFY(isEnded());
}

void tst_CommandTexts::recordingThatComesBackMovesItBack()
{
    m_server->device.ppm = 50;
    SessionCommand::Patience patience;
    patience.session.pause = 50;
    RecordCommand command(patience);
    const Captured errors(STDERR_FILENO);
    const Captured output(STDOUT_FILENO);
    start(command, {m_folder->path(), text("--reconnect")});
    QTRY_COMPARE(errors.lines().size(), 1);
    m_server->session().disconnectFromHost();
    m_server->device.frequency += 712.5; // its next start
    QTRY_COMPARE(m_server->device.frequency, 14'250'000.0);
    command.interrupt();
    QTRY_VERIFY(isEnded());
}

QTEST_GUILESS_MAIN(tst_CommandTexts)
#include "tst_CommandTexts.moc"
