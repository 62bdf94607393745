#pragma once

#include <QDebug>

/// The form of every warning and critical record: "[ W ][ Core/Worker/Worker ] start : 57 =>\t", then the
/// message, each item followed by one blank. Debug and info records are the message alone.
/// Of the records of one place in the source, but those at info level, 1,000 a minute are logged
/// (LogLimiter).
namespace Log
{

/// The source tag of a file: its path below src/, without its extension.
QString sourceTag(const char* file);

/// Takes whole records, on the thread that logs.
using Sink = void (*)(QtMsgType level, const QString& text);
/// Where records go from now on, past Qt's message handler: that is the host's, where the program is a guest.
/// At first, and with nullptr, they go to Qt.
void setSink(Sink sink);

/// What a record is put together in, while it goes to a sink.
struct RecordText
{
    ~RecordText();

    Sink sink = nullptr;
    QtMsgType level = QtDebugMsg;
    QString text;
};

/// One record, which goes out with the end of the statement that makes it; stream the message into it.
/// Unquoted.
class Record : private RecordText, public QDebug
{
public:
    explicit Record(QtMsgType severity);
    /// With its tag.
    Record(QtMsgType severity, const char* file, const char* function, int line);
    /// One that nobody reads.
    Record();
    Q_DISABLE_COPY_MOVE(Record)
};

Record warning(const char* file, const char* function, int line);
Record critical(const char* file, const char* function, int line);
Record debug(const char* file, int line);
inline Record info()
{
    return Record(QtInfoMsg);
}

/// For what has to be seen, and for answers to the person at the console.
inline Record unlimitedDebug()
{
    return Record(QtDebugMsg);
}
Record unlimitedWarning(const char* file, const char* function, int line);

} // namespace Log

// Macros, since only they know the place where they are used. Thread: any.
#define LOG_WARNING() Log::warning(__FILE__, __func__, __LINE__)
#define LOG_CRITICAL() Log::critical(__FILE__, __func__, __LINE__)
#define LOG_DEBUG() Log::debug(__FILE__, __LINE__)
#define LOG_INFO() Log::info()
