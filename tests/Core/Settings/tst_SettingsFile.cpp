#include "Core/Settings/Settings.h"
#include "Core/Settings/SettingsFile.h"

#include <QSettings>
#include <QTemporaryDir>
#include <QtTest>

/// Each test puts something unusable in the place of the settings.
class tst_SettingsFile : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void damagedFileIsTold();
    void folderInPlaceOfFileIsTold();
    void fileInPlaceOfFolderIsTold();

private:
    QString m_folder;
};

namespace
{

void write(const QString& name, const QByteArray& content)
{
    QFile file(name);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(content);
}

} // namespace

void tst_SettingsFile::init()
{
    // QSettings keeps what it has read of a file by its name: a name of its own for each test.
    QCoreApplication::setApplicationName(QString::fromLatin1(QTest::currentTestFunction()));
    QCoreApplication::setOrganizationName(QString::fromLatin1(QTest::currentTestFunction()));
    m_folder = QFileInfo(SettingsFile::name()).absolutePath();
}

void tst_SettingsFile::damagedFileIsTold()
{
    QVERIFY(QDir().mkpath(m_folder));
    write(SettingsFile::name(), "no key, no value\n");
    QVERIFY(!Settings::check_settings());
    QCOMPARE(SettingsFile::trouble(), QStringLiteral("its content is damaged"));
}

void tst_SettingsFile::folderInPlaceOfFileIsTold()
{
    QVERIFY(QDir().mkpath(SettingsFile::name()));
    QVERIFY(!Settings::check_settings());
    QVERIFY2(SettingsFile::trouble().contains(QStringLiteral("directory")),
             qPrintable(SettingsFile::trouble()));
}

void tst_SettingsFile::fileInPlaceOfFolderIsTold()
{
    QVERIFY(QDir().mkpath(QFileInfo(m_folder).absolutePath()));
    write(m_folder, {});
    QVERIFY(!Settings::check_settings());
    QCOMPARE(SettingsFile::trouble(), QStringLiteral("the folder %1 can't be made").arg(m_folder));
}

QTEST_GUILESS_MAIN(tst_SettingsFile)
#include "tst_SettingsFile.moc"
