#include "System/ServerHome.h"

#include <QDir>
#include <QFile>
#include <QSettings>

namespace
{

void writeFile(const QString& path, const QByteArray& content)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size()) {
        qFatal("cannot write %s", qPrintable(path));
    }
}

} // namespace

ServerHome::ServerHome()
{
    QDir().mkpath(documents());
    QDir().mkpath(path() + QStringLiteral("/config"));
    writeFile(path() + QStringLiteral("/config/user-dirs.dirs"), "XDG_DOCUMENTS_DIR=\"$HOME/recordings\"\n");
}

QString ServerHome::documents() const
{
    return path() + QStringLiteral("/recordings");
}

QString ServerHome::settingsFile() const
{
    return path() + QStringLiteral("/config/Orvenlink/Orvenlink.conf");
}

QProcessEnvironment ServerHome::environment() const
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("HOME"), path());
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), path() + QStringLiteral("/config"));
    return environment;
}

QString ServerHome::addRecording(const QString& name, const QByteArray& wav) const
{
    const QString file = documents() + QLatin1Char('/') + name;
    writeFile(file, wav);
    return file;
}

QVariant ServerHome::setting(const QString& key) const
{
    return QSettings(settingsFile(), QSettings::IniFormat).value(key);
}

void ServerHome::setSetting(const QString& key, const QVariant& value) const
{
    QSettings(settingsFile(), QSettings::IniFormat).setValue(key, value);
}
