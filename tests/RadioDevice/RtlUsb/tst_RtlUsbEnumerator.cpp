#include "Core/RadioDevice/Enumerator/EnumeratorRadioDevice.h"
#include "RadioDevice/RtlUsb/RtlUsbEnumerator.h"
#include "RadioDevice/RtlUsb/RtlUsbRadioDevice.h"

#include "support/FakeVendor.h"
#include "support/LogCapture.h"

#include <QtTest>

class tst_RtlUsbEnumerator : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void noDongleAddsAndLogsNothing();
    void dongleIsListedByItsIndex();
    void eachDongleIsListedOnceEvenWithOneSerial();
    void dongleWithoutReadableStringsIsSkipped();
    void dongleIsNotOpened();
    void stringsThatFillTheirBuffersAreCutAtTheirEnd();
    void emptyStringsStayEmpty();
    void stringsThatAreNotUtf8AreListed();
    void countThatCannotBeIsNotBelieved();
    void dongleThatHangsLeavesThoseBeforeItListed();

private:
    static QList<QSharedPointer<InfoRadioDevice>> list();

    FakeVendor m_vendor;
};

void tst_RtlUsbEnumerator::init()
{
    m_vendor.reset();
}

QList<QSharedPointer<InfoRadioDevice>> tst_RtlUsbEnumerator::list()
{
    EnumeratorRadioDevice registry(nullptr, {});
    RtlUsbEnumerator enumerator(&registry);
    enumerator.refresh();
    return registry.devices();
}

void tst_RtlUsbEnumerator::noDongleAddsAndLogsNothing()
{
    m_vendor.set(QStringLiteral("devices"), 0);
    EnumeratorRadioDevice registry(nullptr, {});
    RtlUsbEnumerator enumerator(&registry);
    QCOMPARE(enumerator.type(), DefRadioDevice::RtlUsb);
    const LogCapture log;
    enumerator.refresh();
    QVERIFY(registry.devices().isEmpty());
    QCOMPARE(log.texts(), QStringList());
    QCOMPARE(m_vendor.calls(), QStringList{QStringLiteral("rtlsdr_get_device_count() = 0")});
}

void tst_RtlUsbEnumerator::dongleIsListedByItsIndex()
{
    const auto devices = list();
    QCOMPARE(devices.size(), 1);
    const auto& info = devices.constFirst();
    QVERIFY(info.dynamicCast<RtlUsbRadioDevice::DeviceInfo>() != nullptr);
    QCOMPARE(info->type(), 5);
    QCOMPARE(info->title, QStringLiteral("RTL-SDR"));
    QCOMPARE(info->description, QStringLiteral("Realtek RTL2838UHIDIR S/N: 00000001"));
    QCOMPARE(info->identificator, QStringLiteral("0"));
    QCOMPARE(m_vendor.calls(), (QStringList{QStringLiteral("rtlsdr_get_device_count() = 1"),
                                            QStringLiteral("rtlsdr_get_device_name(0)"),
                                            QStringLiteral("rtlsdr_get_device_usb_strings(0) = 0")}));
}

void tst_RtlUsbEnumerator::eachDongleIsListedOnceEvenWithOneSerial()
{
    m_vendor.set(QStringLiteral("devices"), 3);
    const LogCapture log;
    const auto devices = list();
    QCOMPARE(devices.size(), 3);
    for (int i = 0; i < 3; ++i) {
        QCOMPARE(devices.at(i)->identificator, QString::number(i));
    }
    QCOMPARE(log.texts(QtWarningMsg), QStringList());
}

void tst_RtlUsbEnumerator::dongleWithoutReadableStringsIsSkipped()
{
    m_vendor.set(QStringLiteral("devices"), 3);
    m_vendor.set(QStringLiteral("rtlsdr_get_device_usb_strings.2"), -3);
    const LogCapture log;
    const auto devices = list();
    QCOMPARE(devices.size(), 2);
    QCOMPARE(devices.at(0)->identificator, QStringLiteral("0"));
    QCOMPARE(devices.at(1)->identificator, QStringLiteral("2"));
    const QStringList warnings = log.texts(QtWarningMsg);
    QCOMPARE(warnings.size(), 1);
    QVERIFY2(warnings.constFirst().startsWith(
                 QLatin1String("[ W ][ RadioDevice/RtlUsb/RtlUsbEnumerator ] refresh : ")),
             qPrintable(warnings.constFirst()));
    QVERIFY2(warnings.constFirst().endsWith(
                 QLatin1String(" =>\t Unable to access rtlusb device # 1 Generic RTL2832U OEM")),
             qPrintable(warnings.constFirst()));
}

void tst_RtlUsbEnumerator::dongleIsNotOpened()
{
    QCOMPARE(list().size(), 1);
    QCOMPARE(m_vendor.calls(QStringLiteral("rtlsdr_open")), QStringList());
}

void tst_RtlUsbEnumerator::stringsThatFillTheirBuffersAreCutAtTheirEnd()
{
    m_vendor.set(QStringLiteral("rtlsdr.strings"), QStringLiteral("full"));
    const auto devices = list();
    const QString full(256, QLatin1Char('x'));
    QCOMPARE(devices.constFirst()->description,
             full + QLatin1Char(' ') + full + QStringLiteral(" S/N: ") + full);
}

void tst_RtlUsbEnumerator::emptyStringsStayEmpty()
{
    for (const char* key : {"rtlsdr.manufacturer", "rtlsdr.product", "rtlsdr.serial"}) {
        m_vendor.set(QLatin1String(key), QString());
    }
    QCOMPARE(list().constFirst()->description, QStringLiteral("  S/N: "));
}

void tst_RtlUsbEnumerator::stringsThatAreNotUtf8AreListed()
{
    m_vendor.setBytes(QStringLiteral("rtlsdr.product"), QByteArray("a\xff\xfe\xc3(b"));
    const auto devices = list();
    QCOMPARE(devices.size(), 1);
    QCOMPARE(devices.constFirst()->description,
             QStringLiteral("Realtek a%1%1%1(b S/N: 00000001").arg(QChar(QChar::ReplacementCharacter)));
}

void tst_RtlUsbEnumerator::countThatCannotBeIsNotBelieved()
{
    m_vendor.set(QStringLiteral("rtlsdr_get_device_count"), -1);
    m_vendor.set(QStringLiteral("rtlsdr_get_device_usb_strings"), -1);
    const LogCapture log;
    QVERIFY(list().isEmpty());
    QCOMPARE(log.texts(QtWarningMsg).size(), 256);
}

void tst_RtlUsbEnumerator::dongleThatHangsLeavesThoseBeforeItListed()
{
    const QString hang = QStringLiteral("hang.rtlsdr_get_device_usb_strings.2");
    m_vendor.set(QStringLiteral("devices"), 3);
    m_vendor.set(hang, 1);
    EnumeratorRadioDevice registry(nullptr, {});
    RtlUsbEnumerator enumerator(&registry, {std::chrono::milliseconds(150), std::chrono::milliseconds(150)});
    const LogCapture log;
    enumerator.refresh();
    QCOMPARE(registry.devices().size(), 1);
    QCOMPARE(registry.devices().at(0)->identificator, QStringLiteral("0"));
    const QStringList warnings = log.texts(QtWarningMsg);
    const QStringList ends{
        QStringLiteral("The receiver's library doesn't come back: rtlsdr_get_device_usb_strings"),
        QStringLiteral("Unable to access rtlusb device # 1 Generic RTL2832U OEM"),
        QStringLiteral("Unable to access rtlusb device # 2 ")};
    QCOMPARE(warnings.size(), ends.size());
    for (int i = 0; i < ends.size(); ++i) {
        QVERIFY2(warnings.at(i).endsWith(ends.at(i)), qPrintable(warnings.at(i)));
    }
    m_vendor.remove(hang);
    QTRY_COMPARE(m_vendor.calls(QStringLiteral("rtlsdr_get_device_usb_strings(")).size(), 2);
}

QTEST_GUILESS_MAIN(tst_RtlUsbEnumerator)
#include "tst_RtlUsbEnumerator.moc"
