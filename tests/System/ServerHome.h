#pragma once

#include <QProcessEnvironment>
#include <QTemporaryDir>
#include <QVariant>

/// The home folder of one server of a test: its settings store and its recordings. Gone with the object.
class ServerHome
{
public:
    ServerHome();

    [[nodiscard]] QString path() const { return m_folder.path(); }
    /// The documents folder that the environment names.
    [[nodiscard]] QString documents() const;
    [[nodiscard]] QString settingsFile() const;
    /// HOME and the folders of the desktop standard point into this home.
    [[nodiscard]] QProcessEnvironment environment() const;

    /// Writes a recording into the documents folder; gives its absolute path, which identifies the device.
    QString addRecording(const QString& name, const QByteArray& wav) const;

    /// One value of the settings store as it is on disk; a key is "group/key".
    [[nodiscard]] QVariant setting(const QString& key) const;
    void setSetting(const QString& key, const QVariant& value) const;

private:
    QTemporaryDir m_folder;
};
