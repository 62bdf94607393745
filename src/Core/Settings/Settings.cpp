#include "Core/Settings/Settings.h"

#include "Core/Log/ForeignText.h"
#include "Core/Log/Log.h"
#include "Core/Log/LogLimiter.h"

#include <QMetaProperty>
#include <QSettings>
#include <limits>

namespace
{

const QLatin1String kOrdinaryGroup("yn");
const QLatin1String kPrivateGroup("pn");
const QLatin1String kOldPrivateGroup("p");
const QLatin1String kExportedGroup("y");
const QLatin1String kFileGroup("EXPORT");
const QLatin1String kCheckKey("check_settings");

// Tells a key that vanished between the listing and the read.
const QLatin1String kMissing("exportimportsettingsdefval");

// QSettings knows of no failure until it has accessed the disk.
QSettings::Status syncedStatus(QSettings& settings)
{
    settings.sync();
    return settings.status();
}

QVariant readIn(QLatin1String group, const char* function, const QString& key, const QVariant& defaultValue)
{
    QSettings settings;
    settings.beginGroup(group);
    QVariant value = settings.value(key, defaultValue);
    const QSettings::Status status = syncedStatus(settings);
    if (status != QSettings::NoError) {
        LOG_LIMITED(Log::critical(__FILE__, function, __LINE__))
            << "Error read settings, key:" << key << "status:" << status;
    }
    return value;
}

void logWriteError(const char* function, const QString& key, QSettings::Status status)
{
    LOG_LIMITED(Log::critical(__FILE__, function, __LINE__))
        << "Error write settings, key:" << key << "status:" << status;
}

bool writeIn(QLatin1String group, const char* function, const QString& key, const QVariant& value)
{
    QSettings settings;
    settings.beginGroup(group);
    settings.setValue(key, value);
    const QSettings::Status status = syncedStatus(settings);
    if (status != QSettings::NoError) {
        logWriteError(function, key, status);
    }
    return status == QSettings::NoError;
}

// The types of property that the store keeps as plain text.
bool isText(const QVariant& value)
{
    switch (static_cast<QMetaType::Type>(value.type())) {
    case QMetaType::Bool:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Double:
    case QMetaType::QString:
        return true;
    default:
        return false;
    }
}

// Whether writing `value` would leave the store as it is. What was read from the disk is text, whatever it
// was when it was written.
bool isStored(const QVariant& stored, const QVariant& value)
{
    return isText(stored) && isText(value) && stored.toString() == value.toString();
}

QVariant valueIn(QLatin1String group, QSettings& settings, const QString& key)
{
    settings.beginGroup(group);
    QVariant value = settings.value(key, kMissing);
    settings.endGroup();
    return value;
}

void setValueIn(QLatin1String group, QSettings& settings, const QString& key, const QVariant& value)
{
    settings.beginGroup(group);
    settings.setValue(key, value);
    settings.endGroup();
}

QStringList keysIn(QLatin1String group, QSettings& settings)
{
    settings.beginGroup(group);
    QStringList keys = settings.allKeys();
    settings.endGroup();
    return keys;
}

// Resettable is the mark of a property that persists.
bool isPersistent(const QMetaProperty& property)
{
    return property.isWritable() && property.isResettable();
}

QString propertyKey(const QString& key, const QMetaProperty& property)
{
    return key + QLatin1String("b:") + QString::fromUtf8(property.name());
}

} // namespace

bool Settings::check_settings()
{
    QSettings settings;
    const qint64 checks = settings.value(kCheckKey, 0).toLongLong();
    if (syncedStatus(settings) != QSettings::NoError) {
        return false;
    }
    // The count stays at the largest number there is; that it can be written is proved all the same.
    settings.setValue(kCheckKey, checks < std::numeric_limits<qint64>::max() ? checks + 1 : checks);
    return syncedStatus(settings) == QSettings::NoError;
}

QVariant Settings::read(const QString& key, const QVariant& defaultValue)
{
    return readIn(kOrdinaryGroup, __func__, key, defaultValue);
}

bool Settings::write(const QString& key, const QVariant& value)
{
    return writeIn(kOrdinaryGroup, __func__, key, value);
}

QVariant Settings::privateRead(const QString& key, const QVariant& defaultValue)
{
    return readIn(kPrivateGroup, __func__, key, defaultValue);
}

bool Settings::privateWrite(const QString& key, const QVariant& value)
{
    return writeIn(kPrivateGroup, __func__, key, value);
}

QVariant Settings::oldPrivateRead(const QString& key, const QVariant& defaultValue)
{
    return readIn(kOldPrivateGroup, __func__, key, defaultValue);
}

bool Settings::oldPrivateWrite(const QString& key, const QVariant& value)
{
    return writeIn(kOldPrivateGroup, __func__, key, value);
}

void Settings::restore(const QString& key, QObject* object)
{
    const QMetaObject* const meta = object->metaObject();
    LOG_DEBUG()
        << QStringLiteral("Load properties, key: %1 %2").arg(key, QString::fromUtf8(meta->className()));
    for (int i = 0; i < meta->propertyCount(); ++i) {
        const QMetaProperty property = meta->property(i);
        if (!isPersistent(property)) {
            continue;
        }
        const QVariant value = read(propertyKey(key, property), QVariant());
        if (!value.isValid()) {
            if (!property.reset(object)) {
                LOG_LIMITED(LOG_WARNING()) << QStringLiteral("Error reset property! Key: %1, property: %2")
                                                  .arg(key, QString::fromUtf8(property.name()));
            }
        } else if (!property.write(object, value)) {
            LOG_LIMITED(LOG_WARNING())
                << QStringLiteral("Error load property! Key: %1, property: %2, value: %3")
                       .arg(key, QString::fromUtf8(property.name()), foreignText(value.toString()));
        }
    }
}

void Settings::save(const QString& key, QObject* object)
{
    const QMetaObject* const meta = object->metaObject();
    LOG_DEBUG()
        << QStringLiteral("Save properties, key: %1 %2").arg(key, QString::fromUtf8(meta->className()));
    // One access to the disk for all: each costs the event loop milliseconds.
    QSettings settings;
    settings.beginGroup(kOrdinaryGroup);
    QStringList written;
    for (int i = 0; i < meta->propertyCount(); ++i) {
        const QMetaProperty property = meta->property(i);
        if (!isPersistent(property)) {
            continue;
        }
        const QVariant value = property.read(object);
        if (value.isValid() && !value.isNull()) {
            const QString name = propertyKey(key, property);
            if (!isStored(settings.value(name), value)) {
                settings.setValue(name, value);
                written.append(name);
            }
        } else {
            LOG_LIMITED(LOG_WARNING())
                << QStringLiteral("Error save property! Null or not valid! Key: %1, property: %2, value: %3")
                       .arg(key, QString::fromUtf8(property.name()), foreignText(value.toString()));
        }
    }
    if (written.isEmpty()) {
        return;
    }
    const QSettings::Status status = syncedStatus(settings);
    if (status != QSettings::NoError) {
        for (const QString& name : qAsConst(written)) {
            logWriteError("write", name, status);
        }
    }
}

void Settings::eraseAll()
{
    LOG_DEBUG() << "*** *** Erase all settings data";
    QSettings().clear();
}

void Settings::erase()
{
    LOG_DEBUG() << "*** *** Erase settings data";
    QSettings settings;
    settings.beginGroup(kExportedGroup);
    settings.remove(QString());
    settings.endGroup();
}

bool Settings::exportSettings(const QString& fileName)
{
    QSettings settings;
    QSettings file(fileName, QSettings::IniFormat);
    bool result = true;
    const QStringList keys = keysIn(kExportedGroup, settings);
    for (const QString& key : keys) {
        const QVariant value = valueIn(kExportedGroup, settings, key);
        QSettings::Status status = syncedStatus(settings);
        if (status != QSettings::NoError) {
            LOG_WARNING() << "Error export settings, key:" << key << "status:" << status;
            result = false;
        }
        if (value.toString() == kMissing) {
            continue;
        }
        setValueIn(kFileGroup, file, key, value);
        status = syncedStatus(file);
        if (status != QSettings::NoError) {
            LOG_WARNING() << "Error export settings, key:" << key << "status:" << status;
            result = false;
        }
    }
    return result;
}

bool Settings::importSettings(const QString& fileName)
{
    erase();
    QSettings settings;
    QSettings file(fileName, QSettings::IniFormat);
    bool result = true;
    const QStringList keys = keysIn(kFileGroup, file);
    for (const QString& key : keys) {
        const QVariant value = valueIn(kFileGroup, file, key);
        QSettings::Status status = syncedStatus(file);
        if (status != QSettings::NoError) {
            LOG_CRITICAL() << "Error import settings, key:" << key << "status:" << status;
            result = false;
        }
        if (value.toString() == kMissing) {
            continue;
        }
        setValueIn(kExportedGroup, settings, key, value);
        status = syncedStatus(settings);
        if (status != QSettings::NoError) {
            LOG_WARNING() << "Error import settings, key:" << key << "status:" << status;
            result = false;
        }
    }
    return result;
}
