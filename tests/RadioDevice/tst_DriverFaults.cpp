#include "RadioDevice/Driver.h"

#include <QtTest>
#include <random>

/// Libraries that hang, take their time and fail, while sessions begin and end and devices go, at random:
/// what was opened is closed once, and nothing is asked of it afterwards. The sanitizers watch the rest.
class tst_DriverFaults : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void everyHandleIsClosedOnceWhateverHappens();

private:
    FakeVendor m_vendor;
};

namespace
{

constexpr const char* kRounds = "ROUNDS"; // how many, in the environment
constexpr const char* kSeed = "SEED";     // of the rounds, in the environment
constexpr LibraryDeadlines kDeadlines{std::chrono::milliseconds(60), std::chrono::milliseconds(40)};

/// One driver's round.
class Round
{
public:
    Round(const Driver& driver, FakeVendor& vendor, std::mt19937& generator)
        : m_driver(driver)
        , m_begin(driver.claimCall.isEmpty() ? driver.openCall : driver.claimCall)
        , m_end(driver.releaseCall.isEmpty() ? driver.closeCall : driver.releaseCall)
        , m_vendor(vendor)
        , m_generator(generator)
    {
        m_vendor.reset();
        m_vendor.set(QStringLiteral("pace"), QStringLiteral("fast"));
        m_vendor.set(QStringLiteral("buffer"), 2048);
    }

    void run()
    {
        for (int faults = 1 + pick(3); faults > 0; --faults) {
            addFault();
        }
        auto device = make();
        for (int actions = 4 + pick(8); actions > 0; --actions) {
            act(device);
        }
        if (pick(2) == 0) {
            device.reset();
        }
        endFaults();
        device.reset();
    }

    /// True once the library has nothing left to do.
    [[nodiscard]] bool isDone() const
    {
        const auto nothing = [] { return 0; };
        return LibraryThread::of(m_driver.library).ask("nothing", nothing, std::chrono::seconds(5)).outcome ==
               LibraryThread::Outcome::Back;
    }

    /// What is wrong with the calls that were made; empty if nothing is.
    [[nodiscard]] QString complaint() const
    {
        const QStringList after = m_vendor.calls().filter(QStringLiteral(" closed"));
        if (!after.isEmpty()) {
            return QStringLiteral("asked of what was closed: ") + after.join(QLatin1String(", "));
        }
        return m_driver.claimCall.isEmpty() ? complaintOfHandles() : complaintOfSessions();
    }

    /// How many sessions the library saw begin.
    [[nodiscard]] int begun() const { return m_vendor.calls(m_begin).size(); }

private:
    [[nodiscard]] QString complaintOfHandles() const
    {
        const QStringList opened = m_vendor.calls(m_begin).filter(QStringLiteral(" = 0"));
        const QStringList closed = m_vendor.calls(m_end);
        if (opened.size() != closed.size()) {
            return QStringLiteral("opened %1, closed %2").arg(opened.size()).arg(closed.size());
        }
        QStringList handles;
        for (const QString& call : closed) {
            handles.append(call.section(QLatin1Char('('), 1).section(QLatin1Char(')'), 0, 0));
        }
        return handles.removeDuplicates() == 0 ? QString() : QStringLiteral("closed twice");
    }

    // A library that is claimed has no handle: what begins a session and what ends it take turns.
    [[nodiscard]] QString complaintOfSessions() const
    {
        int open = 0;
        for (const QString& call : m_vendor.calls()) {
            open += call.startsWith(m_begin) ? 1 : call.startsWith(m_end) ? -1 : 0;
            if (open < 0 || open > 1) {
                return QStringLiteral("one session within another: ") + call;
            }
        }
        return open == 0 ? QString() : QStringLiteral("a session without an end");
    }

    void addFault()
    {
        const QString name = m_driver.faultCalls.at(pick(m_driver.faultCalls.size()));
        const QString numbered = name + QLatin1Char('.') + QString::number(1 + pick(3));
        switch (pick(4)) {
        case 0:
            m_vendor.set(QStringLiteral("delay.") + name, pick(60));
            break;
        case 1:
            m_vendor.set(m_driver.failingCalls.at(pick(m_driver.failingCalls.size())), -1);
            break;
        default:
            m_hangs.append(QStringLiteral("hang.") + (pick(2) == 0 ? name : numbered));
            m_vendor.set(m_hangs.constLast(), 1);
        }
    }

    void act(std::unique_ptr<AbstractRadioDevice>& device)
    {
        const Driver::Property& property = m_driver.properties.at(pick(m_driver.properties.size()));
        switch (pick(9)) {
        case 0:
        case 1:
        case 2:
            device->start(false);
            break;
        case 3:
            device->stop();
            break;
        case 4:
            device->QObject::setProperty(property.name, pick(2) == 0 ? property.other : property.byDefault);
            break;
        case 5:
            device.reset();
            device = make();
            break;
        case 6:
            endFaults();
            break;
        case 7:
            addFault();
            break;
        default:
            // A time of chance, in which a call may come back.
            QTest::qWait(pick(30));
        }
    }

    void endFaults()
    {
        for (const QString& hang : m_hangs) {
            m_vendor.remove(hang);
        }
        m_hangs.clear();
    }

    [[nodiscard]] std::unique_ptr<AbstractRadioDevice> make() const
    {
        return m_driver.device(IQSource::kWatchdogInterval, kDeadlines);
    }

    int pick(int count) { return std::uniform_int_distribution<int>(0, count - 1)(m_generator); }

    Driver m_driver;
    QString m_begin; // a session, for the library
    QString m_end;   // what that is owed
    FakeVendor& m_vendor;
    std::mt19937& m_generator;
    QStringList m_hangs; // keys of the script
};

int fromEnvironment(const char* name, int otherwise)
{
    return qEnvironmentVariableIsSet(name) ? qEnvironmentVariableIntValue(name) : otherwise;
}

void ignore(QtMsgType /*type*/, const QMessageLogContext& /*context*/, const QString& /*text*/) {}

} // namespace

void tst_DriverFaults::initTestCase()
{
    QCoreApplication::setOrganizationName(QStringLiteral("Test"));
    QCoreApplication::setApplicationName(QStringLiteral("Test"));
}

void tst_DriverFaults::everyHandleIsClosedOnceWhateverHappens()
{
    const QVector<Driver> served = vendorDrivers();
    const int rounds = fromEnvironment(kRounds, 80);
    const int seed = fromEnvironment(kSeed, 2026);
    std::mt19937 generator(static_cast<unsigned>(seed));
    int begun = 0;
    for (int i = 0; i < rounds; ++i) {
        const Driver& driver = served.at(i % served.size());
        Round round(driver, m_vendor, generator);
        const QString which = QStringLiteral("%1, round %2 of seed %3: ").arg(driver.name).arg(i).arg(seed);
        // The warnings of what goes wrong here say nothing more.
        const QtMessageHandler handler = qInstallMessageHandler(&ignore);
        round.run();
        const bool done = QTest::qWaitFor([&round] { return round.isDone(); }, 20'000);
        qInstallMessageHandler(handler);
        QVERIFY2(done, qPrintable(which + QStringLiteral("the library never comes to an end")));
        const QString complaint = round.complaint();
        QVERIFY2(complaint.isEmpty(), qPrintable(which + complaint + QLatin1Char('\n') +
                                                 m_vendor.calls().join(QLatin1Char('\n'))));
        begun += round.begun();
    }
    QVERIFY2(begun > rounds / 2, qPrintable(QString::number(begun)));
}

QTEST_GUILESS_MAIN(tst_DriverFaults)
#include "tst_DriverFaults.moc"
