#pragma once

#include <QDebug>
#include <functional>
#include <mutex>

/// Limits the log lines of one kind, those of one place in the source; the rest is counted and reported.
/// Lines that a single datagram can cause have a tight limit (LOG_LIMITED). All others but those at info
/// level have a wide one (Log), which no ordinary session comes near, but a thousand sessions begun in a
/// minute do.
/// Thread: any.
class LogLimiter
{
public:
    using Clock = std::function<qint64()>; ///< Milliseconds since any moment; never goes back.

    struct Limit
    {
        int lines;
        int bytes;       ///< Of text, without the tag. The line that goes beyond is the last.
        qint64 window;   ///< ms
        QtMsgType level; ///< Of the report.
    };
    static constexpr Limit kForeign{50, 8 * 1024, 1000, QtWarningMsg};

    /// `file` and `line` name the kind in the report of what was left out.
    LogLimiter(const char* file, int line);
    LogLimiter(const char* file, int line, Limit limit, Clock clock);
    ~LogLimiter();

    /// The limit for lines whose length only the program decides: 1,000 a minute.
    static LogLimiter& ofPlace(const char* file, int line, QtMsgType level);

    /// True if a line may be logged now; false counts it as left out. Reports first what an earlier
    /// window left out.
    [[nodiscard]] bool admit();
    /// Counts the bytes of a line that was admitted.
    void charge(int bytes);

    /// Reports what was left out in a window that is over, if anything was.
    void report();

    /// `report` of every limiter of the process; called once a second, so that a flood that has ended
    /// is reported too.
    static void reportAll();

private:
    Q_DISABLE_COPY_MOVE(LogLimiter)
    void reportLocked(qint64 now);

    const char* m_file;
    int m_line;
    Limit m_limit;
    Clock m_clock;
    std::mutex m_mutex;
    qint64 m_windowStart = 0; // ms
    int m_admitted = 0;
    int m_bytes = 0;
    int m_leftOut = 0;
};

/// Collects the text of a record, and charges its bytes to a limiter.
class LimitedRecord
{
public:
    LimitedRecord(LogLimiter& limiter, const QDebug& record);
    /// Passes the text on to the record.
    ~LimitedRecord();

    template <typename Item>
    LimitedRecord& operator<<(const Item& item)
    {
        m_stream << item;
        return *this;
    }

private:
    Q_DISABLE_COPY_MOVE(LimitedRecord)

    LogLimiter& m_limiter;
    QDebug m_record;
    QString m_text;
    QDebug m_stream{&m_text};
};

// LOG_LIMITED(LOG_WARNING()) << ...: a record that is dropped, and counted, beyond the limit.
#define LOG_LIMITED(record)                                                                                  \
    if (static LogLimiter limiter(__FILE__, __LINE__); !limiter.admit()) {                                   \
    } else                                                                                                   \
        LimitedRecord(limiter, record)
