#include "RadioDevice/Driver.h"

#include "support/LogCapture.h"

#include <QDir>
#include <QtTest>
#include <malloc.h>
#include <random>

/// What many sessions leave behind, for the device of every driver: nothing.
class tst_DriverEndurance : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase_data();
    void initTestCase();
    void init();
    void manyStartsInAnyOrderLeaveNothingBehind();
    void receiverPulledOutInMidStreamLeavesNothingBehind();

private:
    FakeVendor m_vendor;
    int m_threads = 0; // without a device
};

namespace
{

Driver driver()
{
    QFETCH_GLOBAL(Driver, driver);
    return driver;
}

constexpr const char* kStarts = "STARTS"; // how many, in the environment

int entries(const char* folder)
{
    return QDir(QString::fromLatin1(folder))
        .entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot)
        .size();
}

int threads()
{
    return entries("/proc/self/task");
}

int handles()
{
    return entries("/proc/self/fd");
}

/// Bytes of the heap in use; 0 under a sanitizer, which looks for leaks by itself.
qint64 heap()
{
    const struct mallinfo2 info = mallinfo2();
    return static_cast<qint64>(info.uordblks) + static_cast<qint64>(info.hblkhd);
}

/// Works a device of the driver at random, and keeps account of what state it must be in.
class Client
{
public:
    explicit Client(const Driver& served)
        : m_driver(served)
        , m_device(make())
    {
    }

    [[nodiscard]] int starts() const { return m_starts; }
    [[nodiscard]] QStringList errors() const { return m_errors; }

    /// False if the device isn't in the state that it must be in.
    bool act()
    {
        // Starts and stops above all; what takes long comes rarely.
        switch (pick(60)) {
        case 0:
            m_device->save(m_driver.name);
            m_device->restore(m_driver.name);
            break;
        case 1:
        case 2:
            m_device = make();
            m_isRunning = false;
            break;
        case 3:
        case 4:
            m_device->reset();
            break;
        case 5:
        case 6:
        case 7:
        case 8: {
            const Driver::Property& property = m_driver.properties.at(pick(m_driver.properties.size()));
            m_device->QObject::setProperty(property.name, pick(2) == 0 ? property.other : property.byDefault);
            break;
        }
        case 9:
        case 10:
            QCoreApplication::processEvents();
            break;
        default:
            if (pick(2) == 0) {
                m_device->stop();
                m_isRunning = false;
            } else {
                const bool accepted = m_device->start(false);
                if (accepted == m_isRunning) {
                    return false;
                }
                m_starts += accepted ? 1 : 0;
                m_isRunning = true;
            }
        }
        return m_device->running() == m_isRunning;
    }

private:
    std::unique_ptr<AbstractRadioDevice> make()
    {
        auto device = m_driver.device();
        QObject::connect(device.get(), &Worker::errorHappen, device.get(),
                         [this](const QString& text) { m_errors.append(text); });
        return device;
    }

    int pick(int count) { return std::uniform_int_distribution<int>(0, count - 1)(m_generator); }

    Driver m_driver;
    std::mt19937 m_generator{20}; // the same run each time
    bool m_isRunning = false;
    int m_starts = 0;
    QStringList m_errors; // what errorHappen carried
    std::unique_ptr<AbstractRadioDevice> m_device;
};

} // namespace

void tst_DriverEndurance::initTestCase_data()
{
    QTest::addColumn<Driver>("driver");
    for (const Driver& each : drivers()) {
        QTest::newRow(qPrintable(each.name)) << each;
    }
}

void tst_DriverEndurance::initTestCase()
{
    QCoreApplication::setOrganizationName(QStringLiteral("Test"));
    QCoreApplication::setApplicationName(QStringLiteral("Test"));
}

void tst_DriverEndurance::init()
{
    resetFakes(m_vendor);
    // A buffer a millisecond, of a length that wakes the signal path with each few of them.
    m_vendor.set(QStringLiteral("pace"), QStringLiteral("fast"));
    m_vendor.set(QStringLiteral("buffer"), 8'192);
    // What a first session takes for good: the dispatcher's pipes, the settings' file, the library itself and
    // its thread.
    const LogCapture log;
    auto device = driver().device();
    device->start(false);
    device->save(driver().name);
    device->stop();
    m_vendor.clearCalls();
    device.reset();
    m_threads = threads();
}

void tst_DriverEndurance::manyStartsInAnyOrderLeaveNothingBehind()
{
    // The five drivers make a thousand of them; the long run makes more.
    const int starts = qEnvironmentVariableIsSet(kStarts) ? qEnvironmentVariableIntValue(kStarts) : 200;
    // A device's rings alone are 5 MB; the fakes keep their handles, some hundred bytes each.
    const qint64 heapAllowed = 100'000 + 500 * starts;
    const int handlesBefore = handles();
    const qint64 heapBefore = heap();
    {
        LogCapture log;
        Client client(driver());
        while (client.starts() < starts) {
            QVERIFY(client.act());
            log.clear();
        }
        QCOMPARE(client.errors(), QStringList());
    }
    QTRY_VERIFY(threads() <= m_threads);
    QTRY_COMPARE(handles(), handlesBefore);
    QTRY_VERIFY2(heap() - heapBefore < heapAllowed, qPrintable(QString::number(heap() - heapBefore)));
    if (!driver().openCall.isEmpty()) {
        QCOMPARE(m_vendor.calls(driver().openCall).size(), starts);
        QCOMPARE(m_vendor.calls(driver().closeCall).size(), starts);
        // The fakes say so of a handle that was given back before.
        QCOMPARE(m_vendor.calls().filter(QStringLiteral(" closed")), QStringList());
    }
}

void tst_DriverEndurance::receiverPulledOutInMidStreamLeavesNothingBehind()
{
    if (driver().openCall.isEmpty()) {
        QSKIP("A recording can't be pulled out.");
    }
    const int handlesBefore = handles();
    const LogCapture log;
    for (int i = 0; i < 20; ++i) {
        const auto device = driver().device();
        QVERIFY(device->start(false));
        m_vendor.set(QStringLiteral("unplug"), 1);
        // Half of them are destroyed as they are, the others stopped and served once more.
        if (i % 2 == 0) {
            device->stop();
            QVERIFY(!device->running());
        }
        m_vendor.remove(QStringLiteral("unplug"));
        if (i % 2 == 0) {
            QVERIFY(device->start(false));
            QVERIFY(device->running());
        }
    }
    QTRY_VERIFY(threads() <= m_threads);
    QTRY_COMPARE(handles(), handlesBefore);
    QCOMPARE(m_vendor.calls().filter(QStringLiteral(" closed")), QStringList());
}

QTEST_GUILESS_MAIN(tst_DriverEndurance)
#include "tst_DriverEndurance.moc"
