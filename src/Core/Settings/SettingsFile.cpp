#include "Core/Settings/SettingsFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QSettings>

QString SettingsFile::name()
{
    return QSettings().fileName();
}

QString SettingsFile::trouble()
{
    // QSettings says only that it has no access. Its steps are repeated here to learn why.
    const QString file = name();
    const QString folder = QFileInfo(file).absolutePath();
    if (!QDir().mkpath(folder)) {
        return QStringLiteral("the folder %1 can't be made").arg(folder);
    }
    QFile present(file);
    if (present.exists() && !present.open(QIODevice::ReadOnly)) {
        return present.errorString();
    }
    QSaveFile replacement(file);
    if (!replacement.open(QIODevice::WriteOnly) || replacement.write(QByteArray(1, '\n')) != 1 ||
        !replacement.flush()) {
        return replacement.errorString();
    }
    return QStringLiteral("its content is damaged");
}
