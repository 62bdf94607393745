#include "Core/RadioDevice/Enumerator/EnumeratorRadioDevice.h"
#include "RadioDevice/Rsp/RspEnumerator.h"
#ifdef ORVENLINK_RTLSDR
#include "RadioDevice/RtlUsb/RtlUsbEnumerator.h"
#endif
#ifdef ORVENLINK_AIRSPYHF
#include "RadioDevice/AirSpyHF/AirSpyHFEnumerator.h"
#endif
#ifdef ORVENLINK_AIRSPY
#include "RadioDevice/AirSpy/AirSpyEnumerator.h"
#endif

#include "support/FakeVendor.h"
#include "support/LogCapture.h"

#include <QElapsedTimer>
#include <QtTest>

using namespace std::chrono_literals;

using Make = QSharedPointer<AbstractEnumerator> (*)(EnumeratorRadioDevice* owner);
Q_DECLARE_METATYPE(Make)

/// Libraries that don't come back while their receivers are listed.
class tst_EnumeratorHangs : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void callOfARefreshThatHangsEndsIt_data();
    void callOfARefreshThatHangsEndsIt();
    void handleOfARefreshThatHungIsClosedInTheEnd_data();
    void handleOfARefreshThatHungIsClosedInTheEnd();
    void dongleThatHangsLeavesThoseBeforeItListed();
    void libraryThatTellsItsVersionLateLists();

private:
    /// A row for each call of the refreshes, with the warning that it fails with.
    static void rows();

    FakeVendor m_vendor;
};

namespace
{

constexpr LibraryDeadlines kDeadlines{150ms, 150ms};
constexpr qint64 kLongMs = 1500;

template <class Enumerator>
QSharedPointer<AbstractEnumerator> make(EnumeratorRadioDevice* owner)
{
    return QSharedPointer<Enumerator>::create(owner, kDeadlines);
}

QStringList warnings(const LogCapture& log)
{
    QStringList result;
    for (const QString& text : log.texts(QtWarningMsg)) {
        result.append(text.section(QStringLiteral("=>\t "), 1));
    }
    return result;
}

QString isOut(const QString& call)
{
    return QStringLiteral("The receiver's library doesn't come back: ") + call;
}

} // namespace

void tst_EnumeratorHangs::init()
{
    m_vendor.reset();
}

void tst_EnumeratorHangs::rows()
{
    QTest::addColumn<Make>("make");
    QTest::addColumn<QString>("call");
    QTest::addColumn<QString>("warning");
    const auto row = [](Make maker, const char* call, const char* warning) {
        QTest::newRow(call) << maker << QString::fromLatin1(call) << QString::fromLatin1(warning);
    };
#ifdef ORVENLINK_RTLSDR
    row(&make<RtlUsbEnumerator>, "rtlsdr_get_device_count", "");
    row(&make<RtlUsbEnumerator>, "rtlsdr_get_device_name", "Unable to access rtlusb device # 0 ");
    row(&make<RtlUsbEnumerator>, "rtlsdr_get_device_usb_strings",
        "Unable to access rtlusb device # 0 Generic RTL2832U OEM");
#endif
#ifdef ORVENLINK_AIRSPYHF
    row(&make<AirSpyHFEnumerator>, "airspyhf_list_devices", "Error get airspy hf list devices!");
    row(&make<AirSpyHFEnumerator>, "airspyhf_open_sn", "Error open airspy hf device!");
    row(&make<AirSpyHFEnumerator>, "airspyhf_version_string_read", "Error read airspy hf version!");
    row(&make<AirSpyHFEnumerator>, "airspyhf_close", "Error close airspy hf device!");
#endif
#ifdef ORVENLINK_AIRSPY
    row(&make<AirSpyEnumerator>, "airspy_list_devices", "Error get airspy list devices!");
    row(&make<AirSpyEnumerator>, "airspy_open_sn", "Error open airspy hf device!");
    row(&make<AirSpyEnumerator>, "airspy_version_string_read", "Error read airspy hf version!");
    row(&make<AirSpyEnumerator>, "airspy_close", "Error close airspy hf device!");
#endif
    row(&make<RspEnumerator>, "mir_sdr_GetDevices", "Error get RSP devices list!");
}

void tst_EnumeratorHangs::callOfARefreshThatHangsEndsIt_data()
{
    rows();
}

void tst_EnumeratorHangs::callOfARefreshThatHangsEndsIt()
{
    QFETCH(Make, make);
    QFETCH(QString, call);
    QFETCH(QString, warning);
    EnumeratorRadioDevice registry(nullptr, {make});
    m_vendor.set(QStringLiteral("hang.%1.1").arg(call), 1);
    {
        const LogCapture log;
        QElapsedTimer elapsed;
        elapsed.start();
        registry.refresh({});
        QVERIFY2(elapsed.elapsed() < kLongMs, qPrintable(QString::number(elapsed.elapsed())));
        QStringList expected{isOut(call)};
        if (!warning.isEmpty()) {
            expected.append(warning);
        }
        QCOMPARE(warnings(log), expected);
    }
    QCOMPARE(registry.devices().size(), 0);
    // The call hangs on, and the next refresh neither waits for it nor asks beside it.
    {
        const LogCapture log;
        QElapsedTimer elapsed;
        elapsed.start();
        registry.refresh({});
        QVERIFY2(elapsed.elapsed() < kDeadlines.call.count(), qPrintable(QString::number(elapsed.elapsed())));
        QCOMPARE(registry.devices().size(), 0);
    }
    m_vendor.remove(QStringLiteral("hang.%1.1").arg(call));
    QTRY_VERIFY(!m_vendor.calls(call + QLatin1Char('(')).isEmpty());
    const LogCapture log;
    QTRY_VERIFY((registry.refresh({}), registry.devices().size() == 1));
}

void tst_EnumeratorHangs::handleOfARefreshThatHungIsClosedInTheEnd_data()
{
    QTest::addColumn<Make>("make");
    QTest::addColumn<QString>("call");
    QTest::addColumn<QString>("close");
#ifdef ORVENLINK_AIRSPYHF
    for (const char* call : {"airspyhf_open_sn", "airspyhf_version_string_read", "airspyhf_close"}) {
        QTest::newRow(call) << Make(&make<AirSpyHFEnumerator>) << QString::fromLatin1(call)
                            << QStringLiteral("airspyhf_close(dev1) = 0");
    }
#endif
#ifdef ORVENLINK_AIRSPY
    for (const char* call : {"airspy_open_sn", "airspy_version_string_read", "airspy_close"}) {
        QTest::newRow(call) << Make(&make<AirSpyEnumerator>) << QString::fromLatin1(call)
                            << QStringLiteral("airspy_close(dev1) = 0");
    }
#endif
}

void tst_EnumeratorHangs::handleOfARefreshThatHungIsClosedInTheEnd()
{
    QFETCH(Make, make);
    QFETCH(QString, call);
    QFETCH(QString, close);
    m_vendor.set(QStringLiteral("hang.") + call, 1);
    {
        const LogCapture log;
        EnumeratorRadioDevice registry(nullptr, {make});
        registry.refresh({});
        QCOMPARE(m_vendor.calls(close), QStringList());
    }
    m_vendor.remove(QStringLiteral("hang.") + call);
    QTRY_COMPARE(m_vendor.calls(close).size(), 1);
}

void tst_EnumeratorHangs::dongleThatHangsLeavesThoseBeforeItListed()
{
#ifdef ORVENLINK_RTLSDR
    m_vendor.set(QStringLiteral("devices"), 3);
    m_vendor.set(QStringLiteral("hang.rtlsdr_get_device_usb_strings.2"), 1);
    EnumeratorRadioDevice registry(nullptr, {&make<RtlUsbEnumerator>});
    const LogCapture log;
    registry.refresh({});
    QCOMPARE(registry.devices().size(), 1);
    QCOMPARE(registry.devices().at(0)->identificator, QStringLiteral("0"));
    QCOMPARE(warnings(log),
             (QStringList{isOut(QStringLiteral("rtlsdr_get_device_usb_strings")),
                          QStringLiteral("Unable to access rtlusb device # 1 Generic RTL2832U OEM"),
                          QStringLiteral("Unable to access rtlusb device # 2 ")}));
    m_vendor.remove(QStringLiteral("hang.rtlsdr_get_device_usb_strings.2"));
    QTRY_COMPARE(m_vendor.calls(QStringLiteral("rtlsdr_get_device_usb_strings(")).size(), 2);
#else
    QSKIP("Without the driver");
#endif
}

void tst_EnumeratorHangs::libraryThatTellsItsVersionLateLists()
{
    m_vendor.set(QStringLiteral("hang.mir_sdr_ApiVersion"), 1);
    const LogCapture log;
    QElapsedTimer elapsed;
    elapsed.start();
    EnumeratorRadioDevice registry(nullptr, {&make<RspEnumerator>});
    QVERIFY2(elapsed.elapsed() < kLongMs, qPrintable(QString::number(elapsed.elapsed())));
    QCOMPARE(warnings(log), (QStringList{isOut(QStringLiteral("mir_sdr_ApiVersion")),
                                         QStringLiteral("Error rsp library api version!")}));
    m_vendor.remove(QStringLiteral("hang.mir_sdr_ApiVersion"));
    QTRY_COMPARE(m_vendor.calls(QStringLiteral("mir_sdr_ApiVersion(")).size(), 1);
    QTRY_VERIFY((registry.refresh({}), registry.devices().size() == 1));
}

QTEST_GUILESS_MAIN(tst_EnumeratorHangs)
#include "tst_EnumeratorHangs.moc"
