#include "RadioDevice/Vendor/UsbHolders.h"

#include "Core/Log/ForeignText.h"
#include "Platform/FileHolders.h"

#include <QStringList>

QString UsbHolders::describe(const QString& devices)
{
    QStringList holders;
    for (const auto& [process, name] : FileHolders::below(devices.toStdString())) {
        holders.append(QStringLiteral("%1 (%2)").arg(QString::fromStdString(process),
                                                     foreignText(QString::fromStdString(name).trimmed())));
    }
    return holders.isEmpty() ? QStringLiteral("in use by a process that can't be seen from here")
                             : QStringLiteral("in use; processes that hold USB devices: ") +
                                   holders.join(QStringLiteral(", "));
}
