#include "Embedded/HostLog.h"

#include "Core/Log/Log.h"
#include "Embedded/orvenlink/Log.h"

#include <QLoggingCategory>
#include <mutex>
#include <utility>

namespace
{

Q_LOGGING_CATEGORY(category, "orvenlink", QtWarningMsg)

struct Route
{
    std::mutex mutex;
    std::function<void(orvenlink::LogLevel, const std::string&)> handler;
};

// Never destroyed: lines may come to the very end.
Route& route()
{
    static auto* const instance = new Route;
    return *instance;
}

orvenlink::LogLevel toLevel(QtMsgType level)
{
    switch (level) {
    case QtDebugMsg:
        return orvenlink::LogLevel::Debug;
    case QtInfoMsg:
        return orvenlink::LogLevel::Info;
    case QtWarningMsg:
        return orvenlink::LogLevel::Warning;
    default:
        return orvenlink::LogLevel::Critical;
    }
}

void toQt(QtMsgType level, const QString& text)
{
    switch (level) {
    case QtDebugMsg:
        qCDebug(category).noquote() << text;
        break;
    case QtInfoMsg:
        qCInfo(category).noquote() << text;
        break;
    case QtWarningMsg:
        qCWarning(category).noquote() << text;
        break;
    default:
        qCCritical(category).noquote() << text;
    }
}

void take(QtMsgType level, const QString& text)
{
    const std::lock_guard lock(route().mutex);
    if (route().handler) {
        route().handler(toLevel(level), text.toStdString());
    } else {
        toQt(level, text);
    }
}

} // namespace

void HostLog::install()
{
    Log::setSink(&take);
}

void orvenlink::setLogHandler(std::function<void(LogLevel, const std::string&)> handler)
{
    const std::lock_guard lock(route().mutex);
    route().handler = std::move(handler);
}
