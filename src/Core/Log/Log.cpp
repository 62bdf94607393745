#include "Core/Log/Log.h"

#include "Core/Log/LogLimiter.h"

namespace
{

QDebug tagged(QDebug stream, const char* severity, const char* file, const char* function, int line)
{
    stream.noquote() << severity << Log::sourceTag(file) << "]" << function << ":" << line << "=>\t";
    return stream;
}

bool isAdmitted(const char* file, int line, QtMsgType level)
{
    return LogLimiter::ofPlace(file, line, level).admit();
}

// What nobody reads.
QDebug nowhere()
{
    static thread_local QString text;
    text.resize(0);
    return QDebug(&text);
}

} // namespace

QString Log::sourceTag(const char* file)
{
    QString path = QString::fromUtf8(file);
    path.replace(QLatin1Char('\\'), QLatin1Char('/'));
    const QLatin1String root("src/");
    const int start = path.lastIndexOf(root);
    if (start >= 0) {
        path.remove(0, start + root.size());
    }
    return path.left(path.lastIndexOf(QLatin1Char('.')));
}

QDebug Log::unlimitedWarning(const char* file, const char* function, int line)
{
    return tagged(qWarning(), "[ W ][", file, function, line);
}

QDebug Log::debug(const char* file, int line)
{
    return isAdmitted(file, line, QtDebugMsg) ? unlimitedDebug() : nowhere();
}

QDebug Log::warning(const char* file, const char* function, int line)
{
    return isAdmitted(file, line, QtWarningMsg) ? unlimitedWarning(file, function, line) : nowhere();
}

QDebug Log::critical(const char* file, const char* function, int line)
{
    return isAdmitted(file, line, QtCriticalMsg) ? tagged(qCritical(), "[ C ][", file, function, line)
                                                 : nowhere();
}
