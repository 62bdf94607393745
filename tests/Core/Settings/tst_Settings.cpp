#include "Core/Settings/Settings.h"

#include "support/LogCapture.h"

#include <QtTest>
#include <limits>
#include <memory>
#include <thread>
#include <vector>

namespace
{

const QString kKey = QStringLiteral("rtl0");

using Read = QVariant (*)(const QString&, const QVariant&);
using Write = bool (*)(const QString&, const QVariant&);

} // namespace

Q_DECLARE_METATYPE(Read)
Q_DECLARE_METATYPE(Write)

class tst_Settings : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();

    void checkCountsChecksThatSucceeded();
    void checkCountsNoFurtherThanToLargestNumber();
    void checkFindsStoreThatCannotBeRead();
    void checkFindsStoreThatCannotBeWritten();

    void eachPairOfOperationsHasGroupOfItsOwn();
    void missingKeyGivesDefault();
    void writeIsInFileWhenItReturns();
    void failedReadNamesOperationKeyAndStatus_data();
    void failedReadNamesOperationKeyAndStatus();
    void failedWriteNamesOperationKeyAndStatus_data();
    void failedWriteNamesOperationKeyAndStatus();
    void manyThreadsMayWriteAtOnce();

    void eraseEmptiesExportedGroupAlone();
    void eraseAllRemovesPrivateValuesAndCheckToo();

private:
    [[nodiscard]] QString path(const QString& name) const { return m_folder->filePath(name); }
    void placeStoreUnderFile();
    void placeFolderWhereStoreIs();

    std::unique_ptr<QTemporaryDir> m_folder;
};

void tst_Settings::initTestCase()
{
    QCoreApplication::setOrganizationName(QStringLiteral("Maker"));
    QCoreApplication::setApplicationName(QStringLiteral("Program"));
}

void tst_Settings::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    QVERIFY(m_folder->isValid());
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, m_folder->path());
}

// A store that reads as empty and can't be made, not even by root: its folder would be below a file.
void tst_Settings::placeStoreUnderFile()
{
    QFile file(path(QStringLiteral("file")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, file.fileName());
}

void tst_Settings::placeFolderWhereStoreIs()
{
    QVERIFY(QDir().mkpath(QSettings().fileName()));
}

void tst_Settings::checkCountsChecksThatSucceeded()
{
    QVERIFY(Settings::check_settings());
    QCOMPARE(QSettings().value(QStringLiteral("check_settings")).toLongLong(), 1);
    QVERIFY(Settings::check_settings());
    QCOMPARE(QSettings().value(QStringLiteral("check_settings")).toLongLong(), 2);

    QSettings().setValue(QStringLiteral("check_settings"), 3000000000LL);
    QVERIFY(Settings::check_settings());
    QCOMPARE(QSettings().value(QStringLiteral("check_settings")).toLongLong(), 3000000001LL);
}

void tst_Settings::checkCountsNoFurtherThanToLargestNumber()
{
    constexpr qint64 kLargest = std::numeric_limits<qint64>::max();
    QSettings().setValue(QStringLiteral("check_settings"), kLargest - 1);
    for (int i = 0; i < 3; ++i) {
        QVERIFY(Settings::check_settings());
        QCOMPARE(QSettings().value(QStringLiteral("check_settings")).toLongLong(), kLargest);
    }
}

void tst_Settings::checkFindsStoreThatCannotBeRead()
{
    placeFolderWhereStoreIs();
    const LogCapture log;
    QVERIFY(!Settings::check_settings());
    QCOMPARE(log.texts(), QStringList());
}

void tst_Settings::checkFindsStoreThatCannotBeWritten()
{
    placeStoreUnderFile();
    const LogCapture log;
    QVERIFY(!Settings::check_settings());
    QCOMPARE(log.texts(), QStringList());
}

void tst_Settings::eachPairOfOperationsHasGroupOfItsOwn()
{
    QVERIFY(Settings::write(kKey, 1));
    QVERIFY(Settings::privateWrite(kKey, 2));
    QVERIFY(Settings::oldPrivateWrite(kKey, 3));
    const QSettings store;
    QCOMPARE(store.value(QStringLiteral("yn/rtl0")).toInt(), 1);
    QCOMPARE(store.value(QStringLiteral("pn/rtl0")).toInt(), 2);
    QCOMPARE(store.value(QStringLiteral("p/rtl0")).toInt(), 3);
    QCOMPARE(store.allKeys().size(), 3);
    QCOMPARE(Settings::read(kKey, 0).toInt(), 1);
    QCOMPARE(Settings::privateRead(kKey, 0).toInt(), 2);
    QCOMPARE(Settings::oldPrivateRead(kKey, 0).toInt(), 3);
}

void tst_Settings::missingKeyGivesDefault()
{
    const LogCapture log;
    QCOMPARE(Settings::read(kKey, QStringLiteral("d")).toString(), QStringLiteral("d"));
    QVERIFY(!Settings::read(kKey, QVariant()).isValid());
    QCOMPARE(Settings::privateRead(kKey, 5).toInt(), 5);
    QCOMPARE(Settings::oldPrivateRead(kKey, 6).toInt(), 6);
    QCOMPARE(log.texts(), QStringList());
}

void tst_Settings::writeIsInFileWhenItReturns()
{
    QVERIFY(Settings::write(QStringLiteral("rate"), 2400000));
    QFile file(path(QStringLiteral("Maker/Program.conf")));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), QByteArray("[yn]\nrate=2400000\n"));
}

void tst_Settings::failedReadNamesOperationKeyAndStatus_data()
{
    QTest::addColumn<Read>("operation");
    QTest::newRow("read") << Read(&Settings::read);
    QTest::newRow("privateRead") << Read(&Settings::privateRead);
    QTest::newRow("oldPrivateRead") << Read(&Settings::oldPrivateRead);
}

void tst_Settings::failedReadNamesOperationKeyAndStatus()
{
    QFETCH(Read, operation);
    placeFolderWhereStoreIs();
    const LogCapture log;
    QCOMPARE(operation(kKey, 11).toInt(), 11);
    QCOMPARE(log.texts().size(), 1);
    QCOMPARE(log.records().constFirst().type, QtCriticalMsg);
    const QRegularExpression line(
        QStringLiteral("^\\[ C \\]\\[ Core/Settings/Settings \\] %1 : \\d+ =>\t "
                       "Error read settings, key: rtl0 status: QSettings::AccessError$")
            .arg(QString::fromUtf8(QTest::currentDataTag())));
    QVERIFY2(line.match(log.texts().constFirst()).hasMatch(), qPrintable(log.texts().constFirst()));
}

void tst_Settings::failedWriteNamesOperationKeyAndStatus_data()
{
    QTest::addColumn<Write>("operation");
    QTest::newRow("write") << Write(&Settings::write);
    QTest::newRow("privateWrite") << Write(&Settings::privateWrite);
    QTest::newRow("oldPrivateWrite") << Write(&Settings::oldPrivateWrite);
}

void tst_Settings::failedWriteNamesOperationKeyAndStatus()
{
    QFETCH(Write, operation);
    placeStoreUnderFile();
    const LogCapture log;
    QVERIFY(!operation(kKey, 11));
    QCOMPARE(log.texts().size(), 1);
    QCOMPARE(log.records().constFirst().type, QtCriticalMsg);
    const QRegularExpression line(
        QStringLiteral("^\\[ C \\]\\[ Core/Settings/Settings \\] %1 : \\d+ =>\t "
                       "Error write settings, key: rtl0 status: QSettings::AccessError$")
            .arg(QString::fromUtf8(QTest::currentDataTag())));
    QVERIFY2(line.match(log.texts().constFirst()).hasMatch(), qPrintable(log.texts().constFirst()));
}

void tst_Settings::manyThreadsMayWriteAtOnce()
{
    constexpr int kThreads = 4;
    constexpr int kWrites = 10;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t] {
            for (int i = 0; i < kWrites; ++i) {
                Settings::write(QStringLiteral("%1-%2").arg(t).arg(i), t * 100 + i);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (int t = 0; t < kThreads; ++t) {
        for (int i = 0; i < kWrites; ++i) {
            QCOMPARE(Settings::read(QStringLiteral("%1-%2").arg(t).arg(i), -1).toInt(), t * 100 + i);
        }
    }
}

void tst_Settings::eraseEmptiesExportedGroupAlone()
{
    QSettings().setValue(QStringLiteral("y/a"), 1);
    QSettings().setValue(QStringLiteral("y/sub/b"), 1);
    Settings::write(kKey, 1);
    Settings::privateWrite(kKey, 2);
    Settings::oldPrivateWrite(kKey, 3);
    QVERIFY(Settings::check_settings());
    const LogCapture log;
    Settings::erase();
    QCOMPARE(log.texts(), QStringList{QStringLiteral("*** *** Erase settings data")});
    QStringList keys = QSettings().allKeys();
    keys.sort();
    QCOMPARE(keys, (QStringList{QStringLiteral("check_settings"), QStringLiteral("p/rtl0"),
                                QStringLiteral("pn/rtl0"), QStringLiteral("yn/rtl0")}));
}

void tst_Settings::eraseAllRemovesPrivateValuesAndCheckToo()
{
    QVERIFY(Settings::check_settings());
    Settings::write(kKey, 1);
    Settings::privateWrite(kKey, 2);
    Settings::oldPrivateWrite(kKey, 3);
    const LogCapture log;
    Settings::eraseAll();
    QCOMPARE(log.texts(), QStringList{QStringLiteral("*** *** Erase all settings data")});
    QCOMPARE(QSettings().allKeys(), QStringList());
}

QTEST_GUILESS_MAIN(tst_Settings)
#include "tst_Settings.moc"
