#include "Core/Settings/Settings.h"

#include "support/LogCapture.h"

#include <QtTest>
#include <memory>

namespace
{

const QString kKey = QStringLiteral("rtl0");

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

    void restoreOfAKeyNeverSavedResetsEveryResettableProperty();
    void saveThenRestoreReturnsEachPersistentPropertyToItsValue();
    void saveStoresUnderKeyAndNameWhatIsWritableAndResettableAlone();
    void aNullStringAtSaveIsToldAndLeavesTheStoredValue();
    void anEmptyStringIsSaved();
    void aStoredValueThatDoesNotFitIsToldAndTheOthersAreRestored();

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

void tst_SettingsProperties::restoreOfAKeyNeverSavedResetsEveryResettableProperty()
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

void tst_SettingsProperties::aNullStringAtSaveIsToldAndLeavesTheStoredValue()
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

void tst_SettingsProperties::anEmptyStringIsSaved()
{
    Tuner tuner;
    tuner.m_antenna = QStringLiteral("");
    Settings::save(kKey, &tuner);
    Tuner restored;
    Settings::restore(kKey, &restored);
    QCOMPARE(restored.m_antenna, QString());
}

void tst_SettingsProperties::aStoredValueThatDoesNotFitIsToldAndTheOthersAreRestored()
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

QTEST_GUILESS_MAIN(tst_SettingsProperties)
#include "tst_SettingsProperties.moc"
