#include "Core/Settings/Settings.h"

#include "support/LogCapture.h"

#include <QtTest>
#include <cmath>
#include <memory>
#include <sys/inotify.h>
#include <unistd.h>

namespace
{

const QString kKey = QStringLiteral("rtl0");

/// Counts how often the store's file is replaced on the disk, which it is at each write.
class WriteCounter
{
public:
    WriteCounter()
        : m_store(QSettings().fileName())
    {
        inotify_add_watch(m_notify, QFileInfo(m_store).path().toLocal8Bit().constData(), IN_MOVED_TO);
    }
    ~WriteCounter() { close(m_notify); }

    /// Since the last call.
    int count()
    {
        const QByteArray name = QFileInfo(m_store).fileName().toLocal8Bit();
        alignas(inotify_event) char buffer[16'384];
        const auto size = read(m_notify, buffer, sizeof(buffer));
        int writes = 0;
        for (qint64 at = 0; at < size;) {
            const auto* const event = reinterpret_cast<const inotify_event*>(buffer + at);
            writes += name == event->name ? 1 : 0;
            at += static_cast<qint64>(sizeof(inotify_event)) + event->len;
        }
        return writes;
    }

private:
    Q_DISABLE_COPY_MOVE(WriteCounter)
    const QString m_store;
    const int m_notify = inotify_init1(IN_NONBLOCK);
};

} // namespace

class Tuner : public QObject
{
    Q_OBJECT
    Q_PROPERTY(int gain MEMBER m_gain RESET resetGain)
    Q_PROPERTY(QString antenna MEMBER m_antenna RESET resetAntenna)
    Q_PROPERTY(double frequency MEMBER m_frequency RESET resetFrequency)
    Q_PROPERTY(bool agc MEMBER m_agc RESET resetAgc)
    Q_PROPERTY(int level MEMBER m_level)
    Q_PROPERTY(int serial READ serial RESET resetSerial)

public:
    int serial() const { return m_serial; }
    void resetGain() { m_gain = 7; }
    void resetAntenna() { m_antenna = QStringLiteral("A"); }
    void resetFrequency() { m_frequency = 1e6; }
    void resetAgc() { m_agc = false; }
    void resetSerial() { m_serial = 0; }

    int m_gain = 1;
    QString m_antenna = QStringLiteral("none");
    double m_frequency = 2.0;
    bool m_agc = true;
    int m_level = 5;
    int m_serial = 99;
};

class tst_SettingsProperties : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();

    void restoreOfKeyNeverSavedResetsEveryResettableProperty();
    void saveThenRestoreReturnsEachPersistentPropertyToItsValue();
    void saveStoresUnderKeyAndNameWhatIsWritableAndResettableAlone();
    void nullStringAtSaveIsToldAndLeavesStoredValue();
    void emptyStringIsSaved();
    void storedValueThatDoesNotFitIsToldAndOthersAreRestored();
    void saveWritesFileOnceHoweverManyPropertiesHaveChanged();
    void whatHasNotChangedIsNotWritten_data();
    void whatHasNotChangedIsNotWritten();
    void whatHasChangedInStoreMeanwhileIsWritten();
    void failedSaveNamesEachPropertyThatIsNotStored();

private:
    std::unique_ptr<QTemporaryDir> m_folder;
};

void tst_SettingsProperties::initTestCase()
{
    QCoreApplication::setOrganizationName(QStringLiteral("Maker"));
    QCoreApplication::setApplicationName(QStringLiteral("Program"));
}

void tst_SettingsProperties::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    QVERIFY(m_folder->isValid());
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, m_folder->path());
}

void tst_SettingsProperties::restoreOfKeyNeverSavedResetsEveryResettableProperty()
{
    Tuner tuner;
    const LogCapture log;
    Settings::restore(kKey, &tuner);
    QCOMPARE(tuner.m_gain, 7);
    QCOMPARE(tuner.m_antenna, QStringLiteral("A"));
    QCOMPARE(tuner.m_frequency, 1e6);
    QCOMPARE(tuner.m_agc, false);
    QCOMPARE(tuner.m_level, 5);
    QCOMPARE(tuner.m_serial, 99);
    QCOMPARE(log.texts(), QStringList{QStringLiteral("Load properties, key: rtl0 Tuner")});
}

void tst_SettingsProperties::saveThenRestoreReturnsEachPersistentPropertyToItsValue()
{
    Tuner saved;
    saved.m_gain = 42;
    saved.m_antenna = QStringLiteral("B, long wire");
    saved.m_frequency = 14074000.123456789;
    saved.m_agc = true;
    {
        const LogCapture log;
        Settings::save(kKey, &saved);
        QCOMPARE(log.texts(), QStringList{QStringLiteral("Save properties, key: rtl0 Tuner")});
    }
    Tuner restored;
    restored.resetAgc();
    Settings::restore(kKey, &restored);
    QCOMPARE(restored.m_gain, 42);
    QCOMPARE(restored.m_antenna, QStringLiteral("B, long wire"));
    QVERIFY(restored.m_frequency == saved.m_frequency);
    QCOMPARE(restored.m_agc, true);
}

void tst_SettingsProperties::saveStoresUnderKeyAndNameWhatIsWritableAndResettableAlone()
{
    Tuner tuner;
    Settings::save(kKey, &tuner);
    QSettings store;
    store.beginGroup(QStringLiteral("yn"));
    QStringList keys = store.allKeys();
    keys.sort();
    QCOMPARE(keys, (QStringList{QStringLiteral("rtl0b:agc"), QStringLiteral("rtl0b:antenna"),
                                QStringLiteral("rtl0b:frequency"), QStringLiteral("rtl0b:gain")}));
}

void tst_SettingsProperties::nullStringAtSaveIsToldAndLeavesStoredValue()
{
    Tuner tuner;
    Settings::save(kKey, &tuner);
    tuner.m_antenna = QString();
    tuner.m_frequency = 3.0;
    const LogCapture log;
    Settings::save(kKey, &tuner);
    const QStringList warnings = log.texts(QtWarningMsg);
    QCOMPARE(warnings.size(), 1);
    const QRegularExpression line(
        QStringLiteral("^\\[ W \\]\\[ Core/Settings/Settings \\] save : \\d+ =>\t "
                       "Error save property! Null or not valid! Key: rtl0, property: antenna, value: $"));
    QVERIFY2(line.match(warnings.constFirst()).hasMatch(), qPrintable(warnings.constFirst()));
    QCOMPARE(Settings::read(QStringLiteral("rtl0b:antenna"), QVariant()).toString(), QStringLiteral("none"));
    QCOMPARE(Settings::read(QStringLiteral("rtl0b:frequency"), QVariant()).toDouble(), 3.0);
}

void tst_SettingsProperties::emptyStringIsSaved()
{
    Tuner tuner;
    tuner.m_antenna = QStringLiteral("");
    Settings::save(kKey, &tuner);
    Tuner restored;
    Settings::restore(kKey, &restored);
    QCOMPARE(restored.m_antenna, QString());
}

void tst_SettingsProperties::storedValueThatDoesNotFitIsToldAndOthersAreRestored()
{
    Tuner tuner;
    Settings::save(kKey, &tuner);
    Settings::write(QStringLiteral("rtl0b:gain"), QStringLiteral("much"));
    Tuner restored;
    restored.m_gain = 3;
    restored.m_frequency = 0.0;
    const LogCapture log;
    Settings::restore(kKey, &restored);
    QCOMPARE(restored.m_gain, 3);
    QCOMPARE(restored.m_frequency, 2.0);
    const QStringList warnings = log.texts(QtWarningMsg);
    QCOMPARE(warnings.size(), 1);
    const QRegularExpression line(
        QStringLiteral("^\\[ W \\]\\[ Core/Settings/Settings \\] restore : \\d+ =>\t "
                       "Error load property! Key: rtl0, property: gain, value: much$"));
    QVERIFY2(line.match(warnings.constFirst()).hasMatch(), qPrintable(warnings.constFirst()));
}

void tst_SettingsProperties::saveWritesFileOnceHoweverManyPropertiesHaveChanged()
{
    QVERIFY(Settings::write(QStringLiteral("any"), 1)); // makes the folder
    WriteCounter writes;
    QVERIFY(Settings::write(QStringLiteral("any"), 2));
    QCOMPARE(writes.count(), 1);
    Tuner tuner;
    Settings::save(kKey, &tuner);
    QCOMPARE(writes.count(), 1);
    tuner.m_frequency = 7e6;
    tuner.m_gain = 9;
    Settings::save(kKey, &tuner);
    QCOMPARE(writes.count(), 1);
    QCOMPARE(Settings::read(QStringLiteral("rtl0b:frequency"), QVariant()).toDouble(), 7e6);
    QCOMPARE(Settings::read(QStringLiteral("rtl0b:gain"), QVariant()).toInt(), 9);
}

void tst_SettingsProperties::whatHasNotChangedIsNotWritten_data()
{
    QTest::addColumn<double>("frequency");
    QTest::addColumn<QString>("antenna");
    QTest::newRow("whole") << 14'074'000.0 << QStringLiteral("A");
    QTest::newRow("with all its digits") << 14'074'000.123456789 << QStringLiteral("B, \"long\" wire; ä");
    QTest::newRow("tiny") << 1e-300 << QStringLiteral("@Invalid()");
    QTest::newRow("large") << -9.007199254740993e18 << QStringLiteral("");
}

void tst_SettingsProperties::whatHasNotChangedIsNotWritten()
{
    QFETCH(const double, frequency);
    QFETCH(const QString, antenna);
    Tuner tuner;
    tuner.m_frequency = frequency;
    tuner.m_antenna = antenna;
    Settings::save(kKey, &tuner);
    WriteCounter writes;
    Settings::save(kKey, &tuner);
    QCOMPARE(writes.count(), 0);

    // Nor after the values have been read from the file, as text.
    QFile file(QSettings().fileName());
    QVERIFY(file.open(QIODevice::Append));
    QVERIFY(file.write("[other]\nkey=1\n") > 0);
    file.close();
    QCOMPARE(QSettings().value(QStringLiteral("other/key")).toString(), QStringLiteral("1"));
    Settings::save(kKey, &tuner);
    QCOMPARE(writes.count(), 0);

    tuner.m_frequency = std::nextafter(frequency, 1.0);
    Settings::save(kKey, &tuner);
    QCOMPARE(writes.count(), 1);
}

void tst_SettingsProperties::whatHasChangedInStoreMeanwhileIsWritten()
{
    Tuner tuner;
    Settings::save(kKey, &tuner);
    QVERIFY(Settings::write(QStringLiteral("rtl0b:gain"), 5));
    QVERIFY(Settings::write(QStringLiteral("rtl0b:antenna"),
                            QStringList{QStringLiteral("x"), QStringLiteral("y")}));
    Settings::save(kKey, &tuner);
    Tuner restored;
    restored.resetGain();
    Settings::restore(kKey, &restored);
    QCOMPARE(restored.m_gain, 1);
    QCOMPARE(restored.m_antenna, QStringLiteral("none"));
}

void tst_SettingsProperties::failedSaveNamesEachPropertyThatIsNotStored()
{
    QFile file(m_folder->filePath(QStringLiteral("file")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, file.fileName());
    Tuner tuner;
    const LogCapture log;
    Settings::save(kKey, &tuner);
    const QStringList errors = log.texts(QtCriticalMsg);
    QCOMPARE(errors.size(), 4);
    int number = 0;
    for (const char* const name : {"gain", "antenna", "frequency", "agc"}) {
        const QRegularExpression line(
            QStringLiteral("^\\[ C \\]\\[ Core/Settings/Settings \\] write : \\d+ =>\t "
                           "Error write settings, key: rtl0b:%1 status: QSettings::AccessError$")
                .arg(QLatin1String(name)));
        QVERIFY2(line.match(errors[number]).hasMatch(), qPrintable(errors[number]));
        ++number;
    }
}

QTEST_GUILESS_MAIN(tst_SettingsProperties)
#include "tst_SettingsProperties.moc"
