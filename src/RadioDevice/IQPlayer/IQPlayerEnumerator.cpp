#include "RadioDevice/IQPlayer/IQPlayerEnumerator.h"

#include "Core/RadioDevice/Enumerator/EnumeratorRadioDevice.h"
#include "RadioDevice/IQPlayer/IQPlayerRadioDevice.h"

#include <QDir>
#include <QStandardPaths>

void IQPlayerEnumerator::refresh()
{
    const QStringList folders{QStringLiteral(":/res/"),
                              QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation)};
    for (const QString& folder : folders) {
        const QFileInfoList files =
            QDir(folder).entryInfoList({QStringLiteral("*.wav")}, QDir::Files, QDir::Unsorted);
        for (const QFileInfo& file : files) {
            auto info = QSharedPointer<IQPlayerRadioDevice::DeviceInfo>::create();
            info->title = QStringLiteral("IQ file player");
            info->description = file.absoluteFilePath();
            info->identificator = file.absoluteFilePath();
            m_owner->add(info);
        }
    }
}
