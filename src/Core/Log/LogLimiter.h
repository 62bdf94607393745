#pragma once

#include <QtGlobal>
#include <functional>
#include <mutex>

/// Bounds the log lines that a stranger can cause: 50 a second of one kind, the rest counted.
/// One static limiter stands at each place that logs what came from the network (LOG_LIMITED).
/// Any thread.
class LogLimiter
{
public:
    using Clock = std::function<qint64()>; ///< Milliseconds; any epoch.

    static constexpr int kLinesPerSecond = 50;

    /// `file` and `line` name the kind in the report of what was left out.
    LogLimiter(const char* file, int line);
    LogLimiter(const char* file, int line, Clock clock);
    ~LogLimiter();

    /// True if a line may be logged now; false counts it as left out. Reports first what an earlier
    /// second left out.
    [[nodiscard]] bool admit();

    /// Reports what was left out in a second that is over, if anything was.
    void report();

    /// `report` of every limiter of the process; called once a second, so that a flood that has ended
    /// is told of as well.
    static void reportAll();

private:
    Q_DISABLE_COPY_MOVE(LogLimiter)
    void reportLocked(qint64 now);

    const char* m_file;
    int m_line;
    Clock m_clock;
    std::mutex m_mutex;
    qint64 m_windowStart = 0; // ms
    int m_admitted = 0;
    int m_leftOut = 0;
};

// LOG_LIMITED(LOG_WARNING()) << ...: a record that is dropped, and counted, beyond the limit.
#define LOG_LIMITED(record)                                                                                  \
    if (static LogLimiter limiter(__FILE__, __LINE__); !limiter.admit()) {                                   \
    } else                                                                                                   \
        record
