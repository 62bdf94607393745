#include "Core/Log/Log.h"

#include "Core/Log/LogLimiter.h"

#include <atomic>

namespace
{

std::atomic<Log::Sink> currentSink{nullptr};

QDebug toQt(QtMsgType level)
{
    switch (level) {
    case QtDebugMsg:
        return qDebug();
    case QtInfoMsg:
        return qInfo();
    case QtWarningMsg:
        return qWarning();
    default:
        return qCritical();
    }
}

bool isAdmitted(const char* file, int line, QtMsgType level)
{
    return LogLimiter::ofPlace(file, line, level).admit();
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

void Log::setSink(Sink sink)
{
    currentSink = sink;
}

Log::RecordText::~RecordText()
{
    if (sink != nullptr) {
        sink(level, text.trimmed());
    }
}

Log::Record::Record(QtMsgType severity)
    : RecordText{currentSink, severity, {}}
    // The analyzer doesn't see that the base above has it.
    // NOLINTNEXTLINE(clang-analyzer-core.UndefinedBinaryOperatorResult)
    , QDebug(sink == nullptr ? toQt(severity) : QDebug(&text))
{
    noquote();
}

Log::Record::Record(QtMsgType severity, const char* file, const char* function, int line)
    : Record(severity)
{
    *this << (severity == QtWarningMsg ? "[ W ][" : "[ C ][") << sourceTag(file) << "]" << function << ":"
          << line << "=>\t";
}

Log::Record::Record()
    : QDebug(&text)
{
}

Log::Record Log::unlimitedWarning(const char* file, const char* function, int line)
{
    return {QtWarningMsg, file, function, line};
}

Log::Record Log::debug(const char* file, int line)
{
    return isAdmitted(file, line, QtDebugMsg) ? Record(QtDebugMsg) : Record();
}

Log::Record Log::warning(const char* file, const char* function, int line)
{
    return isAdmitted(file, line, QtWarningMsg) ? Record(QtWarningMsg, file, function, line) : Record();
}

Log::Record Log::critical(const char* file, const char* function, int line)
{
    return isAdmitted(file, line, QtCriticalMsg) ? Record(QtCriticalMsg, file, function, line) : Record();
}
