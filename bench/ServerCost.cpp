#include "ServerCost.h"

#include <QDir>
#include <ctime>

namespace
{

QByteArray contents(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

double ServerCost::processorTime(qint64 pid)
{
    clockid_t clock{};
    timespec time{};
    if (clock_getcpuclockid(static_cast<pid_t>(pid), &clock) != 0 || clock_gettime(clock, &time) != 0) {
        return 0.0;
    }
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

QMap<QString, double> ServerCost::threadTimes(qint64 pid)
{
    QMap<QString, double> times;
    const QString tasks = QStringLiteral("/proc/%1/task/").arg(pid);
    const QStringList threads = QDir(tasks).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString& thread : threads) {
        const bool isFirst = thread == QString::number(pid);
        const QString name =
            isFirst ? QStringLiteral("main")
                    : QString::fromUtf8(contents(tasks + thread + QStringLiteral("/comm"))).trimmed();
        const QByteArray nanoseconds =
            contents(tasks + thread + QStringLiteral("/schedstat")).split(' ').value(0);
        times[name] += nanoseconds.toDouble() * 1e-9;
    }
    return times;
}
