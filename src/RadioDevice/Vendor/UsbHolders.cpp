#include "RadioDevice/Vendor/UsbHolders.h"

#include "Core/Log/ForeignText.h"

#include <QCoreApplication>
#include <QFile>
#include <QStringList>
#include <algorithm>
#include <filesystem>
#include <system_error>
#include <vector>

namespace
{

namespace fs = std::filesystem;

/// The entries of a folder, as far as they can be read: a process may end meanwhile.
std::vector<fs::path> entries(const fs::path& folder)
{
    std::vector<fs::path> found;
    std::error_code error;
    for (fs::directory_iterator entry(folder, error); !error && entry != fs::directory_iterator();
         entry.increment(error)) {
        found.push_back(entry->path());
    }
    return found;
}

bool holds(const fs::path& process, const std::string& devices)
{
    const auto descriptors = entries(process / "fd");
    return std::any_of(descriptors.begin(), descriptors.end(), [&devices](const fs::path& descriptor) {
        std::error_code error;
        return fs::read_symlink(descriptor, error).string().rfind(devices + '/', 0) == 0;
    });
}

} // namespace

QString UsbHolders::describe(const QString& devices)
{
    QStringList holders;
    for (const fs::path& process : entries("/proc")) {
        const QString number = QString::fromStdString(process.filename().string());
        bool isProcess = false;
        const auto id = number.toLongLong(&isProcess);
        if (!isProcess || id == QCoreApplication::applicationPid() ||
            !holds(process, devices.toStdString())) {
            continue;
        }
        QFile name(QString::fromStdString((process / "comm").string()));
        const bool isNamed = name.open(QIODevice::ReadOnly);
        holders.append(QStringLiteral("%1 (%2)").arg(
            number,
            isNamed ? foreignText(QString::fromUtf8(name.readAll()).trimmed()) : QStringLiteral("?")));
    }
    return holders.isEmpty() ? QStringLiteral("in use by a process that can't be seen from here")
                             : QStringLiteral("in use; processes that hold USB devices: ") +
                                   holders.join(QStringLiteral(", "));
}
