#include "Machine.h"

#include "InstructionSets.h"

#include <QDateTime>
#include <QFile>
#include <QSysInfo>
#include <QThread>

namespace
{

// The first value of `key` in /proc/cpuinfo. Not every processor tells its name there.
QString cpuInfo(const char* key)
{
    QFile file(QStringLiteral("/proc/cpuinfo"));
    if (file.open(QIODevice::ReadOnly)) {
        const QStringList lines = QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
        for (const QString& line : lines) {
            if (line.startsWith(QLatin1String(key))) {
                return line.section(QLatin1Char(':'), 1).simplified();
            }
        }
    }
    return {};
}

} // namespace

QStringList describeMachine()
{
    QStringList sets;
    InstructionSets::forEach([&sets](std::int64_t set) { sets.append(InstructionSets::name(set)); });
    const QString model = cpuInfo("model name");
    QString processor = model.isEmpty() ? QSysInfo::currentCpuArchitecture() : model;
    if (!cpuInfo("cpu family").isEmpty()) {
        processor += QStringLiteral(", family %1 model %2").arg(cpuInfo("cpu family"), cpuInfo("model"));
    }
    return
    {
        QStringLiteral("processor: %1; %2 cores").arg(processor).arg(QThread::idealThreadCount()),
            QStringLiteral("instruction set in use: %1 (of %2)")
                .arg(InstructionSets::best(), sets.join(QStringLiteral(", "))),
#if defined(__clang__)
            QStringLiteral("compiler: Clang %1").arg(QStringLiteral(__clang_version__)),
#else
            QStringLiteral("compiler: GCC %1").arg(QStringLiteral(__VERSION__)),
#endif
            QStringLiteral("system: %1, Linux %2")
                .arg(QSysInfo::prettyProductName(), QSysInfo::kernelVersion()),
            QStringLiteral("date: %1").arg(QDate::currentDate().toString(Qt::ISODate)),
    };
}
