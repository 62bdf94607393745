#include "Core/Settings/Settings.h"

#include "support/LogCapture.h"

#include <QtTest>
#include <memory>

class tst_SettingsExport : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();

    void exportWritesExportedGroupAlone();
    void importBringsBackWhatExportWrote();
    void sentinelIsDroppedByExport();
    void sentinelIsDroppedByImport();
    void exportIntoFileThatCannotBeWrittenIsTold();
    void importOfMalformedFileIsToldForEachKey();
    void importIntoStoreThatCannotBeWrittenIsTold();
    void failingImportHasErasedOldValues();

private:
    [[nodiscard]] QString path(const QString& name) const { return m_folder->filePath(name); }

    std::unique_ptr<QTemporaryDir> m_folder;
};

void tst_SettingsExport::initTestCase()
{
    QCoreApplication::setOrganizationName(QStringLiteral("Maker"));
    QCoreApplication::setApplicationName(QStringLiteral("Program"));
}

void tst_SettingsExport::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    QVERIFY(m_folder->isValid());
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, m_folder->path());
}

void tst_SettingsExport::exportWritesExportedGroupAlone()
{
    Settings::write(QStringLiteral("a"), 1);
    Settings::privateWrite(QStringLiteral("b"), 2);
    Settings::oldPrivateWrite(QStringLiteral("c"), 3);
    QSettings().setValue(QStringLiteral("y/d"), 4);
    QSettings().setValue(QStringLiteral("y/sub/e"), 5);
    QVERIFY(Settings::exportSettings(path(QStringLiteral("out.ini"))));
    QFile file(path(QStringLiteral("out.ini")));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), QByteArray("[EXPORT]\nd=4\nsub\\e=5\n"));
}

void tst_SettingsExport::importBringsBackWhatExportWrote()
{
    QSettings().setValue(QStringLiteral("y/d"), QStringLiteral("four"));
    QSettings().setValue(QStringLiteral("y/sub/e"), 5);
    QVERIFY(Settings::exportSettings(path(QStringLiteral("out.ini"))));
    QSettings().setValue(QStringLiteral("y/d"), QStringLiteral("changed"));
    QSettings().setValue(QStringLiteral("y/later"), 1);
    Settings::write(QStringLiteral("a"), 1);
    const LogCapture log;
    QVERIFY(Settings::importSettings(path(QStringLiteral("out.ini"))));
    QCOMPARE(log.texts(), QStringList{QStringLiteral("*** *** Erase settings data")});
    const QSettings store;
    QCOMPARE(store.value(QStringLiteral("y/d")).toString(), QStringLiteral("four"));
    QCOMPARE(store.value(QStringLiteral("y/sub/e")).toInt(), 5);
    QVERIFY(!store.contains(QStringLiteral("y/later")));
    QCOMPARE(store.value(QStringLiteral("yn/a")).toInt(), 1);
}

void tst_SettingsExport::sentinelIsDroppedByExport()
{
    QSettings().setValue(QStringLiteral("y/a"), QStringLiteral("exportimportsettingsdefval"));
    QSettings().setValue(QStringLiteral("y/b"), 1);
    QVERIFY(Settings::exportSettings(path(QStringLiteral("out.ini"))));
    const QSettings file(path(QStringLiteral("out.ini")), QSettings::IniFormat);
    QCOMPARE(file.allKeys(), QStringList{QStringLiteral("EXPORT/b")});
}

void tst_SettingsExport::sentinelIsDroppedByImport()
{
    {
        QSettings file(path(QStringLiteral("in.ini")), QSettings::IniFormat);
        file.setValue(QStringLiteral("EXPORT/a"), QStringLiteral("exportimportsettingsdefval"));
        file.setValue(QStringLiteral("EXPORT/b"), 1);
    }
    QVERIFY(Settings::importSettings(path(QStringLiteral("in.ini"))));
    QCOMPARE(QSettings().allKeys(), QStringList{QStringLiteral("y/b")});
}

void tst_SettingsExport::exportIntoFileThatCannotBeWrittenIsTold()
{
    QSettings().setValue(QStringLiteral("y/a"), 1);
    QVERIFY(QDir().mkpath(path(QStringLiteral("out.ini"))));
    const LogCapture log;
    QVERIFY(!Settings::exportSettings(path(QStringLiteral("out.ini"))));
    const QStringList warnings = log.texts(QtWarningMsg);
    QCOMPARE(warnings.size(), 1);
    const QRegularExpression line(
        QStringLiteral("^\\[ W \\]\\[ Core/Settings/Settings \\] exportSettings : \\d+ =>\t "
                       "Error export settings, key: a status: QSettings::AccessError$"));
    QVERIFY2(line.match(warnings.constFirst()).hasMatch(), qPrintable(warnings.constFirst()));
}

void tst_SettingsExport::importOfMalformedFileIsToldForEachKey()
{
    QFile file(path(QStringLiteral("in.ini")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("[EXPORT]\na=1\nneither key nor value\n");
    file.close();
    const LogCapture log;
    QVERIFY(!Settings::importSettings(file.fileName()));
    const QStringList criticals = log.texts(QtCriticalMsg);
    QCOMPARE(criticals.size(), 1);
    const QRegularExpression line(
        QStringLiteral("^\\[ C \\]\\[ Core/Settings/Settings \\] importSettings : \\d+ =>\t "
                       "Error import settings, key: a status: QSettings::FormatError$"));
    QVERIFY2(line.match(criticals.constFirst()).hasMatch(), qPrintable(criticals.constFirst()));
    QCOMPARE(QSettings().value(QStringLiteral("y/a")).toInt(), 1);
}

void tst_SettingsExport::importIntoStoreThatCannotBeWrittenIsTold()
{
    QSettings(path(QStringLiteral("in.ini")), QSettings::IniFormat).setValue(QStringLiteral("EXPORT/a"), 1);
    // Its folder would lie below a file: that can't be made, not even by root.
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, path(QStringLiteral("in.ini")));
    const LogCapture log;
    QVERIFY(!Settings::importSettings(path(QStringLiteral("in.ini"))));
    const QStringList warnings = log.texts(QtWarningMsg);
    QCOMPARE(warnings.size(), 1);
    const QRegularExpression line(
        QStringLiteral("^\\[ W \\]\\[ Core/Settings/Settings \\] importSettings : \\d+ =>\t "
                       "Error import settings, key: a status: QSettings::AccessError$"));
    QVERIFY2(line.match(warnings.constFirst()).hasMatch(), qPrintable(warnings.constFirst()));
}

void tst_SettingsExport::failingImportHasErasedOldValues()
{
    QSettings().setValue(QStringLiteral("y/a"), 1);
    Settings::importSettings(path(QStringLiteral("nowhere.ini")));
    QVERIFY(!QSettings().contains(QStringLiteral("y/a")));
}

QTEST_GUILESS_MAIN(tst_SettingsExport)
#include "tst_SettingsExport.moc"
