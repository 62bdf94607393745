#pragma once

#include <QVariant>

class QObject;
class QString;

/// The persistent key-value store of the process, at QSettings's default place for the organisation and
/// application names. Ordinary and private values live in groups of their own. Values are stored as
/// QSettings stores them; a write is on disk when its operation returns.
/// Thread: any; each operation opens the store for itself.
/// Errors: a log line with QSettings's status, and the value QSettings gave, or false.
class Settings
{
public:
    Settings() = delete;

    /// Proves that the store can be read and written, by counting up the key "check_settings", as far as 64
    /// bits go; false is the only report.
    [[nodiscard]] static bool check_settings();

    /// Ordinary values, the properties of workers among them.
    [[nodiscard]] static QVariant read(const QString& key, const QVariant& defaultValue);
    static bool write(const QString& key, const QVariant& value);

    /// Private values, such as the server's identity: neither exported nor erased by `erase`.
    [[nodiscard]] static QVariant privateRead(const QString& key, const QVariant& defaultValue);
    static bool privateWrite(const QString& key, const QVariant& value);

    /// Private values under the older group.
    [[nodiscard]] static QVariant oldPrivateRead(const QString& key, const QVariant& defaultValue);
    static bool oldPrivateWrite(const QString& key, const QVariant& value);

    /// Gives each writable and resettable property of `object` the value stored under `key`; one without a
    /// stored value is reset. A failure affects only its own property. On the object's thread.
    static void restore(const QString& key, QObject* object);

    /// Stores each writable and resettable property of `object` under `key`; null values are not stored, and
    /// what is stored already is left alone. On the object's thread.
    static void save(const QString& key, QObject* object);

    /// Empties the whole store, private values included.
    static void eraseAll();

    /// Empties the group that `exportSettings` and `importSettings` work on.
    static void erase();

    /// Copies the group "y" into the INI file, and back. The import erases the group before it looks at
    /// the file. False if a step failed; the others are done all the same.
    static bool exportSettings(const QString& fileName);
    static bool importSettings(const QString& fileName);
};
