#include "System/Served.h"
#include "support/WireClient.h"

#include <QJsonArray>
#include <QTest>
#include <cmath>

namespace
{

constexpr double kCenter = 14'250'000; // hertz
const QStringList kNames{
    QStringLiteral("objectName"),
    QStringLiteral("running"),
    QStringLiteral("type"),
    QStringLiteral("supportSampleRates"),
    QStringLiteral("supportFrequencies"),
    QStringLiteral("sampleRate"),
    QStringLiteral("frequency"),
    QStringLiteral("ppmCorrection"),
    QStringLiteral("levelCorrection"),
    QStringLiteral("swapIQ"),
};

/// CRC-16 of ISO 3309, bit by bit: polynomial x^16 + x^12 + x^5 + 1, least significant bit first.
quint16 crc16(const QByteArray& bytes)
{
    unsigned crc = 0xFFFF;
    for (const char byte : bytes) {
        crc ^= static_cast<unsigned char>(byte);
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc & 1U) != 0 ? (crc >> 1U) ^ 0x8408U : crc >> 1U;
        }
    }
    return static_cast<quint16>(~crc);
}

struct Dump
{
    QStringList commands; ///< Of the burst, in order.
    QStringList names;
    QJsonObject values;
    int crc = -1;
};

QJsonObject write(const QString& name, const QJsonValue& value)
{
    return {{QStringLiteral("n"), name}, {QStringLiteral("v"), value}};
}

/// Asks for all properties, and gives what came before the reply.
Dump dump(WireClient& client)
{
    client.forgetCalls();
    Dump result;
    if (!client.ask(client.serverId(), QStringLiteral("it_ra_rrd"))) {
        return result;
    }
    for (const WireClient::Message& call : client.calls()) {
        if (call.sender != client.serverId() || call.command.startsWith(QStringLiteral("pc_"))) {
            continue;
        }
        result.commands.append(call.command);
        if (call.command == QStringLiteral("pci_rrd")) {
            const QString name = call.body.value(QStringLiteral("n")).toString();
            result.names.append(name);
            result.values.insert(name, call.body.value(QStringLiteral("v")));
        } else if (call.command == QStringLiteral("sync_crc_rrd")) {
            result.crc = call.body.value(QStringLiteral("crc")).toInt(-1);
        }
    }
    return result;
}

} // namespace

class tst_Properties : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void crcIsTheKnownOne();
    void dumpHoldsEveryPropertyInOrder();
    void dumpEndsWithTheMarkAndTheChecksumOfTheNames();
    void everyRequestRepeatsTheDump();
    void dumpForAnotherNodeGoesToTheClient();
    void changeComesBackAsAnEcho();
    void everyChangeOfAPropertyWithANoticeIsTold();
    void propertiesWithoutANoticeAreWrittenSilently_data();
    void propertiesWithoutANoticeAreWrittenSilently();
    void readOnlyPropertiesStay_data();
    void readOnlyPropertiesStay();
    void correctionShowsInTheFrequency();
    void badWritesAreAnsweredAndHarmless_data();
    void badWritesAreAnsweredAndHarmless();
    void refusedValuesAreAnsweredWithThePresentOnes_data();
    void refusedValuesAreAnsweredWithThePresentOnes();
    void levelThatIsNoNumberHurtsNothing();
    void frequencyUnderACorrectionStaysThroughSessions();
    void changesOutliveTheSession();
    void changesOutliveTheProcess();
    void otherRecordingsKeepTheirOwn();
    void propertiesAreGoneWithTheSession();

private:
    [[nodiscard]] bool writeProperty(const QString& name, const QJsonValue& value);

    Served m_served{recording({})};
    std::unique_ptr<WireClient> m_client;
};

void tst_Properties::initTestCase()
{
    QVERIFY(m_served.server.serve());
}

void tst_Properties::init()
{
    m_client = std::make_unique<WireClient>(m_served.server);
    QVERIFY(m_client->open(m_served.file));
    QVERIFY(m_client->waitForCall(QStringLiteral("outSampleRateChanged")));
}

void tst_Properties::cleanup()
{
    if (m_client) {
        for (const auto& [name, value] : std::initializer_list<std::pair<const char*, QJsonValue>>{
                 {"ppmCorrection", 0}, {"levelCorrection", 0}, {"swapIQ", false}, {"frequency", kCenter}}) {
            QVERIFY(writeProperty(QLatin1String(name), value));
        }
        QVERIFY(m_client->close());
    }
}

bool tst_Properties::writeProperty(const QString& name, const QJsonValue& value)
{
    return m_client->ask(m_client->serverId(), QStringLiteral("wp_rrd"), write(name, value)).has_value();
}

void tst_Properties::crcIsTheKnownOne()
{
    QCOMPARE(crc16("123456789"), quint16(0x906E)); // the published check value
}

void tst_Properties::dumpHoldsEveryPropertyInOrder()
{
    const Dump all = dump(*m_client);
    QCOMPARE(all.names, kNames);
    QCOMPARE(all.values.value(QStringLiteral("objectName")), QJsonValue(QString()));
    QCOMPARE(all.values.value(QStringLiteral("running")), QJsonValue(true));
    QCOMPARE(all.values.value(QStringLiteral("type")), QJsonValue(0));
    QCOMPARE(all.values.value(QStringLiteral("supportSampleRates")),
             QJsonValue(QJsonArray({QStringLiteral("48000")})));
    QCOMPARE(all.values.value(QStringLiteral("supportFrequencies")),
             QJsonValue(QJsonArray({QStringLiteral("14000"), QStringLiteral("14500")})));
    QCOMPARE(all.values.value(QStringLiteral("sampleRate")), QJsonValue(48'000));
    QCOMPARE(all.values.value(QStringLiteral("frequency")), QJsonValue(kCenter));
    QCOMPARE(all.values.value(QStringLiteral("ppmCorrection")), QJsonValue(0));
    QCOMPARE(all.values.value(QStringLiteral("levelCorrection")), QJsonValue(0));
    QCOMPARE(all.values.value(QStringLiteral("swapIQ")), QJsonValue(false));
}

void tst_Properties::dumpEndsWithTheMarkAndTheChecksumOfTheNames()
{
    const Dump all = dump(*m_client);
    QStringList expected;
    for (int i = 0; i < kNames.size(); ++i) {
        expected.append(QStringLiteral("pci_rrd"));
    }
    expected << QStringLiteral("sss_syc_rrd") << QStringLiteral("sync_crc_rrd");
    QCOMPARE(all.commands, expected);
    QCOMPARE(all.crc, int(crc16(kNames.join(QString()).toUtf8())));
}

void tst_Properties::everyRequestRepeatsTheDump()
{
    const Dump first = dump(*m_client);
    const Dump second = dump(*m_client);
    QCOMPARE(second.commands, first.commands);
    QCOMPARE(second.crc, first.crc);
}

void tst_Properties::dumpForAnotherNodeGoesToTheClient()
{
    WireClient other(m_served.server);
    m_client->forgetCalls();
    QVERIFY(other.ask(other.serverId(), QStringLiteral("it_ra_rrd")).has_value());
    QVERIFY(m_client->waitForCall(QStringLiteral("sync_crc_rrd")));
    QCOMPARE(m_client->calls(QStringLiteral("pci_rrd")).size(), kNames.size());
    QCOMPARE(other.calls().size(), 0);
}

void tst_Properties::changeComesBackAsAnEcho()
{
    m_client->forgetCalls();
    QVERIFY(writeProperty(QStringLiteral("frequency"), 14'123'456));
    // The echo leaves before the reply does.
    const QVector<WireClient::Message> echoes = m_client->calls(QStringLiteral("pc_rrd"));
    QCOMPARE(echoes.size(), 1);
    QCOMPARE(echoes[0].sender, m_client->serverId());
    QCOMPARE(echoes[0].body.value(QStringLiteral("n")), QJsonValue(QStringLiteral("frequency")));
    QCOMPARE(echoes[0].body.value(QStringLiteral("v")).toDouble(), 14'123'456.0);
    QCOMPARE(dump(*m_client).values.value(QStringLiteral("frequency")).toDouble(), 14'123'456.0);
}

void tst_Properties::everyChangeOfAPropertyWithANoticeIsTold()
{
    m_client->forgetCalls();
    QVERIFY(writeProperty(QStringLiteral("sampleRate"), 96'000));
    QVERIFY(m_client->waitForCall(QStringLiteral("pc_rrd")));
    QCOMPARE(m_client->calls(QStringLiteral("pc_rrd")).first().body.value(QStringLiteral("v")).toDouble(),
             96'000.0);
    // The chain behind it follows.
    QVERIFY(m_client->waitForCall(QStringLiteral("outSampleRateChanged")));
    QVERIFY(writeProperty(QStringLiteral("sampleRate"), 48'000));
}

void tst_Properties::propertiesWithoutANoticeAreWrittenSilently_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QJsonValue>("value");
    QTest::newRow("ppmCorrection") << QStringLiteral("ppmCorrection") << QJsonValue(12);
    QTest::newRow("levelCorrection") << QStringLiteral("levelCorrection") << QJsonValue(-3.5);
    QTest::newRow("swapIQ") << QStringLiteral("swapIQ") << QJsonValue(true);
}

void tst_Properties::propertiesWithoutANoticeAreWrittenSilently()
{
    QFETCH(QString, name);
    QFETCH(QJsonValue, value);
    m_client->forgetCalls();
    QVERIFY(writeProperty(name, value));
    QCOMPARE(m_client->calls(QStringLiteral("pc_rrd")).size(), 0);
    QCOMPARE(dump(*m_client).values.value(name), value);
}

void tst_Properties::readOnlyPropertiesStay_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QJsonValue>("value");
    QTest::newRow("running") << QStringLiteral("running") << QJsonValue(false);
    QTest::newRow("type") << QStringLiteral("type") << QJsonValue(5);
    QTest::newRow("supportFrequencies") << QStringLiteral("supportFrequencies") << QJsonValue(QJsonArray());
}

void tst_Properties::readOnlyPropertiesStay()
{
    QFETCH(QString, name);
    QFETCH(QJsonValue, value);
    const QJsonValue before = dump(*m_client).values.value(name);
    QVERIFY(writeProperty(name, value));
    QCOMPARE(dump(*m_client).values.value(name), before);
}

void tst_Properties::correctionShowsInTheFrequency()
{
    // Stored alone: nothing is retuned, but the frequency shown has the correction taken out.
    QVERIFY(writeProperty(QStringLiteral("ppmCorrection"), 100));
    const double shown = dump(*m_client).values.value(QStringLiteral("frequency")).toDouble();
    QVERIFY(qAbs(shown - (kCenter - 100 * kCenter / 1e6)) < 1e-3);
    QVERIFY(writeProperty(QStringLiteral("frequency"), kCenter));
    QVERIFY(qAbs(dump(*m_client).values.value(QStringLiteral("frequency")).toDouble() - kCenter) < 1e-3);
}

void tst_Properties::badWritesAreAnsweredAndHarmless_data()
{
    QTest::addColumn<QJsonObject>("arguments");
    QTest::newRow("nothing") << QJsonObject();
    QTest::newRow("no value") << QJsonObject{{QStringLiteral("n"), QStringLiteral("frequency")}};
    QTest::newRow("no name") << QJsonObject{{QStringLiteral("v"), 1}};
    QTest::newRow("unknown name") << write(QStringLiteral("no such property"), 7);
    QTest::newRow("an object for a number")
        << write(QStringLiteral("frequency"), QJsonObject{{QStringLiteral("a"), 1}});
    QTest::newRow("a list for a flag") << write(QStringLiteral("swapIQ"), QJsonArray{1, 2});
    QTest::newRow("a name that is no string")
        << QJsonObject{{QStringLiteral("n"), 5}, {QStringLiteral("v"), 1}};
}

void tst_Properties::badWritesAreAnsweredAndHarmless()
{
    QFETCH(QJsonObject, arguments);
    const Dump before = dump(*m_client);
    const auto answer = m_client->ask(m_client->serverId(), QStringLiteral("wp_rrd"), arguments);
    QVERIFY(answer.has_value());
    QCOMPARE(answer->keys(), QStringList(QStringLiteral("cd")));
    const Dump after = dump(*m_client);
    QCOMPARE(after.names, before.names);
    QCOMPARE(after.values, before.values);
}

void tst_Properties::refusedValuesAreAnsweredWithThePresentOnes_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QJsonValue>("value");
    const QString frequency = QStringLiteral("frequency");
    QTest::newRow("outside the range") << frequency << QJsonValue(15e6);
    QTest::newRow("beyond 64 bits") << frequency << QJsonValue(1e19);
    QTest::newRow("beyond all reason") << frequency << QJsonValue(1e300);
    QTest::newRow("infinite") << frequency << QJsonValue(QStringLiteral("inf"));
    QTest::newRow("no number") << frequency << QJsonValue(QStringLiteral("nan"));
    const QString rate = QStringLiteral("sampleRate");
    QTest::newRow("rate 0") << rate << QJsonValue(0);
    QTest::newRow("rate below 0") << rate << QJsonValue(-48'000);
    QTest::newRow("rate below 1") << rate << QJsonValue(0.5);
    QTest::newRow("rate that is no number") << rate << QJsonValue(QStringLiteral("nan"));
    QTest::newRow("rate beyond all reason") << rate << QJsonValue(1e300);
}

void tst_Properties::refusedValuesAreAnsweredWithThePresentOnes()
{
    QFETCH(const QString, name);
    QFETCH(const QJsonValue, value);
    m_client->forgetCalls();
    QVERIFY(writeProperty(name, value));
    QVERIFY(m_client->waitForCall(QStringLiteral("pc_rrd")));
    const QJsonObject told = m_client->calls(QStringLiteral("pc_rrd")).constFirst().body;
    const double present = name == QStringLiteral("frequency") ? kCenter : 48'000;
    QCOMPARE(told.value(QStringLiteral("n")), QJsonValue(name));
    QCOMPARE(told.value(QStringLiteral("v")), QJsonValue(present));
    m_client->forgetSamples();
    QVERIFY(m_client->waitForSamples(4800));
}

void tst_Properties::levelThatIsNoNumberHurtsNothing()
{
    const QString level = QStringLiteral("levelCorrection");
    for (const char* text : {"inf", "-inf", "nan"}) {
        QVERIFY(writeProperty(level, QString::fromLatin1(text)));
        QVERIFY(m_client->close());
        QVERIFY(m_client->open(m_served.file));
        const Dump all = dump(*m_client);
        QCOMPARE(all.names, kNames);
        QCOMPARE(all.values.value(level), QJsonValue(QJsonValue::Null)); // JSON knows no other word for it
    }
}

void tst_Properties::frequencyUnderACorrectionStaysThroughSessions()
{
    QVERIFY(writeProperty(QStringLiteral("ppmCorrection"), 50));
    QVERIFY(writeProperty(QStringLiteral("frequency"), 14'250'000));
    for (int session = 0; session < 3; ++session) {
        QVERIFY(m_client->close());
        QVERIFY(m_client->open(m_served.file));
        const QJsonObject values = dump(*m_client).values;
        QCOMPARE(values.value(QStringLiteral("ppmCorrection")), QJsonValue(50));
        QVERIFY(std::abs(values.value(QStringLiteral("frequency")).toDouble() - 14'250'000) < 1e-3);
    }
}

void tst_Properties::changesOutliveTheSession()
{
    QVERIFY(writeProperty(QStringLiteral("frequency"), 14'111'000));
    QVERIFY(writeProperty(QStringLiteral("levelCorrection"), 2.5));
    QVERIFY(writeProperty(QStringLiteral("swapIQ"), true));
    QVERIFY(m_client->close());
    QVERIFY(m_client->open(m_served.file));
    const QJsonObject values = dump(*m_client).values;
    QCOMPARE(values.value(QStringLiteral("frequency")).toDouble(), 14'111'000.0);
    QCOMPARE(values.value(QStringLiteral("levelCorrection")).toDouble(), 2.5);
    QCOMPARE(values.value(QStringLiteral("swapIQ")), QJsonValue(true));
}

void tst_Properties::changesOutliveTheProcess()
{
    QVERIFY(writeProperty(QStringLiteral("frequency"), 14'222'000));
    QVERIFY(m_client->close());
    // Saving follows the reply; what proves it is a line that the next session's start does not cause.
    QVERIFY(waitUntil([this] {
        return m_served.home.setting(QStringLiteral("yn/%1b:frequency").arg(m_served.file)).toDouble() ==
               14'222'000.0;
    }));
    QVERIFY(m_served.server.quit());
    QVERIFY(m_served.server.serve());
    m_client = std::make_unique<WireClient>(m_served.server);
    QVERIFY(m_client->open(m_served.file));
    QCOMPARE(dump(*m_client).values.value(QStringLiteral("frequency")).toDouble(), 14'222'000.0);
}

void tst_Properties::otherRecordingsKeepTheirOwn()
{
    const ServerHome home;
    const QString first = home.addRecording(QStringLiteral("a.wav"), recording({}));
    home.addRecording(QStringLiteral("b.wav"), recording({}));
    QVector<double> seen;
    for (const int index : {0, 1, 0, 1}) {
        ServerProcess server(home);
        QVERIFY(server.serve({QStringLiteral("-i"), QString::number(index)}));
        WireClient client(server);
        QVERIFY(client.open(server.identificator()));
        seen.append(dump(client).values.value(QStringLiteral("frequency")).toDouble());
        QVERIFY(client
                    .ask(client.serverId(), QStringLiteral("wp_rrd"),
                         write(QStringLiteral("frequency"), 14'100'000 + index))
                    .has_value());
        QVERIFY(client.close());
        QVERIFY(waitUntil([&home, &server, index] {
            return home.setting(QStringLiteral("yn/%1b:frequency").arg(server.identificator())).toDouble() ==
                   14'100'000 + index;
        }));
        QVERIFY(server.quit());
    }
    QCOMPARE(seen, QVector<double>({kCenter, kCenter, 14'100'000, 14'100'001}));
}

void tst_Properties::propertiesAreGoneWithTheSession()
{
    QVERIFY(m_client->close());
    const quint32 number = m_client->call(m_client->serverId(), QStringLiteral("it_ra_rrd"));
    QVERIFY(m_served.server.waitForLine(
        QStringLiteral("Error invoke rpc command \"it_ra_rrd\" - command name not found!")));
    QVERIFY(m_client->open(m_served.file));
    QVERIFY(!m_client->hasReply(number));
}

QTEST_GUILESS_MAIN(tst_Properties)
#include "tst_Properties.moc"
