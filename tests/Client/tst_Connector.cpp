#include "Client/SessionTest.h"

#include <QSignalSpy>
#include <QtTest>

/// The way into a session and back into one that has broken off.
class tst_Connector : public SessionTest
{
    Q_OBJECT

private slots:
    void refusalsAreValues_data();
    void refusalsAreValues();
    void answerThatIsNoneEndsConnecting_data();
    void answerThatIsNoneEndsConnecting();
    void noAnswerIsRefusalToo();
    void serverThatOpensItsReceiverIsWaitedForUnderOneId_data();
    void serverThatOpensItsReceiverIsWaitedForUnderOneId();
    void receiverThatCanNotBeOpenedIsToldWhenItsServerSaysSo();
    void serverThatAnswersAtOnceIsNotWaitedFor();
    void lostCallIsRepeated();
    void sessionWhoseAnswerGotLostIsKnownByItsPing();
    void answersToRepeatsConfirmNothingOfSession();
    void busyServerIsToldAtOnce();
    void serverThatIsBusyAfterLostCallIsToldAtEnd();
    void serverThatGetsFreeAfterLostCallIsEntered();
    void closeWhileConnectingLeavesNothingAfter();

    void silentServerEndsSessionAndItComesBackAsItWas();
    void refusedWriteIsNotRepeatedInNextSession();
    void busyServerIsBorneWhileReconnecting();
    void roundsWithoutAnswerAreBorneWhileReconnecting();
    void otherRefusalsEndReconnecting();
    void closeEndsReconnecting();
    void takeoverIsNotReconnected();

private:
    [[nodiscard]] static ClientSession::Timing scaled();
};

// About a tenth of the usual times.
ClientSession::Timing tst_Connector::scaled()
{
    ClientSession::Timing timing;
    timing.repeat = 200;
    timing.notice = 150;
    timing.patience = 1200;
    timing.pause = 100;
    return timing;
}

void tst_Connector::refusalsAreValues_data()
{
    QTest::addColumn<QString>("err");
    QTest::addColumn<Refusal>("refusal");
    QTest::addColumn<QString>("shown");
    const auto row = [](const char* err, Refusal refusal) {
        QTest::newRow(err) << text(err) << refusal << text(err);
    };
    row("Server busy!", Refusal::Busy);
    row("Unsupported version protocol!", Refusal::UnsupportedVersion);
    row("Error get client packet values!", Refusal::BadRequest);
    row("Error factory RadioDevice!", Refusal::NoDevice);
    row("Not today", Refusal::Other);
    row("", Refusal::Other);
    QTest::newRow("endless") << QString(60'000, QLatin1Char('x')) << Refusal::Other
                             << QString(200, QLatin1Char('x'));
    QTest::newRow("for a terminal") << QStringLiteral("a\u001b[2Jb\nc") << Refusal::Other
                                    << text("a\\x1b[2Jb\\nc");
}

void tst_Connector::refusalsAreValues()
{
    QFETCH(QString, err);
    QFETCH(Refusal, refusal);
    QFETCH(QString, shown);
    m_server->setAnswer({{text("err"), err}});
    QVERIFY(m_session->open(target()));
    QTRY_COMPARE(m_refusals, QVector<Refusal>{refusal});
    QCOMPARE(m_texts, QStringList{shown});
    QCOMPARE(m_session->state(), State::Idle);
    QCOMPARE(m_server->connects(), 1);
    QVERIFY(m_ends.isEmpty());
}

void tst_Connector::answerThatIsNoneEndsConnecting_data()
{
    QTest::addColumn<QJsonObject>("answer");
    QTest::newRow("neither") << QJsonObject{{text("hello"), 1}};
    QTest::newRow("no id") << QJsonObject{{text("session_id"), text("1234")}};
    QTest::newRow("id of another type") << QJsonObject{{text("session_id"), 5}};
    QTest::newRow("refusal of another type") << QJsonObject{{text("err"), 5}};
}

void tst_Connector::answerThatIsNoneEndsConnecting()
{
    QFETCH(QJsonObject, answer);
    m_server->setAnswer(answer);
    QVERIFY(m_session->open(target()));
    QTRY_COMPARE(m_refusals, QVector<Refusal>{Refusal::BadAnswer});
    QCOMPARE(m_session->state(), State::Idle);
}

void tst_Connector::noAnswerIsRefusalToo()
{
    useSession(scaled());
    m_server->setDeaf(true);
    QSignalSpy waiting(m_session.get(), &ClientSession::waiting);
    QVERIFY(m_session->open(target()));
    QTRY_COMPARE(m_refusals, QVector<Refusal>{Refusal::NoAnswer});
    QCOMPARE(m_texts, QStringList{QString()});
    QCOMPARE(waiting.size(), 1);
    QCOMPARE(m_session->state(), State::Idle);
}

void tst_Connector::serverThatOpensItsReceiverIsWaitedForUnderOneId_data()
{
    QTest::addColumn<int>("ms"); // a tenth of a real receiver's
    QTest::newRow("slow") << 330;
    QTest::newRow("very slow") << 800;
}

void tst_Connector::serverThatOpensItsReceiverIsWaitedForUnderOneId()
{
    QFETCH(int, ms);
    useSession(scaled());
    m_server->setOpeningTime(ms);
    QSignalSpy waiting(m_session.get(), &ClientSession::waiting);
    QVERIFY(openAndWait());
    QCOMPARE(waiting.size(), 1);
    QTRY_VERIFY(m_server->connects() > 1); // the repeats have come, and were refused
    QTRY_VERIFY(m_session->device().isSynchronized());
    QVERIFY(m_refusals.isEmpty());
}

void tst_Connector::receiverThatCanNotBeOpenedIsToldWhenItsServerSaysSo()
{
    useSession(scaled());
    m_server->setOpeningTime(500);
    m_server->setAnswer({{text("err"), text("Error factory RadioDevice!")}});
    QVERIFY(m_session->open(target()));
    QTRY_COMPARE(m_refusals, QVector<Refusal>{Refusal::NoDevice});
}

void tst_Connector::serverThatAnswersAtOnceIsNotWaitedFor()
{
    useSession(scaled());
    QSignalSpy waiting(m_session.get(), &ClientSession::waiting);
    QVERIFY(openAndWait());
    // That nothing is said has no event of its own: the time for it passes.
    QTest::qWait(3 * scaled().notice);
    QCOMPARE(waiting.size(), 0);
    QCOMPARE(m_server->connects(), 1);
}

void tst_Connector::lostCallIsRepeated()
{
    useSession(scaled());
    m_server->loseCalls(2);
    QVERIFY(openAndWait());
    QCOMPARE(m_server->connects(), 1);
    QTRY_VERIFY(m_session->device().isSynchronized());
}

// The server pings each session once a second or two.
void tst_Connector::sessionWhoseAnswerGotLostIsKnownByItsPing()
{
    m_server->loseAnswers(1);
    QVERIFY(openAndWait());
    QVERIFY(m_server->isInSession());
    QTRY_VERIFY(m_session->device().isSynchronized());
    QVERIFY(m_session->setOffset(3000));
    QTRY_COMPARE(m_server->calls(text("setIF")).size(), 1);
    QTRY_VERIFY(m_session->roundTrip() > 0 || m_server->session().hasHeardPing());
    QVERIFY(m_server->connects() > 1); // the repeats met a busy server
    QVERIFY(m_refusals.isEmpty());
}

// They have numbers of calls as the session's have.
void tst_Connector::answersToRepeatsConfirmNothingOfSession()
{
    useSession(scaled());
    m_server->setOpeningTime(900);
    QVERIFY(m_session->setOffset(3000) && m_session->setBandwidth(20'000, 8000));
    QVERIFY(m_session->setSpectrumRange({0, 512, 300, 512})); // the session's third call
    int frames = 0;
    connect(&m_session->spectrum(), &SpectrumReceiver::frameReceived, this, [&] { ++frames; });
    connect(m_session.get(), &ClientSession::connected, this, [this] {
        m_server->setDeaf(true); // it hears no setting: none is taken up
    });
    QVERIFY(openAndWait());
    QTRY_VERIFY(m_server->connects() >= 4);
    for (int i = 0; i < 2; ++i) {
        m_server->sendSpectrum({32527, 300, 0});
        m_server->sendSpectrum(QVector<qint16>(252));
        m_server->sendSpectrum(QVector<qint16>(48));
    }
    m_server->sendIq(QVector<qint16>(256));
    QTRY_COMPARE(m_session->iq().receivedSamples(), 128);
    QCOMPARE(frames, 0);
}

void tst_Connector::busyServerIsToldAtOnce()
{
    useSession(scaled());
    m_server->setAnswer({{text("err"), text("Server busy!")}});
    QSignalSpy waiting(m_session.get(), &ClientSession::waiting);
    QVERIFY(m_session->open(target()));
    QTRY_COMPARE(m_refusals, QVector<Refusal>{Refusal::Busy});
    QCOMPARE(waiting.size(), 0);
    QCOMPARE(m_server->connects(), 1);
}

void tst_Connector::serverThatIsBusyAfterLostCallIsToldAtEnd()
{
    useSession(scaled());
    m_server->loseCalls(1);
    m_server->setAnswer({{text("err"), text("Server busy!")}});
    QVERIFY(m_session->open(target()));
    QTRY_VERIFY(m_server->connects() >= 3);
    QVERIFY(m_refusals.isEmpty());
    QTRY_COMPARE(m_refusals, QVector<Refusal>{Refusal::Busy});
    QCOMPARE(m_texts, QStringList{text("Server busy!")});
}

void tst_Connector::serverThatGetsFreeAfterLostCallIsEntered()
{
    useSession(scaled());
    m_server->loseCalls(1);
    m_server->setAnswer({{text("err"), text("Server busy!")}});
    QVERIFY(m_session->open(target()));
    QTRY_VERIFY(m_server->connects() >= 1);
    m_server->setAnswer({});
    QTRY_COMPARE(m_connected, 1);
    QVERIFY(m_refusals.isEmpty());
}

void tst_Connector::closeWhileConnectingLeavesNothingAfter()
{
    QVERIFY(m_session->open(target()));
    m_session->close();
    QCOMPARE(m_session->state(), State::Idle);
    m_server->setDeaf(true);
    QVERIFY(m_session->open(target()));
    QTRY_VERIFY(m_session->state() == State::Connecting);
    m_session->close();
    QCOMPARE(m_session->state(), State::Idle);
    QVERIFY(m_ends.isEmpty() && m_refusals.isEmpty());
}

void tst_Connector::silentServerEndsSessionAndItComesBackAsItWas()
{
    m_session->setReconnecting(true);
    QVERIFY(m_session->setOffset(3000));
    QVERIFY(openAndWait());
    QTRY_VERIFY(m_session->device().isSynchronized());
    QVERIFY(m_session->device().setFrequency(14'100'000));
    QVERIFY(m_session->device().setPpmCorrection(5));
    QTRY_COMPARE(m_server->device.ppm, 5);
    QTRY_COMPARE(m_server->calls(text("setIF")).size(), 1);
    const int160 firstId = m_server->client().id;

    m_server->setDeaf(true);
    QTRY_COMPARE_WITH_TIMEOUT(m_ends, QVector<End>{End::Silent}, 15'000);
    QCOMPARE(m_session->state(), State::Reconnecting);
    QVERIFY(!m_session->device().setFrequency(14'200'000));
    m_server->setDeaf(false);
    m_server->forgetSession();
    m_server->device.frequency = 14'333'000; // somebody else has been there
    m_server->device.ppm = 0;

    QTRY_COMPARE_WITH_TIMEOUT(m_connected, 2, 10'000);
    QTRY_COMPARE(m_server->device.frequency, 14'100'000.0);
    QTRY_COMPARE(m_server->device.ppm, 5);
    QTRY_COMPARE(m_server->calls(text("setIF")).size(), 2);
    QVERIFY(m_server->client().id != firstId);
    QVERIFY(m_refusals.isEmpty());
}

void tst_Connector::refusedWriteIsNotRepeatedInNextSession()
{
    RemoteDevice& device = m_session->device();
    m_session->setReconnecting(true);
    QVERIFY(openAndWait());
    QTRY_VERIFY(device.isSynchronized());
    QVERIFY(device.setFrequency(15'000'000) && device.setPpmCorrection(5));
    QTRY_COMPARE(device.frequency(), std::optional<double>(14'250'000)); // the present one
    QSignalSpy writes(&m_server->device, &DeviceDouble::frequencyChanged);
    m_server->session().disconnectFromHost();
    QTRY_COMPARE(m_ends, QVector<End>{End::ByServer});
    m_server->device.ppm = 0;
    QTRY_COMPARE(m_connected, 2);
    QTRY_COMPARE(m_server->device.ppm, 5); // written after the frequency, if that were
    QCOMPARE(writes.size(), 0);
    QCOMPARE(device.frequency(), std::optional<double>(14'250'000));
}

void tst_Connector::busyServerIsBorneWhileReconnecting()
{
    m_session->setReconnecting(true);
    QVERIFY(openAndWait());
    m_server->setAnswer({{text("err"), text("Server busy!")}});
    m_server->session().disconnectFromHost();
    QTRY_COMPARE(m_ends, QVector<End>{End::ByServer});
    QTRY_VERIFY(m_server->connects() >= 4);
    QCOMPARE(m_session->state(), State::Reconnecting);
    QVERIFY(m_refusals.isEmpty());
    m_server->setAnswer({});
    QTRY_COMPARE(m_connected, 2);
}

void tst_Connector::roundsWithoutAnswerAreBorneWhileReconnecting()
{
    ClientSession::Timing timing = scaled();
    timing.repeat = 1'000; // one call a round
    timing.patience = 50;
    useSession(timing);
    m_session->setReconnecting(true);
    QVERIFY(openAndWait());
    m_server->loseCalls(5);
    m_server->session().disconnectFromHost();
    QTRY_COMPARE(m_connected, 2);
    QVERIFY(m_refusals.isEmpty());
}

void tst_Connector::otherRefusalsEndReconnecting()
{
    m_session->setReconnecting(true);
    QVERIFY(openAndWait());
    m_server->setAnswer({{text("err"), text("Unsupported version protocol!")}});
    m_server->session().disconnectFromHost();
    QTRY_COMPARE(m_refusals, QVector<Refusal>{Refusal::UnsupportedVersion});
    QCOMPARE(m_session->state(), State::Idle);
}

void tst_Connector::closeEndsReconnecting()
{
    m_session->setReconnecting(true);
    QVERIFY(openAndWait());
    m_server->setDeaf(true);
    m_server->session().disconnectFromHost();
    QTRY_COMPARE(m_session->state(), State::Reconnecting);
    m_session->close();
    QCOMPARE(m_session->state(), State::Idle);
    QCOMPARE(m_ends, QVector<End>{End::ByServer});
}

void tst_Connector::takeoverIsNotReconnected()
{
    m_session->setReconnecting(true);
    QVERIFY(openAndWait());
    m_server->takeOver();
    QTRY_COMPARE(m_ends, QVector<End>{End::TakenOver});
    QCOMPARE(m_session->state(), State::Idle);
}

QTEST_GUILESS_MAIN(tst_Connector)
#include "tst_Connector.moc"
