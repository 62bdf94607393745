#include "Core/Log/LogLimiter.h"

#include "Core/Log/Log.h"
#include "Core/Log/SteadyClock.h"

#include <algorithm>
#include <limits>
#include <map>
#include <utility>
#include <vector>

namespace
{

// A place's own lines: the lengths are bounded where they are made.
constexpr int kOwnLines = 1000;
constexpr qint64 kOwnWindow = 60'000; // ms

struct Registry
{
    std::mutex mutex;
    std::vector<LogLimiter*> limiters;
};

// Never destroyed: limiters are statics of functions and may outlive any static of this file.
Registry& registry()
{
    static auto* const instance = new Registry;
    return *instance;
}

} // namespace

LogLimiter::LogLimiter(const char* file, int line)
    : LogLimiter(file, line, kForeign, &SteadyClock::milliseconds)
{
}

LogLimiter::LogLimiter(const char* file, int line, Limit limit, Clock clock)
    : m_file(file)
    , m_line(line)
    , m_limit(limit)
    , m_clock(std::move(clock))
{
    const std::lock_guard lock(registry().mutex);
    registry().limiters.push_back(this);
}

LogLimiter::~LogLimiter()
{
    const std::lock_guard lock(registry().mutex);
    auto& limiters = registry().limiters;
    limiters.erase(std::remove(limiters.begin(), limiters.end(), this), limiters.end());
}

LogLimiter& LogLimiter::ofPlace(const char* file, int line, QtMsgType level)
{
    // Never destroyed, like the registry: lines are logged to the very end.
    static auto* const mutex = new std::mutex;
    static auto* const places = new std::map<std::pair<const char*, int>, LogLimiter>;
    const std::lock_guard lock(*mutex);
    const Limit limit{kOwnLines, std::numeric_limits<int>::max(), kOwnWindow, level};
    return places->try_emplace({file, line}, file, line, limit, &SteadyClock::milliseconds).first->second;
}

bool LogLimiter::admit()
{
    const std::lock_guard lock(m_mutex);
    const qint64 now = m_clock();
    reportLocked(now);
    if (m_admitted == 0) {
        m_windowStart = now;
    }
    if (m_admitted == m_limit.lines || m_bytes >= m_limit.bytes) {
        ++m_leftOut;
        return false;
    }
    ++m_admitted;
    return true;
}

void LogLimiter::charge(int bytes)
{
    const std::lock_guard lock(m_mutex);
    m_bytes += bytes;
}

void LogLimiter::report()
{
    const std::lock_guard lock(m_mutex);
    reportLocked(m_clock());
}

void LogLimiter::reportLocked(qint64 now)
{
    if (m_admitted == 0 || now - m_windowStart < m_limit.window) {
        return;
    }
    if (m_leftOut > 0) {
        const QString text = QStringLiteral("%1 lines left out, of the kind logged at %2:%3")
                                 .arg(m_leftOut)
                                 .arg(Log::sourceTag(m_file))
                                 .arg(m_line);
        // Unlimited: it comes once in a window, and would ask for this very mutex.
        if (m_limit.level == QtDebugMsg) {
            Log::unlimitedDebug() << text;
        } else {
            Log::unlimitedWarning(__FILE__, __func__, __LINE__) << text;
        }
    }
    m_admitted = 0;
    m_bytes = 0;
    m_leftOut = 0;
}

void LogLimiter::reportAll()
{
    const std::lock_guard lock(registry().mutex);
    for (LogLimiter* limiter : registry().limiters) {
        limiter->report();
    }
}

LimitedRecord::LimitedRecord(LogLimiter& limiter, const QDebug& record)
    : m_limiter(limiter)
    , m_record(record)
{
    m_stream.noquote();
}

LimitedRecord::~LimitedRecord()
{
    if (m_text.endsWith(QLatin1Char(' '))) { // the blank after the last item
        m_text.chop(1);
    }
    m_limiter.charge(m_text.toUtf8().size());
    m_record << m_text;
}
