#include "System/Served.h"
#include "support/WireClient.h"

#include <QElapsedTimer>
#include <QRegularExpression>
#include <QTest>
#include <QtEndian>

namespace
{

const QString kGreet = QStringLiteral("connect_to_host");

QByteArray compressed(const QByteArray& block, quint32 statedLength)
{
    QByteArray bytes = qCompress(block, 9);
    qToBigEndian(statedLength, bytes.data());
    return bytes;
}

QJsonObject range(const QVariant& startIndex, const QVariant& stopIndex, const QVariant& dataSize,
                  const QVariant& fftSize)
{
    return {{QStringLiteral("startIndex"), QJsonValue::fromVariant(startIndex)},
            {QStringLiteral("stopIndex"), QJsonValue::fromVariant(stopIndex)},
            {QStringLiteral("dataSize"), QJsonValue::fromVariant(dataSize)},
            {QStringLiteral("fftSize"), QJsonValue::fromVariant(fftSize)}};
}

} // namespace

/// One server takes all of it.
class tst_Strangers : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanup();
    void streamDatagramsEndNothing_data();
    void streamDatagramsEndNothing();
    void everyTypeByteIsSurvived();
    void everyLengthIsSurvived();
    void longestDatagramIsSurvived();
    void badBodiesGetNoAnswer_data();
    void badBodiesGetNoAnswer();
    void repliesNobodyWaitsForAreDropped();
    void replyCarriesNumberAsItWasRead_data();
    void replyCarriesNumberAsItWasRead();
    void foreignTargetIsNotAnswered();
    void unreasonableRangesLeaveStreamAsItWas_data();
    void unreasonableRangesLeaveStreamAsItWas();
    void sizeOfZeroStopsFrames();
    void largestRangeIsServed();
    void floodOfOneKindIsRationedInLog_data();
    void floodOfOneKindIsRationedInLog();
    void anybodyMayEndSessionWhoseIdHeKnows();

private:
    [[nodiscard]] bool lives();

    Served m_served{recording({{3000, 1000}})};
};

void tst_Strangers::initTestCase()
{
    QVERIFY(m_served.server.serve());
}

void tst_Strangers::cleanup()
{
    QVERIFY(lives());
}

bool tst_Strangers::lives()
{
    WireClient client(m_served.server);
    if (!client.open(m_served.file)) {
        return false;
    }
    const bool streams = client.waitForSamples(128);
    return client.close() && streams;
}

void tst_Strangers::streamDatagramsEndNothing_data()
{
    QTest::addColumn<QByteArray>("payload");
    const QByteArray none(4, '\0');
    const QByteArray two = QByteArray::fromHex("0000000200010002");
    QTest::newRow("an empty block") << none;
    QTest::newRow("a block") << two;
    QTest::newRow("four bytes of nothing") << QByteArray::fromHex("12345678");
    QTest::newRow("the most samples") << QByteArray::fromHex("7FFFFFFF0001");
    QTest::newRow("samples below zero") << QByteArray::fromHex("FFFFFFFF0001");
    QTest::newRow("a compressed block") << compressed(two, 8);
    QTest::newRow("a compressed block of 4 GiB") << compressed(two, 0xFFFF'FFFF);
    QTest::newRow("a compressed block of 2 GiB") << compressed(two, 0x7FFF'FFFF);
    QTest::newRow("a megabyte of zeros, packed") << qCompress(QByteArray(1'000'000, '\0'), 9);
    QTest::newRow("a broken block") << QByteArray::fromHex("00000008789C0102030405");
}

void tst_Strangers::streamDatagramsEndNothing()
{
    QFETCH(QByteArray, payload);
    WireClient stranger(m_served.server);
    for (const char* type = "\x02\x03\x04\x05\x06\x07\x12\x23\x34\x45"; *type != 0; ++type) {
        stranger.send(QByteArray(1, *type) + payload);
    }
    QVERIFY(lives());
    // And while a session is on.
    WireClient client(m_served.server);
    QVERIFY(client.open(m_served.file));
    for (const char* type = "\2\3\4\5\6\7"; *type != 0; ++type) {
        client.send(QByteArray(1, *type) + payload);
    }
    QVERIFY(client.askSession(QStringLiteral("ping")).has_value());
    QVERIFY(client.close());
}

void tst_Strangers::everyTypeByteIsSurvived()
{
    WireClient stranger(m_served.server);
    for (int type = 0; type < 256; ++type) {
        for (const int size : {0, 4, 5, 44, 60}) {
            stranger.send(QByteArray(1, static_cast<char>(type)) + QByteArray(size, '\x7F'));
        }
    }
}

void tst_Strangers::everyLengthIsSurvived()
{
    WireClient stranger(m_served.server);
    const QByteArray whole =
        Wire::packet(1, stranger.id(), stranger.serverId(), kGreet, Wire::greeting(m_served.file, 9));
    for (int size = 0; size < whole.size(); ++size) {
        stranger.send(whole.left(size));
    }
    QVERIFY(stranger.askInVain({}).has_value());
    QCOMPARE(stranger.repliesReceived(), 1);
}

void tst_Strangers::longestDatagramIsSurvived()
{
    WireClient stranger(m_served.server);
    const QByteArray whole = Wire::packet(1, stranger.id(), stranger.serverId(), kGreet,
                                          {{QStringLiteral("vma"), QString(65'400, QLatin1Char('8'))}});
    stranger.send(whole.left(65'507));
    stranger.send(QByteArray(65'507, '\0'));
    stranger.send(QByteArray(65'507, '\3'));
}

void tst_Strangers::badBodiesGetNoAnswer_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::newRow("one byte") << QByteArray("x");
    QTest::newRow("no JSON") << QByteArray("connect_to_host");
    QTest::newRow("a list") << QByteArray("[1]");
    QTest::newRow("no command") << QByteArray("{}");
    QTest::newRow("an unknown command") << QByteArray("{\"cd\":\"open_sesame\"}");
    QTest::newRow("a command with a blank behind") << QByteArray("{\"cd\":\"connect_to_host \"}");
    QTest::newRow("a command of blanks") << QByteArray("{\"cd\":\"   \"}");
    QTest::newRow("a command that is a number") << QByteArray("{\"cd\":5}");
    QTest::newRow("a command that is a list") << QByteArray("{\"cd\":[\"connect_to_host\"]}");
    QTest::newRow("broken UTF-8") << QByteArray("{\"cd\":\"\xC3\x28\xFF\"}");
    QTest::newRow("a thousand brackets") << QByteArray("{\"cd\":") + QByteArray(1000, '[');
    QTest::newRow("thirty thousand brackets") << QByteArray("{\"cd\":") + QByteArray(30'000, '[');
    QTest::newRow("a NUL in the command") << QByteArray("{\"cd\":\"connect_to_host\\u0000\"}");
    QTest::newRow("a format in the command") << QByteArray("{\"cd\":\"%1 %2 %n %s\"}");
}

void tst_Strangers::badBodiesGetNoAnswer()
{
    QFETCH(QByteArray, body);
    WireClient stranger(m_served.server);
    stranger.send(QByteArray(5, '\0') + stranger.id() + stranger.serverId() + body);
    QVERIFY(stranger.askInVain({}).has_value());
    QCOMPARE(stranger.repliesReceived(), 1);
}

void tst_Strangers::repliesNobodyWaitsForAreDropped()
{
    WireClient client(m_served.server);
    QVERIFY(client.open(m_served.file));
    for (quint32 number = 0; number < 100; ++number) {
        client.send(Wire::packet(number, client.id(), client.serverId(), QString(), {}));
        client.send(Wire::packet(number, client.id(), client.sessionId(), QString(), {}));
    }
    QVERIFY(client.askSession(QStringLiteral("ping")).has_value());
    QVERIFY(client.close());
}

void tst_Strangers::replyCarriesNumberAsItWasRead_data()
{
    QTest::addColumn<quint32>("sent");
    QTest::addColumn<quint32>("returned");
    QTest::newRow("1") << 1U << 1U;
    QTest::newRow("255") << 255U << 255U;
    QTest::newRow("32767") << 32'767U << 32'767U;
    QTest::newRow("32768") << 0x8000U << 0xFFFF'8000U;
    QTest::newRow("65535") << 0xFFFFU << 0xFFFF'FFFFU;
    QTest::newRow("65536") << 0x1'0000U << 0x1'0000U;
    QTest::newRow("bit 23") << 0x80'0001U << 0xFF80'0001U;
    QTest::newRow("bit 31") << 0x8000'0001U << 0x8000'0001U;
    QTest::newRow("0") << 0U << 0U;
}

void tst_Strangers::replyCarriesNumberAsItWasRead()
{
    QFETCH(quint32, sent);
    QFETCH(quint32, returned);
    WireClient stranger(m_served.server);
    stranger.setNextNumber(sent);
    stranger.call(stranger.serverId(), kGreet);
    QVERIFY(waitUntil([&stranger] { return stranger.repliesReceived() == 1; }));
    QVERIFY(stranger.hasReply(returned));
}

void tst_Strangers::foreignTargetIsNotAnswered()
{
    WireClient stranger(m_served.server);
    QByteArray almost = stranger.serverId();
    almost[19] = static_cast<char>(almost[19] ^ 1);
    stranger.call(almost, kGreet);
    stranger.call(QByteArray(20, '\0'), kGreet);
    QVERIFY(stranger.askInVain({}).has_value());
    QCOMPARE(stranger.repliesReceived(), 1);
}

void tst_Strangers::unreasonableRangesLeaveStreamAsItWas_data()
{
    QTest::addColumn<QJsonObject>("request");
    QTest::newRow("no power of two") << range(0, 100, 100, 1000);
    QTest::newRow("above 65536") << range(0, 100, 100, 131'072);
    QTest::newRow("the largest size") << range(0, 100, 100, 2'147'483'647);
    QTest::newRow("the largest power of two") << range(0, 100, 100, 1'073'741'824);
    QTest::newRow("more points than 65536") << range(0, 100, 65'537, 1024);
    QTest::newRow("the most points") << range(0, 100, 2'147'483'647, 1024);
    QTest::newRow("a size that is text") << range(0, 100, 100, QStringLiteral("large"));
    QTest::newRow("no size") << range(0, 100, 100, QVariant());
}

void tst_Strangers::unreasonableRangesLeaveStreamAsItWas()
{
    QFETCH(QJsonObject, request);
    WireClient client(m_served.server);
    QVERIFY(client.open(m_served.file));
    QVERIFY(client.askSession(QStringLiteral("fft_data_range"), range(0, 1024, 300, 1024)).has_value());
    QVERIFY(client.nextFrame(300).has_value());
    const auto answer = client.askSession(QStringLiteral("fft_data_range"), request);
    QVERIFY(answer.has_value());
    QCOMPARE(answer->keys(), QStringList(QStringLiteral("cd")));
    const auto frame = client.nextFrame(300);
    QVERIFY(frame.has_value());
    QCOMPARE(frame->points.size(), 300);
    QVERIFY(client.close());
}

void tst_Strangers::sizeOfZeroStopsFrames()
{
    WireClient client(m_served.server);
    QVERIFY(client.open(m_served.file));
    for (const auto& nothing : {range(0, 1024, 300, 0), range(0, 1024, 300, -1024), range(0, 1024, -5, 1024),
                                range(0, 1024, 0, 1024), range(512, 512, 300, 1024),
                                range(900, 100, 300, 1024), range(0, 1024, -2'147'483'648LL, 1024)}) {
        QVERIFY(client.askSession(QStringLiteral("fft_data_range"), range(0, 1024, 300, 1024)).has_value());
        QVERIFY(client.nextFrame(300).has_value());
        QVERIFY(client.askSession(QStringLiteral("fft_data_range"), nothing).has_value());
        client.forgetFrames();
        client.forgetSamples();
        QVERIFY(client.waitForSamples(9600)); // five ticks of the spectrum
        QCOMPARE(client.frames().size(), 0);
    }
    QVERIFY(client.askSession(QStringLiteral("fft_data_range"), range(0, 1024, 300, 1024)).has_value());
    QVERIFY(client.nextFrame(300).has_value());
    QVERIFY(client.close());
}

void tst_Strangers::largestRangeIsServed()
{
    WireClient client(m_served.server);
    QVERIFY(client.open(m_served.file));
    QVERIFY(client
                .askSession(QStringLiteral("fft_data_range"),
                            range(-2'147'483'647, 2'147'483'647, 65'536, 65'536))
                .has_value());
    client.forgetSamples();
    QVERIFY(client.waitForSamples(4800));
    QVERIFY(
        client.askSession(QStringLiteral("fft_data_range"), range(1e300, -1e300, 1e300, 1e300)).has_value());
    QVERIFY(client.askSession(QStringLiteral("fft_data_range"), range(0, 2, 2, 2)).has_value());
    QVERIFY(client.nextFrame(2).has_value());
    QVERIFY(client.askSession(QStringLiteral("fft_data_range"), range(0, 256, 256, 256)).has_value());
    QVERIFY(client.nextFrame(256).has_value());
    QVERIFY(client.askSession(QStringLiteral("fft_data_range"), range(0, 1024, 300, 1024)).has_value());
    QVERIFY(client.nextFrame(300).has_value());
    QVERIFY(client.close());
}

void tst_Strangers::floodOfOneKindIsRationedInLog_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QString>("text");
    QTest::newRow("unknown commands")
        << QStringLiteral("open_sesame") << QStringLiteral("Error invoke rpc command \"open_sesame\"");
    QTest::newRow("bad greetings") << kGreet << QStringLiteral("Error get client packet values!");
}

void tst_Strangers::floodOfOneKindIsRationedInLog()
{
    QFETCH(QString, command);
    QFETCH(QString, text);
    constexpr int kFlood = 600;
    constexpr int kPerSecond = 50;
    WireClient stranger(m_served.server);
    static const QRegularExpression counted(QStringLiteral(" ([0-9]+) lines left out"));
    const int first = m_served.server.lines().size();
    const int before = m_served.server.count(text);
    QElapsedTimer clock;
    clock.start();
    for (int i = 0; i < kFlood; ++i) {
        stranger.call(stranger.serverId(), command);
        if (i % 50 == 0) { // in step with the server, so that its port doesn't overflow
            QVERIFY(stranger.askInVain({}).has_value());
        }
    }
    QVERIFY(stranger.askInVain({}).has_value());
    const auto seconds = static_cast<int>(clock.elapsed() / 1000) + 1;
    const int lines = m_served.server.count(text) - before;
    QVERIFY2(lines >= kPerSecond && lines <= kPerSecond * (seconds + 1), qPrintable(QString::number(lines)));
    // What was left out is told once the second is over.
    QVERIFY(
        waitUntil([this, first] { return !m_served.server.lines().mid(first).filter(counted).isEmpty(); }));
    const QString told = m_served.server.lines().mid(first).filter(counted).first();
    QVERIFY(counted.match(told).captured(1).toInt() > 0);
    QVERIFY(waitUntil([&clock] { return clock.elapsed() > 2500; })); // the ration of the next test is its own
}

void tst_Strangers::anybodyMayEndSessionWhoseIdHeKnows()
{
    // The session's id is its only key.
    WireClient client(m_served.server);
    QVERIFY(client.open(m_served.file));
    WireClient other(m_served.server);
    QVERIFY(other.ask(client.sessionId(), QStringLiteral("disconnect_from_host")).has_value());
    QVERIFY(other.open(m_served.file));
    QVERIFY(other.close());
}

QTEST_GUILESS_MAIN(tst_Strangers)
#include "tst_Strangers.moc"
