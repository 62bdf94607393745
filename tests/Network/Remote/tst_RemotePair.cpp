#include "Network/Remote/ReplicaObject.h"
#include "Network/Remote/SourceObject.h"

#include "support/LocalNode.h"
#include "support/LogCapture.h"
#include "support/LossyLink.h"

#include <QJsonValue>
#include <QSignalSpy>
#include <QtTest>
#include <memory>

/// Twelve properties of a device, some of which tell of their changes.
class Receiver : public QObject
{
    Q_OBJECT
    Q_PROPERTY(double frequency MEMBER m_frequency NOTIFY frequencyChanged)
    Q_PROPERTY(double sampleRate MEMBER m_sampleRate NOTIFY sampleRateChanged)
    Q_PROPERTY(int gain MEMBER m_gain NOTIFY gainChanged)
    Q_PROPERTY(int mixerGain MEMBER m_mixerGain NOTIFY gainChanged)
    Q_PROPERTY(bool biasTee MEMBER m_biasTee NOTIFY biasTeeChanged)
    Q_PROPERTY(QString antenna MEMBER m_antenna NOTIFY antennaChanged)
    Q_PROPERTY(QStringList rates MEMBER m_rates)
    Q_PROPERTY(QString serial MEMBER m_serial)
    Q_PROPERTY(int ppm MEMBER m_ppm)
    Q_PROPERTY(double level MEMBER m_level)
    Q_PROPERTY(bool swapIQ MEMBER m_swapIQ)

public:
    double m_frequency = 14'250'000;
    double m_sampleRate = 48'000;
    int m_gain = 3;
    int m_mixerGain = 5;
    bool m_biasTee = false;
    QString m_antenna = QStringLiteral("A");
    QStringList m_rates{QStringLiteral("48000"), QStringLiteral("96000")};
    QString m_serial = QStringLiteral("0815");
    int m_ppm = -2;
    double m_level = 0.5;
    bool m_swapIQ = true;

signals:
    void frequencyChanged();
    void sampleRateChanged();
    void gainChanged();
    void biasTeeChanged();
    void antennaChanged();
};

class tst_RemotePair : public QObject
{
    Q_OBJECT

private slots:
    void everyPropertyEndsEqualOverBadLink_data();
    void everyPropertyEndsEqualOverBadLink();
    void whatChangesMeanwhileIsEqualAfterOneMoreDump_data();
    void whatChangesMeanwhileIsEqualAfterOneMoreDump();
    void writeComesBackAsItsEcho();
};

namespace
{

constexpr int kRetry = 25;        // ms
constexpr int kUsualRetry = 2000; // ms
constexpr int kMaximumRounds = 60;
constexpr LossyLink::Fates kBad{6, 4, 4, 4};

const QByteArray kSourceId(20, '\x11');
const QByteArray kReplicaId(20, '\x22');
const QString kName = QStringLiteral("rrd");

/// A receiver and its replica at the two ends of a link.
struct Pair
{
    explicit Pair(unsigned seed)
        : link(seed)
    {
        link.join(sourceNode.socket->localPort(), replicaNode.socket->localPort());
        source = std::make_unique<SourceObject>(kName, &receiver, sourceNode.rpcSocket,
                                                info(kReplicaId, link.portForFirst()), nullptr,
                                                [this] { return m_time += kUsualRetry; });
    }
    void makeReplica()
    {
        replica.reset();
        replica = std::make_unique<ReplicaObject>(kName, info(kSourceId, link.portForSecond()),
                                                  replicaNode.rpcSocket, nullptr, kRetry);
    }
    static NodeInfo info(const QByteArray& id, quint16 port)
    {
        return {int160(id.constData()), QHostAddress(QHostAddress::LocalHost), port};
    }
    /// The first property that differs; empty if none does.
    [[nodiscard]] QString difference() const
    {
        const QMetaObject* const meta = receiver.metaObject();
        for (int i = 0; i < meta->propertyCount(); ++i) {
            const QMetaProperty property = meta->property(i);
            const QString name = QString::fromLatin1(property.name());
            if (!replica->contains(name) || QJsonValue::fromVariant(property.read(&receiver)) !=
                                                QJsonValue::fromVariant(replica->property(name))) {
                return name;
            }
        }
        return {};
    }

    Receiver receiver;
    LocalNode sourceNode{kSourceId};
    LocalNode replicaNode{kReplicaId};
    LossyLink link;
    std::unique_ptr<SourceObject> source;
    std::unique_ptr<ReplicaObject> replica;

private:
    qint64 m_time = 0; // ms, as it would be with the usual time between two questions
};

void addSeeds()
{
    QTest::addColumn<unsigned>("seed");
    for (unsigned seed = 1; seed <= 6; ++seed) {
        QTest::addRow("seed %u", seed) << seed;
    }
}

} // namespace

void tst_RemotePair::everyPropertyEndsEqualOverBadLink_data()
{
    addSeeds();
}

void tst_RemotePair::everyPropertyEndsEqualOverBadLink()
{
    QFETCH(unsigned, seed);
    const LogCapture log;
    Pair pair(seed);
    pair.link.setFates(kBad);
    pair.makeReplica();
    pair.replica->clone();
    QTRY_VERIFY_WITH_TIMEOUT(pair.replica->isSynchronized(), kMaximumRounds * kRetry);
    QCOMPARE(pair.difference(), QString());
    QVERIFY(pair.link.passed() > 0);
    const int rounds = 1 + log.texts().count(QStringLiteral("Try reinit replica ..."));
    QVERIFY2(rounds <= kMaximumRounds, qPrintable(QString::number(rounds)));
    QCOMPARE(log.texts(QtWarningMsg), QStringList());
}

void tst_RemotePair::whatChangesMeanwhileIsEqualAfterOneMoreDump_data()
{
    addSeeds();
}

// A lost change is lost for good until the next dump, so a client that has to be sure asks for one.
void tst_RemotePair::whatChangesMeanwhileIsEqualAfterOneMoreDump()
{
    QFETCH(unsigned, seed);
    const LogCapture log;
    Pair pair(seed);
    pair.link.setFates(kBad);
    pair.makeReplica();
    pair.replica->clone();
    for (int step = 0; step < 40; ++step) {
        const int seen = pair.link.passed() + pair.link.lost();
        switch (step % 4) {
        case 0:
            pair.receiver.setProperty("frequency", 14'000'000.0 + step);
            break;
        case 1:
            pair.receiver.setProperty("gain", step);
            break;
        case 2:
            pair.replica->setProperty(QStringLiteral("antenna"), QString::number(step));
            break;
        default:
            pair.replica->setProperty(QStringLiteral("ppm"), step);
            break;
        }
        QTRY_VERIFY(pair.link.passed() + pair.link.lost() > seen);
    }
    // A dump over a good link leaves nothing under way after it.
    pair.link.setFates({});
    pair.link.flush();
    pair.makeReplica();
    pair.replica->clone();
    QTRY_VERIFY(pair.replica->isSynchronized());
    pair.link.setFates(kBad);
    pair.makeReplica();
    pair.replica->clone();
    QTRY_VERIFY_WITH_TIMEOUT(pair.replica->isSynchronized(), kMaximumRounds * kRetry);
    QCOMPARE(pair.difference(), QString());
}

void tst_RemotePair::writeComesBackAsItsEcho()
{
    const LogCapture log;
    Pair pair(1);
    pair.makeReplica();
    pair.replica->clone();
    QTRY_VERIFY(pair.replica->isSynchronized());
    QSignalSpy changed(pair.replica.get(), &ReplicaObject::propertyChanged);
    pair.replica->setProperty(QStringLiteral("frequency"), 7'100'000.0);
    QTRY_COMPARE(changed.size(), 1);
    QCOMPARE(changed.at(0).at(0).toString(), QStringLiteral("frequency"));
    QCOMPARE(changed.at(0).at(1).value<QVariant>(), QVariant(7'100'000.0));
    QCOMPARE(pair.receiver.m_frequency, 7'100'000.0);
    pair.replica->setProperty(QStringLiteral("swapIQ"), false); // tells of no change
    QTRY_COMPARE(pair.receiver.m_swapIQ, false);
    QCOMPARE(pair.difference(), QString());
    QCOMPARE(changed.size(), 1);
}

QTEST_GUILESS_MAIN(tst_RemotePair)
#include "tst_RemotePair.moc"
