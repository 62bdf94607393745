#include "Client/SessionTest.h"

#include <QSignalSpy>
#include <QUdpSocket>
#include <QtTest>

class tst_ClientSession : public SessionTest
{
    Q_OBJECT

private slots:
    void targetThatLacksSomethingIsNotOpened();
    void connectingNamesVersionAndIdentificatorAndOpensSession();

    void closeTellsServer();
    void closedSessionMayBeOpenedAgain();
    void serversGoodbyeEndsSession();
    void takeoverIsToldApart();
    void serversErrorsArrive();
    void serversPingIsAnsweredAndCountsLosses();

    void deviceSynchronizesOnSameIdAsSession();
    void devicesPropertiesAreTyped();
    void writeComesBackAsItsEcho();
    void refusedWriteComesBackAsOldValue();
    void refreshShowsWhatTellsOfNoChange();
    void nothingIsWrittenOutsideSession();
    void valuesThatAreNoNumbersAreNotWritten();
    void slotMayCloseSessionFromAnywhere_data();
    void slotMayCloseSessionFromAnywhere();

    void settingsMadeBeforeSessionAreSentWithIt();
    void settingsMadeInSessionAreSentAtOnce();
    void settingsThatMakeNoSenseAreNotKept();
    void outputRateIsTold();

    void iqArrivesFromServerAlone();
    void spectrumArrivesOnceRangeIsTaken();
};

void tst_ClientSession::targetThatLacksSomethingIsNotOpened()
{
    ClientSession::Target none = target();
    none.id = int160();
    QVERIFY(!m_session->open(none));
    none = target();
    none.address.clear();
    QVERIFY(!m_session->open(none));
    none = target();
    none.port = 0;
    QVERIFY(!m_session->open(none));
    QCOMPARE(m_session->state(), State::Idle);
}

void tst_ClientSession::connectingNamesVersionAndIdentificatorAndOpensSession()
{
    QVector<State> states;
    connect(m_session.get(), &ClientSession::stateChanged, this,
            [&states](State state) { states.append(state); });
    QVERIFY(openAndWait());
    QCOMPARE(m_session->state(), State::Connected);
    QCOMPARE(states, (QVector<State>{State::Connecting, State::Connected}));
    const auto calls = m_server->calls(text("connect_to_host"));
    QCOMPARE(calls.size(), 1);
    QCOMPARE(calls.first().request, (QJsonObject{{text("cd"), text("connect_to_host")},
                                                 {text("vma"), 8},
                                                 {text("vmi"), 0},
                                                 {text("identificator"), text("receiver 1")}}));
    QVERIFY(!m_server->client().id.isNull());
    QCOMPARE(m_session->target().identificator, text("receiver 1"));
}

void tst_ClientSession::closeTellsServer()
{
    QVERIFY(openAndWait());
    QVERIFY(m_server->isInSession());
    m_session->close();
    QCOMPARE(m_ends, QVector<End>{End::Closed});
    QCOMPARE(m_session->state(), State::Idle);
    QTRY_VERIFY(!m_server->isInSession());
    m_session->close();
    QCOMPARE(m_ends.size(), 1);
}

void tst_ClientSession::closedSessionMayBeOpenedAgain()
{
    QVERIFY(openAndWait());
    const int160 firstId = m_server->client().id;
    m_session->setReconnecting(true);
    m_session->close();
    QTRY_VERIFY(!m_server->isInSession());
    QVERIFY(openAndWait());
    QVERIFY(m_server->client().id != firstId);
    QTRY_VERIFY(m_session->device().isSynchronized());
    // One that is open is left for the next.
    ServerDouble second(text("receiver 2"));
    const NodeInfo info = second.info();
    QVERIFY(m_session->open({info.id, info.address, info.port, second.identificator()}));
    QTRY_VERIFY(second.isInSession());
    QTRY_VERIFY(!m_server->isInSession());
    QCOMPARE(m_ends, (QVector<End>{End::Closed, End::Closed}));
    m_session->close();
}

void tst_ClientSession::serversGoodbyeEndsSession()
{
    QVERIFY(openAndWait());
    m_server->session().disconnectFromHost();
    QTRY_COMPARE(m_ends, QVector<End>{End::ByServer});
    QCOMPARE(m_session->state(), State::Idle);
}

void tst_ClientSession::takeoverIsToldApart()
{
    QVERIFY(openAndWait());
    m_server->takeOver();
    QTRY_COMPARE(m_ends, QVector<End>{End::TakenOver});
}

void tst_ClientSession::serversErrorsArrive()
{
    QStringList errors;
    connect(m_session.get(), &ClientSession::deviceError, this,
            [&errors](const QString& e) { errors.append(e); });
    QVERIFY(openAndWait());
    m_server->call(text("error_happen"), {{text("err"), text("No IQ data - stop!")}});
    m_server->call(text("error_happen"),
                   {{text("err"), QStringLiteral("a\u001bb") + QString(500, QLatin1Char('c'))}});
    m_server->call(text("error_happen"));
    QTRY_COMPARE(errors.size(), 3);
    QCOMPARE(errors.at(0), text("No IQ data - stop!"));
    QCOMPARE(errors.at(1).size(), 200);
    QVERIFY(errors.at(1).startsWith(text("a\\x1bbc")));
    QCOMPARE(errors.at(2), QString());
    QCOMPARE(m_session->state(), State::Connected);
}

void tst_ClientSession::serversPingIsAnsweredAndCountsLosses()
{
    QVERIFY(openAndWait());
    QVERIFY(m_session->device().isSynchronized() ||
            QTest::qWaitFor([this] { return m_session->device().isSynchronized(); }));
    QTRY_VERIFY_WITH_TIMEOUT(m_server->session().hasHeardPing() && m_session->roundTrip() >= 0, 5000);
    QTRY_VERIFY(m_log->texts(QtWarningMsg).isEmpty());
    QCOMPARE(m_session->datagramsLost(), 0);
    // The first count is taken at a heartbeat; then forty datagrams leave that nobody accepts.
    QSignalSpy beats(m_session->findChild<QTimer*>(QString(), Qt::FindDirectChildrenOnly), &QTimer::timeout);
    QTRY_VERIFY_WITH_TIMEOUT(beats.size() >= 2, 5000);
    for (int i = 0; i < 40; ++i) {
        m_server->sendRaw(QByteArray(10, '\x01'));
    }
    QTRY_VERIFY_WITH_TIMEOUT(m_session->datagramsLost() >= 40, 5000);
    QVERIFY(m_session->datagramsLost() <= 42);
}

void tst_ClientSession::deviceSynchronizesOnSameIdAsSession()
{
    const QSignalSpy synchronized(&m_session->device(), &RemoteDevice::synchronized);
    QVERIFY(openAndWait());
    QTRY_COMPARE(synchronized.size(), 1);
    QVERIFY(m_session->device().isSynchronized());
    QCOMPARE(m_session->device().names(),
             (QStringList{text("frequency"), text("levelCorrection"), text("objectName"),
                          text("ppmCorrection"), text("sampleRate"), text("supportFrequencies"),
                          text("supportSampleRates"), text("swapIQ"), text("type")}));
    // Calls of the session itself go to that id as well.
    m_server->call(text("outSampleRateChanged"), {{text("outSampleRate"), 12'000}});
    QTRY_VERIFY(m_session->outSampleRate().has_value());
}

void tst_ClientSession::devicesPropertiesAreTyped()
{
    RemoteDevice& device = m_session->device();
    QVERIFY(!device.frequency() && !device.type() && !device.swapIQ());
    m_server->device.ppm = -7;
    m_server->device.level = 1.5;
    m_server->device.swapIQ = true;
    m_server->device.frequencies = QStringList{text("0.1"), text("30"), text("50"), text("40"), text("x")};
    QVERIFY(openAndWait());
    QTRY_VERIFY(device.isSynchronized());
    QCOMPARE(device.type(), std::optional<int>(5));
    QCOMPARE(device.frequency(), std::optional<double>(14'250'000));
    QCOMPARE(device.sampleRate(), std::optional<double>(48'000));
    QCOMPARE(device.ppmCorrection(), std::optional<int>(-7));
    QCOMPARE(device.levelCorrection(), std::optional<double>(1.5));
    QCOMPARE(device.swapIQ(), std::optional<bool>(true));
    QCOMPARE(device.supportedSampleRates(), (QVector<double>{48'000, 96'000}));
    QCOMPARE(device.supportedFrequencies().size(), 1); // the second is no range
    QCOMPARE(device.supportedFrequencies().first().lowest, 100.0);
    QCOMPARE(device.supportedFrequencies().first().highest, 30'000.0);
    QVERIFY(!device.value(text("nothing")).isValid());
}

void tst_ClientSession::writeComesBackAsItsEcho()
{
    RemoteDevice& device = m_session->device();
    QVERIFY(openAndWait());
    QTRY_VERIFY(device.isSynchronized());
    QVector<double> frequencies;
    connect(&device, &RemoteDevice::frequencyChanged, this, [&](double hertz) { frequencies.append(hertz); });
    QVERIFY(device.setFrequency(14'100'000));
    QCOMPARE(device.frequency(), std::optional<double>(14'100'000)); // at once
    QVERIFY(frequencies.isEmpty());
    QTRY_COMPARE(frequencies, QVector<double>{14'100'000});
    QCOMPARE(m_server->device.frequency, 14'100'000.0);
}

void tst_ClientSession::refusedWriteComesBackAsOldValue()
{
    RemoteDevice& device = m_session->device();
    QVERIFY(openAndWait());
    QTRY_VERIFY(device.isSynchronized());
    QVERIFY(device.setFrequency(15'000'000));
    QTRY_COMPARE(device.frequency(), std::optional<double>(14'250'000));
}

void tst_ClientSession::refreshShowsWhatTellsOfNoChange()
{
    RemoteDevice& device = m_session->device();
    QVERIFY(!device.refresh());
    QVERIFY(openAndWait());
    QTRY_VERIFY(device.isSynchronized());
    m_server->device.ppm = 12;
    QSignalSpy synchronized(&device, &RemoteDevice::synchronized);
    QVERIFY(device.refresh());
    QCOMPARE(device.ppmCorrection(), std::optional<int>(0));
    QTRY_COMPARE(synchronized.size(), 1);
    QCOMPARE(device.ppmCorrection(), std::optional<int>(12));
    QVERIFY(m_log->texts().filter(text("Function timeout")).isEmpty()); // the reply was heard
}

void tst_ClientSession::nothingIsWrittenOutsideSession()
{
    RemoteDevice& device = m_session->device();
    QVERIFY(!device.setFrequency(14'100'000));
    QVERIFY(openAndWait());
    QTRY_VERIFY(device.isSynchronized());
    QVERIFY(!device.write(text("nothing"), 1));
    m_session->close();
    QVERIFY(!device.setFrequency(14'100'000));
    QCOMPARE(device.frequency(), std::optional<double>(14'250'000)); // as it was last heard
}

void tst_ClientSession::valuesThatAreNoNumbersAreNotWritten()
{
    RemoteDevice& device = m_session->device();
    QVERIFY(openAndWait());
    QTRY_VERIFY(device.isSynchronized());
    QVERIFY(!device.setFrequency(qQNaN()));
    QVERIFY(!device.setLevelCorrection(qInf()));
    QVERIFY(!device.write(text("frequency"), qQNaN()));
    QCOMPARE(device.frequency(), std::optional<double>(14'250'000));
}

void tst_ClientSession::slotMayCloseSessionFromAnywhere_data()
{
    QTest::addColumn<QString>("place");
    for (const char* place : {"connected", "changed", "synchronized", "rate", "iq", "error", "ended"}) {
        QTest::newRow(place) << text(place);
    }
}

void tst_ClientSession::slotMayCloseSessionFromAnywhere()
{
    QFETCH(QString, place);
    const auto close = [this] { m_session->close(); };
    if (place == text("connected")) {
        connect(m_session.get(), &ClientSession::connected, this, close);
    } else if (place == text("changed")) {
        connect(&m_session->device(), &RemoteDevice::changed, this, close);
    } else if (place == text("synchronized")) {
        connect(&m_session->device(), &RemoteDevice::synchronized, this, close);
    } else if (place == text("rate")) {
        connect(m_session.get(), &ClientSession::outSampleRateChanged, this, close);
    } else if (place == text("iq")) {
        connect(&m_session->iq(), &IqReceiver::blockReceived, this, close);
    } else if (place == text("error")) {
        connect(m_session.get(), &ClientSession::deviceError, this, close);
    } else {
        connect(m_session.get(), &ClientSession::ended, this, close);
    }
    QVERIFY(openAndWait());
    if (m_ends.isEmpty()) {
        m_server->call(text("outSampleRateChanged"), {{text("outSampleRate"), 12'000}});
        m_server->call(text("error_happen"));
        m_server->sendIq(QVector<qint16>(256));
        if (place == text("ended")) {
            m_server->session().disconnectFromHost();
        }
    }
    QTRY_COMPARE(m_ends.size(), 1);
    QCOMPARE(m_session->state(), State::Idle);
    // Calls that were under way find nobody, or a session that takes them for a stranger's.
    QVERIFY(openAndWait() || place == text("connected"));
}

void tst_ClientSession::settingsMadeBeforeSessionAreSentWithIt()
{
    QVERIFY(m_session->setOffset(-5000));
    QVERIFY(m_session->setBandwidth(20'000, 8000));
    QVERIFY(m_session->setSpectrumRange({0, 4096, 800, 4096}));
    QVERIFY(openAndWait());
    QTRY_COMPARE(m_server->calls(text("fft_data_range")).size(), 1);
    QCOMPARE(m_server->calls(text("setIF")).value(0).request.value(text("IF")).toDouble(), -5000.0);
    const QJsonObject bandwidth = m_server->calls(text("setupDspH")).value(0).request;
    QCOMPARE(bandwidth.value(text("prefBandWidth")).toDouble(), 20'000.0);
    QCOMPARE(bandwidth.value(text("aliasFree")).toDouble(), 8000.0);
    const QJsonObject range = m_server->calls(text("fft_data_range")).value(0).request;
    QCOMPARE(range.value(text("startIndex")).toInt(-1), 0);
    QCOMPARE(range.value(text("stopIndex")).toInt(), 4096);
    QCOMPARE(range.value(text("dataSize")).toInt(), 800);
    QCOMPARE(range.value(text("fftSize")).toInt(), 4096);
}

void tst_ClientSession::settingsMadeInSessionAreSentAtOnce()
{
    QVERIFY(openAndWait());
    QVERIFY(m_session->setOffset(1000));
    QVERIFY(m_session->setOffset(2000));
    QTRY_COMPARE(m_server->calls(text("setIF")).size(), 2);
    QCOMPARE(m_server->calls(text("setIF")).last().request.value(text("IF")).toDouble(), 2000.0);
}

void tst_ClientSession::settingsThatMakeNoSenseAreNotKept()
{
    QVERIFY(!m_session->setOffset(qQNaN()));
    QVERIFY(!m_session->setOffset(qInf()));
    QVERIFY(!m_session->setBandwidth(0, 1));
    QVERIFY(!m_session->setBandwidth(1, -1));
    QVERIFY(!m_session->setBandwidth(qQNaN(), 1));
    QVERIFY(!m_session->setSpectrumRange({0, 0, 0, 0}));
    QVERIFY(openAndWait());
    QTRY_VERIFY(m_session->device().isSynchronized());
    QVERIFY(m_server->calls(text("setIF")).isEmpty());
}

void tst_ClientSession::outputRateIsTold()
{
    QVector<double> rates;
    connect(m_session.get(), &ClientSession::outSampleRateChanged, this, [&](double r) { rates.append(r); });
    QVERIFY(openAndWait());
    QVERIFY(!m_session->outSampleRate());
    m_server->call(text("outSampleRateChanged"), {{text("outSampleRate"), 96'000}});
    QTRY_COMPARE(rates, QVector<double>{96'000});
    QCOMPARE(m_session->outSampleRate(), std::optional<double>(96'000));
    QCOMPARE(m_session->iq().sampleRate(), 96'000.0);
}

void tst_ClientSession::iqArrivesFromServerAlone()
{
    QVERIFY(openAndWait());
    QVector<IqBlock> blocks;
    connect(&m_session->iq(), &IqReceiver::blockReceived, this, [&](const IqBlock& b) { blocks.append(b); });
    QUdpSocket stranger;
    const QByteArray block = QByteArray::fromHex("02000000020009000A");
    stranger.writeDatagram(block, m_server->client().address, m_server->client().port);
    m_server->sendIq({1, 2, 3, 4});
    m_server->sendIq({5, 6}, true);
    QTRY_COMPARE(blocks.size(), 2);
    QCOMPARE(blocks.at(0).samples.first().i, qint16(2));
    QCOMPARE(blocks.at(0).samples.first().q, qint16(1));
    QCOMPARE(blocks.at(1).samples.first().i, qint16(6));
    QCOMPARE(m_session->iq().receivedSamples(), 3);
}

void tst_ClientSession::spectrumArrivesOnceRangeIsTaken()
{
    QVector<SpectrumFrame> frames;
    connect(&m_session->spectrum(), &SpectrumReceiver::frameReceived, this,
            [&](const SpectrumFrame& frame) { frames.append(frame); });
    const SpectrumRange range{0, 512, 300, 512};
    QVERIFY(m_session->setSpectrumRange(range));
    QVERIFY(openAndWait());
    const auto sendFrame = [this] {
        m_server->sendSpectrum({32527, 300, 0});
        m_server->sendSpectrum(QVector<qint16>(252, 400));
        m_server->sendSpectrum(QVector<qint16>(48, 200));
    };
    sendFrame(); // before the server has heard of the range
    QTRY_COMPARE(m_server->calls(text("fft_data_range")).size(), 1);
    sendFrame();
    sendFrame();
    sendFrame();
    QTRY_COMPARE(frames.size(), 2);
    QVERIFY(frames.first().range == range);
    QCOMPARE(frames.first().decibels.size(), 300);
    QCOMPARE(frames.first().decibels.last(), -50.0F);
    QCOMPARE(m_session->spectrum().droppedFrames(), 0);
}

QTEST_GUILESS_MAIN(tst_ClientSession)
#include "tst_ClientSession.moc"
