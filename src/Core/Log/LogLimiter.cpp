#include "Core/Log/LogLimiter.h"

#include "Core/Log/Log.h"

#include <algorithm>
#include <chrono>
#include <utility>
#include <vector>

namespace
{

constexpr qint64 kWindow = 1000; // ms

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

qint64 steadyMilliseconds()
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

} // namespace

LogLimiter::LogLimiter(const char* file, int line)
    : LogLimiter(file, line, steadyMilliseconds)
{
}

LogLimiter::LogLimiter(const char* file, int line, Clock clock)
    : m_file(file)
    , m_line(line)
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

bool LogLimiter::admit()
{
    const std::lock_guard lock(m_mutex);
    const qint64 now = m_clock();
    reportLocked(now);
    if (m_admitted == 0) {
        m_windowStart = now;
    }
    if (m_admitted == kLinesPerSecond) {
        ++m_leftOut;
        return false;
    }
    ++m_admitted;
    return true;
}

void LogLimiter::report()
{
    const std::lock_guard lock(m_mutex);
    reportLocked(m_clock());
}

void LogLimiter::reportLocked(qint64 now)
{
    if (m_admitted == 0 || now - m_windowStart < kWindow) {
        return;
    }
    if (m_leftOut > 0) {
        LOG_WARNING() << QStringLiteral("%1 lines left out, of the kind logged at %2:%3")
                             .arg(m_leftOut)
                             .arg(Log::sourceTag(m_file))
                             .arg(m_line);
    }
    m_admitted = 0;
    m_leftOut = 0;
}

void LogLimiter::reportAll()
{
    const std::lock_guard lock(registry().mutex);
    for (LogLimiter* limiter : registry().limiters) {
        limiter->report();
    }
}
