#pragma once

#include <QMap>
#include <QString>

/// Processor time that another process has taken so far. Linux.
namespace ServerCost
{

/// Of the whole process, those threads included that have ended, in seconds.
double processorTime(qint64 pid);

/// Of each thread that there is, in seconds, by its name; "main" is the first one. Threads of one name count
/// together.
QMap<QString, double> threadTimes(qint64 pid);

} // namespace ServerCost
