#include "RadioDevice/Vendor/UsbHolders.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

class tst_UsbHolders : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void processThatHoldsDeviceIsNamed();
    void processesThatHoldOtherFilesAreNot();
    void thisProcessIsNot();
    void nobodyCanBeSeenWhereThereAreNoDevices();

private:
    [[nodiscard]] QString device(const char* name) const { return m_folder->filePath(QLatin1String(name)); }
    [[nodiscard]] QString describe() const { return UsbHolders::describe(m_folder->filePath(kDevices)); }
    /// Holds a file open until it is told a line.
    void hold(QProcess& process, const QString& file) const;

    const QString kDevices = QStringLiteral("usb");
    const QString kNobody = QStringLiteral("in use by a process that can't be seen from here");

    std::unique_ptr<QTemporaryDir> m_folder;
};

void tst_UsbHolders::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    QVERIFY(QDir(m_folder->path()).mkpath(kDevices + QStringLiteral("/001")));
    for (const char* name : {"usb/001/002", "usbmon"}) {
        QFile file(device(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
    }
}

void tst_UsbHolders::hold(QProcess& process, const QString& file) const
{
    process.start(QStringLiteral("sh"),
                  {QStringLiteral("-c"), QStringLiteral("exec 3<\"$0\"; echo holding; read line"), file});
    QVERIFY(process.waitForReadyRead());
}

void tst_UsbHolders::processThatHoldsDeviceIsNamed()
{
    QProcess process;
    hold(process, device("usb/001/002"));
    QCOMPARE(describe(),
             QStringLiteral("in use; processes that hold USB devices: %1 (sh)").arg(process.processId()));
    process.write("\n");
    QVERIFY(process.waitForFinished());
    QCOMPARE(describe(), kNobody);
}

void tst_UsbHolders::processesThatHoldOtherFilesAreNot()
{
    QProcess process;
    hold(process, device("usbmon"));
    QCOMPARE(describe(), kNobody);
    process.write("\n");
    QVERIFY(process.waitForFinished());
}

void tst_UsbHolders::thisProcessIsNot()
{
    QFile file(device("usb/001/002"));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(describe(), kNobody);
}

void tst_UsbHolders::nobodyCanBeSeenWhereThereAreNoDevices()
{
    QCOMPARE(UsbHolders::describe(device("nowhere")), kNobody);
}

QTEST_GUILESS_MAIN(tst_UsbHolders)
#include "tst_UsbHolders.moc"
