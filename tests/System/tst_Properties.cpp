#include "System/Properties.h"
#include "System/Served.h"
#include "support/WireClient.h"

#include <QJsonArray>
#include <QTest>
#include <memory>

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

} // namespace

class tst_Properties : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void crcIsKnownOne();
    void dumpHoldsEveryPropertyInOrder();
    void dumpEndsWithMarkAndChecksumOfNames();
    void everyRequestRepeatsDump();
    void dumpForAnotherNodeGoesToClient();
    void changeComesBackAsEcho();
    void everyChangeOfPropertyWithNoticeIsTold();
    void propertiesWithoutNoticeAreWrittenSilently_data();
    void propertiesWithoutNoticeAreWrittenSilently();
    void readOnlyPropertiesStay_data();
    void readOnlyPropertiesStay();
    void correctionShowsInFrequency();
    void badWritesAreAnsweredAndHarmless_data();
    void badWritesAreAnsweredAndHarmless();
    void refusedValuesAreAnsweredWithPresentOnes_data();
    void refusedValuesAreAnsweredWithPresentOnes();
    void levelThatIsNoNumberHurtsNothing();

private:
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
            QVERIFY(writeProperty(*m_client, QLatin1String(name), value));
        }
        QVERIFY(m_client->close());
    }
}

void tst_Properties::crcIsKnownOne()
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

void tst_Properties::dumpEndsWithMarkAndChecksumOfNames()
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

void tst_Properties::everyRequestRepeatsDump()
{
    const Dump first = dump(*m_client);
    const Dump second = dump(*m_client);
    QCOMPARE(second.commands, first.commands);
    QCOMPARE(second.crc, first.crc);
}

void tst_Properties::dumpForAnotherNodeGoesToClient()
{
    WireClient other(m_served.server);
    m_client->forgetCalls();
    QVERIFY(other.ask(other.serverId(), QStringLiteral("it_ra_rrd")).has_value());
    QVERIFY(m_client->waitForCall(QStringLiteral("sync_crc_rrd")));
    QCOMPARE(m_client->calls(QStringLiteral("pci_rrd")).size(), kNames.size());
    QCOMPARE(other.calls().size(), 0);
}

void tst_Properties::changeComesBackAsEcho()
{
    m_client->forgetCalls();
    QVERIFY(writeProperty(*m_client, QStringLiteral("frequency"), 14'123'456));
    // The echo leaves before the reply does.
    const QVector<WireClient::Message> echoes = m_client->calls(QStringLiteral("pc_rrd"));
    QCOMPARE(echoes.size(), 1);
    QCOMPARE(echoes[0].sender, m_client->serverId());
    QCOMPARE(echoes[0].body.value(QStringLiteral("n")), QJsonValue(QStringLiteral("frequency")));
    QCOMPARE(echoes[0].body.value(QStringLiteral("v")).toDouble(), 14'123'456.0);
    QCOMPARE(dump(*m_client).values.value(QStringLiteral("frequency")).toDouble(), 14'123'456.0);
}

void tst_Properties::everyChangeOfPropertyWithNoticeIsTold()
{
    m_client->forgetCalls();
    QVERIFY(writeProperty(*m_client, QStringLiteral("sampleRate"), 96'000));
    QVERIFY(m_client->waitForCall(QStringLiteral("pc_rrd")));
    QCOMPARE(m_client->calls(QStringLiteral("pc_rrd")).first().body.value(QStringLiteral("v")).toDouble(),
             96'000.0);
    // The chain after it follows.
    QVERIFY(m_client->waitForCall(QStringLiteral("outSampleRateChanged")));
    QVERIFY(writeProperty(*m_client, QStringLiteral("sampleRate"), 48'000));
}

void tst_Properties::propertiesWithoutNoticeAreWrittenSilently_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QJsonValue>("value");
    QTest::newRow("ppmCorrection") << QStringLiteral("ppmCorrection") << QJsonValue(12);
    QTest::newRow("levelCorrection") << QStringLiteral("levelCorrection") << QJsonValue(-3.5);
    QTest::newRow("swapIQ") << QStringLiteral("swapIQ") << QJsonValue(true);
}

void tst_Properties::propertiesWithoutNoticeAreWrittenSilently()
{
    QFETCH(QString, name);
    QFETCH(QJsonValue, value);
    m_client->forgetCalls();
    QVERIFY(writeProperty(*m_client, name, value));
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
    QVERIFY(writeProperty(*m_client, name, value));
    QCOMPARE(dump(*m_client).values.value(name), before);
}

void tst_Properties::correctionShowsInFrequency()
{
    // Stored alone: nothing is retuned, but the frequency shown has the correction taken out.
    QVERIFY(writeProperty(*m_client, QStringLiteral("ppmCorrection"), 100));
    const double shown = dump(*m_client).values.value(QStringLiteral("frequency")).toDouble();
    QVERIFY(qAbs(shown - (kCenter - 100 * kCenter / 1e6)) < 1e-3);
    QVERIFY(writeProperty(*m_client, QStringLiteral("frequency"), kCenter));
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

void tst_Properties::refusedValuesAreAnsweredWithPresentOnes_data()
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

void tst_Properties::refusedValuesAreAnsweredWithPresentOnes()
{
    QFETCH(const QString, name);
    QFETCH(const QJsonValue, value);
    m_client->forgetCalls();
    QVERIFY(writeProperty(*m_client, name, value));
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
        QVERIFY(writeProperty(*m_client, level, QString::fromLatin1(text)));
        QVERIFY(m_client->close());
        QVERIFY(m_client->open(m_served.file));
        const Dump all = dump(*m_client);
        QCOMPARE(all.names, kNames);
        QCOMPARE(all.values.value(level), QJsonValue(QJsonValue::Null)); // JSON knows no other word for it
    }
}

QTEST_GUILESS_MAIN(tst_Properties)
#include "tst_Properties.moc"
