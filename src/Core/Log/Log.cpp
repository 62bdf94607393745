#include "Core/Log/Log.h"

namespace
{

QDebug tagged(QDebug stream, const char* severity, const char* file, const char* function, int line)
{
    stream.noquote() << severity << Log::sourceTag(file) << "]" << function << ":" << line << "=>\t";
    return stream;
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

QDebug Log::warning(const char* file, const char* function, int line)
{
    return tagged(qWarning(), "[ W ][", file, function, line);
}

QDebug Log::critical(const char* file, const char* function, int line)
{
    return tagged(qCritical(), "[ C ][", file, function, line);
}
