#include "abuse/ServerLoad.h"

#include <QFile>
#include <ctime>

ServerLoad ServerLoad::of(qint64 pid)
{
    constexpr double kNanosecond = 1e-9;
    ServerLoad load;
    QFile file(QStringLiteral("/proc/%1/schedstat").arg(pid));
    if (file.open(QIODevice::ReadOnly)) {
        const QList<QByteArray> fields = file.readAll().split(' ');
        load.ran = fields.value(0).toDouble() * kNanosecond;
        load.waited = fields.value(1).toDouble() * kNanosecond;
    }
    clockid_t clock{};
    timespec time{};
    if (clock_getcpuclockid(static_cast<pid_t>(pid), &clock) == 0 && clock_gettime(clock, &time) == 0) {
        load.processor = static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * kNanosecond;
    }
    return load;
}

ServerLoad operator-(const ServerLoad& later, const ServerLoad& earlier)
{
    return {later.ran - earlier.ran, later.waited - earlier.waited, later.processor - earlier.processor};
}
