#include "System/Served.h"
#include "support/WireClient.h"

#include <QFile>
#include <QTest>
#include <algorithm>
#include <sys/resource.h>
#include <unistd.h>

namespace
{

QString text(const QJsonObject& object, const char* key)
{
    return object.value(QLatin1String(key)).toString();
}

void limit(qint64 pid, __rlimit_resource resource, rlim_t bytes)
{
    rlimit present{};
    QCOMPARE(prlimit(static_cast<pid_t>(pid), resource, nullptr, &present), 0);
    present.rlim_cur = std::min(bytes, present.rlim_max);
    QCOMPARE(prlimit(static_cast<pid_t>(pid), resource, &present, nullptr), 0);
}

rlim_t addressSpace(qint64 pid)
{
    QFile file(QStringLiteral("/proc/%1/statm").arg(pid));
    if (!file.open(QIODevice::ReadOnly)) {
        return 0;
    }
    return file.readAll().split(' ').constFirst().toULongLong() * static_cast<rlim_t>(sysconf(_SC_PAGESIZE));
}

} // namespace

/// Who comes in, and who is turned away.
class tst_Greeting : public QObject
{
    Q_OBJECT

private slots:
    void badGreetingsAreRefused_data();
    void badGreetingsAreRefused();
    void minorVersionIsNotLookedAt();
    void serverThatGetsNoThreadRefusesAndServesOnceItGetsOne();
};

void tst_Greeting::badGreetingsAreRefused_data()
{
    const QString values = QStringLiteral("Error get client packet values!");
    const QString version = QStringLiteral("Unsupported version protocol!");
    const QJsonValue file(QStringLiteral("FILE"));
    QTest::addColumn<QJsonObject>("greeting");
    QTest::addColumn<QString>("refusal");
    const auto row = [](const char* name, const QJsonObject& greeting, const QString& refusal) {
        QTest::newRow(name) << greeting << refusal;
    };
    const QString vma = QStringLiteral("vma");
    const QString vmi = QStringLiteral("vmi");
    const QString identificator = QStringLiteral("identificator");
    row("nothing", {}, values);
    row("no vma", {{vmi, 0}, {identificator, file}}, values);
    row("no vmi", {{vma, 8}, {identificator, file}}, values);
    row("no identificator", {{vma, 8}, {vmi, 0}}, values);
    row("identificator is a number", {{vma, 8}, {vmi, 0}, {identificator, 5}}, values);
    row("identificator is null", {{vma, 8}, {vmi, 0}, {identificator, QJsonValue()}}, values);
    row("vma 9, no identificator", {{vma, 9}, {vmi, 0}}, values);
    row("vma 9, no vmi", {{vma, 9}, {identificator, file}}, values);
    row("vma is no number", {{vma, QStringLiteral("eight")}, {vmi, 0}, {identificator, file}}, values);
    row("vma is null", {{vma, QJsonValue()}, {vmi, 0}, {identificator, file}}, values);
    row("vma is an object", {{vma, QJsonObject()}, {vmi, 0}, {identificator, file}}, values);
    row("vma 9", {{vma, 9}, {vmi, 0}, {identificator, file}}, version);
    row("vma 0, the application's", {{vma, 0}, {vmi, 8}, {identificator, file}}, version);
    row("vma -8", {{vma, -8}, {vmi, 0}, {identificator, file}}, version);
    row("vma 7, another identificator", {{vma, 7}, {vmi, 0}, {identificator, QString()}}, version);
}

void tst_Greeting::badGreetingsAreRefused()
{
    QFETCH(QJsonObject, greeting);
    QFETCH(QString, refusal);
    static Served served(recording({}));
    if (!served.server.isRunning()) {
        QVERIFY(served.server.serve());
    }
    if (greeting.value(QStringLiteral("identificator")) == QJsonValue(QStringLiteral("FILE"))) {
        greeting.insert(QStringLiteral("identificator"), served.file);
    }
    WireClient client(served.server);
    const auto answer = client.ask(client.serverId(), QStringLiteral("connect_to_host"), greeting);
    QVERIFY(answer.has_value());
    QCOMPARE(answer->keys(), QStringList({QStringLiteral("cd"), QStringLiteral("err")}));
    QCOMPARE(text(*answer, "err"), refusal);
    QVERIFY(served.server.waitForLine(refusal));
    // Nobody is served, and nobody is kept out.
    WireClient other(served.server);
    QVERIFY(other.open(served.file));
    QVERIFY(other.close());
    QVERIFY(other.waitForCall(QStringLiteral("pc_rrd")));
    QCOMPARE(client.calls().size(), 0);
    QCOMPARE(client.iqBlockSizes().size(), 0);
}

void tst_Greeting::minorVersionIsNotLookedAt()
{
    Served served(recording({}));
    QVERIFY(served.server.serve());
    WireClient client(served.server);
    const auto answer =
        client.ask(client.serverId(), QStringLiteral("connect_to_host"), Wire::greeting(served.file, 8, 77));
    QVERIFY(answer.has_value());
    QVERIFY(answer->contains(QStringLiteral("session_id")));
    QVERIFY(served.server.quit());
}

void tst_Greeting::serverThatGetsNoThreadRefusesAndServesOnceItGetsOne()
{
    constexpr rlim_t kGibi = 1ULL << 30U;
    Served served(recording({}));
    // A thread gets a stack as large as this; half of it is left for everything else.
    served.server.setPreparation([] { limit(0, RLIMIT_STACK, kGibi); });
    QVERIFY(served.server.serve());
    // Until then the look-up of a name may still start threads, after what there is was measured.
    QVERIFY(served.server.waitForLine(QStringLiteral("DNS lookup")));
    limit(served.server.pid(), RLIMIT_AS, addressSpace(served.server.pid()) + kGibi / 2);
    WireClient client(served.server);
    for (int i = 0; i < 3; ++i) {
        const auto answer =
            client.ask(client.serverId(), QStringLiteral("connect_to_host"), Wire::greeting(served.file));
        QVERIFY(answer.has_value());
        QCOMPARE(text(*answer, "err"), QStringLiteral("Error factory RadioDevice!"));
    }
    limit(served.server.pid(), RLIMIT_AS, RLIM_INFINITY);
    QVERIFY(client.open(served.file));
    QVERIFY(client.waitForSamples(4800));
    QVERIFY(served.server.quit());
}

QTEST_GUILESS_MAIN(tst_Greeting)
#include "tst_Greeting.moc"
