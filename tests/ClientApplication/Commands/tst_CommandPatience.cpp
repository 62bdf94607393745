#include "ClientApplication/Commands/CommandTest.h"
#include "ClientApplication/Commands/InfoCommand.h"
#include "ClientApplication/Commands/RecordCommand.h"
#include "ClientApplication/Commands/SpectrumCommand.h"

#include <QJsonDocument>
#include <QtTest>
#include <unistd.h>

namespace
{

// A twentieth of the usual times.
SessionCommand::Patience quick()
{
    SessionCommand::Patience patience;
    patience.properties = 1000;
    patience.stalled = 250;
    patience.lost = 750;
    return patience;
}

} // namespace

/// What a command does when the server that has let it in sends nothing more.
class tst_CommandPatience : public CommandTest
{
    Q_OBJECT

private slots:
    void recordingWithoutSamplesSaysSoAndEnds();
    void recordingWhoseSamplesCeaseCountsWhatIsMissing();
    void recordingThatIsToComeBackWaitsOn();
    void samplesThatComeAgainAreWaitedForAfresh();
    void interruptedSilenceIsNoRunWithoutLosses();
    void spectrumWithoutFramesSaysSoAndEnds();
    void propertiesThatDoNotComeEndCommand();

private:
    void sendSamples(int blocks);
};

void tst_CommandPatience::sendSamples(int blocks)
{
    for (int i = 0; i < blocks; ++i) {
        m_server->sendIq(QVector<qint16>(256));
    }
}

void tst_CommandPatience::recordingWithoutSamplesSaysSoAndEnds()
{
    RecordCommand command(quick());
    Captured errors(STDERR_FILENO);
    Captured output(STDOUT_FILENO);
    start(command, {m_folder->filePath(text("a.wav")), text("--seconds"), text("4")});
    QTRY_VERIFY(isEnded());
    QCOMPARE(m_codes, QVector<ExitCode>{ExitCode::SessionLost});
    QCOMPARE(errors.lines().size(), 2);
    QCOMPARE(errors.count(" s: waiting"), 1);
    QVERIFY(errors.lines().last().startsWith(text("orvenlink-client: nothing has come for ")));
    QCOMPARE(output.count("no losses"), 0);
    QCOMPARE(output.count("samples (0.75 s) missing"), 1);
    QTRY_VERIFY(!m_server->isInSession());
}

void tst_CommandPatience::recordingWhoseSamplesCeaseCountsWhatIsMissing()
{
    RecordCommand command(quick());
    Captured errors(STDERR_FILENO);
    Captured output(STDOUT_FILENO);
    start(command, {m_folder->path(), text("--json")});
    QTRY_VERIFY(!QDir(m_folder->path()).isEmpty(QDir::Files));
    sendSamples(10);
    QTRY_VERIFY(isEnded());
    const QJsonObject told = QJsonDocument::fromJson(output.lines().join(QString()).toUtf8()).object();
    QCOMPARE(told[text("samples")].toInt(), 1280);
    QCOMPARE(told[text("missing_samples")].toInt(), 36'000);
}

void tst_CommandPatience::recordingThatIsToComeBackWaitsOn()
{
    RecordCommand command(quick());
    Captured errors(STDERR_FILENO);
    Captured output(STDOUT_FILENO);
    start(command, {m_folder->path(), text("--reconnect"), text("--seconds"), text("0.1")});
    QTRY_COMPARE(errors.count(" s: waiting"), 1);
    // That it doesn't end has no event of its own: the time at which others end passes.
    QTest::qWait(2 * quick().lost);
    QVERIFY(!isEnded());
    QCOMPARE(errors.lines().size(), 1);
    sendSamples(40);
    QTRY_COMPARE(m_codes, QVector<ExitCode>{ExitCode::Done});
}

void tst_CommandPatience::samplesThatComeAgainAreWaitedForAfresh()
{
    RecordCommand command(quick());
    Captured errors(STDERR_FILENO);
    Captured output(STDOUT_FILENO);
    start(command, {m_folder->path()});
    for (int silences = 1; silences <= 3; ++silences) {
        QTRY_COMPARE(errors.count(" s: waiting"), silences);
        QVERIFY(!isEnded());
        sendSamples(1);
    }
    QTRY_COMPARE(m_codes, QVector<ExitCode>{ExitCode::SessionLost});
}

void tst_CommandPatience::interruptedSilenceIsNoRunWithoutLosses()
{
    RecordCommand command(quick());
    Captured errors(STDERR_FILENO);
    Captured output(STDOUT_FILENO);
    start(command, {m_folder->path()});
    QTRY_COMPARE(errors.lines().size(), 1);
    command.interrupt();
    QTRY_VERIFY(isEnded());
    QCOMPARE(output.count("no losses"), 0);
    QCOMPARE(output.count("missing"), 1);
}

void tst_CommandPatience::spectrumWithoutFramesSaysSoAndEnds()
{
    SpectrumCommand command(quick());
    Captured errors(STDERR_FILENO);
    Captured output(STDOUT_FILENO);
    start(command, {text("--json")}, 12'000);
    QTRY_COMPARE(m_codes, QVector<ExitCode>{ExitCode::SessionLost});
    QCOMPARE(errors.lines().size(), 2);
    QVERIFY(output.lines().isEmpty());
}

void tst_CommandPatience::propertiesThatDoNotComeEndCommand()
{
    m_server->withholdProperties();
    InfoCommand command(InfoCommand::Form::Everything, quick());
    Captured errors(STDERR_FILENO);
    Captured output(STDOUT_FILENO);
    start(command, {});
    QTRY_COMPARE(m_codes, QVector<ExitCode>{ExitCode::SessionLost});
    QCOMPARE(errors.lines().size(), 1);
    QVERIFY(errors.lines().first().startsWith(
        text("orvenlink-client: the server doesn't tell what its receiver is")));
    QTRY_VERIFY(!m_server->isInSession());
}

QTEST_GUILESS_MAIN(tst_CommandPatience)
#include "tst_CommandPatience.moc"
