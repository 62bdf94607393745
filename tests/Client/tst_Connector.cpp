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
    void anAnswerThatIsNoneEndsTheConnecting_data();
    void anAnswerThatIsNoneEndsTheConnecting();
    void noAnswerIsARefusalToo();
    void busyAfterALostAnswerIsWaitedOut();
    void closeWhileConnectingLeavesNothingBehind();

    void aSilentServerEndsTheSessionAndItComesBackAsItWas();
    void aBusyServerIsBorneWhileReconnecting();
    void otherRefusalsEndTheReconnecting();
    void closeEndsTheReconnecting();
    void aTakeoverIsNotReconnected();
};

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
    QTest::newRow("for a terminal") << QStringLiteral("a\u001b[2Jb\nc") << Refusal::Other << text("a [2Jb c");
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

void tst_Connector::anAnswerThatIsNoneEndsTheConnecting_data()
{
    QTest::addColumn<QJsonObject>("answer");
    QTest::newRow("neither") << QJsonObject{{text("hello"), 1}};
    QTest::newRow("no id") << QJsonObject{{text("session_id"), text("1234")}};
    QTest::newRow("id of another type") << QJsonObject{{text("session_id"), 5}};
    QTest::newRow("refusal of another type") << QJsonObject{{text("err"), 5}};
}

void tst_Connector::anAnswerThatIsNoneEndsTheConnecting()
{
    QFETCH(QJsonObject, answer);
    m_server->setAnswer(answer);
    QVERIFY(m_session->open(target()));
    QTRY_COMPARE(m_refusals, QVector<Refusal>{Refusal::BadAnswer});
    QCOMPARE(m_session->state(), State::Idle);
}

void tst_Connector::noAnswerIsARefusalToo()
{
    m_server->setDeaf(true);
    ClientSession::Timing timing = quick();
    timing.patience = 1000;
    ClientSession session(timing, nullptr);
    QSignalSpy refused(&session, &ClientSession::refused);
    QVERIFY(session.open(target()));
    QTRY_COMPARE(refused.size(), 1);
    QCOMPARE(refused.at(0).at(0).value<Refusal>(), Refusal::NoAnswer);
    QCOMPARE(refused.at(0).at(1).toString(), QString());
    QCOMPARE(session.state(), State::Idle);
}

void tst_Connector::busyAfterALostAnswerIsWaitedOut()
{
    m_server->setDeaf(true);
    QVERIFY(m_session->open(target()));
    QTRY_VERIFY(m_log->texts().filter(text("Function timeout ... name: connect_to_host")).size() >= 1);
    m_server->setAnswer({{text("err"), text("Server busy!")}});
    m_server->setDeaf(false);
    QTRY_VERIFY(m_server->connects() >= 2);
    QVERIFY(m_refusals.isEmpty());
    m_server->setAnswer({});
    QTRY_COMPARE(m_connected, 1);
}

void tst_Connector::closeWhileConnectingLeavesNothingBehind()
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

void tst_Connector::aSilentServerEndsTheSessionAndItComesBackAsItWas()
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

void tst_Connector::aBusyServerIsBorneWhileReconnecting()
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

void tst_Connector::otherRefusalsEndTheReconnecting()
{
    m_session->setReconnecting(true);
    QVERIFY(openAndWait());
    m_server->setAnswer({{text("err"), text("Unsupported version protocol!")}});
    m_server->session().disconnectFromHost();
    QTRY_COMPARE(m_refusals, QVector<Refusal>{Refusal::UnsupportedVersion});
    QCOMPARE(m_session->state(), State::Idle);
}

void tst_Connector::closeEndsTheReconnecting()
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

void tst_Connector::aTakeoverIsNotReconnected()
{
    m_session->setReconnecting(true);
    QVERIFY(openAndWait());
    m_server->takeOver();
    QTRY_COMPARE(m_ends, QVector<End>{End::TakenOver});
    QCOMPARE(m_session->state(), State::Idle);
}

QTEST_GUILESS_MAIN(tst_Connector)
#include "tst_Connector.moc"
