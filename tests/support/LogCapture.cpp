#include "support/LogCapture.h"

#include <QMutex>
#include <vector>

namespace
{

QMutex mutex;
// No container of Qt's: one that is shared with a reader is written to again as soon as that one's count of
// it is down, by a look at the count that orders nothing.
std::vector<LogCapture::Record> captured;

void capture(QtMsgType type, const QMessageLogContext& /*context*/, const QString& text)
{
    const QMutexLocker lock(&mutex);
    captured.push_back({type, text});
}

} // namespace

LogCapture::LogCapture()
    : m_previous(qInstallMessageHandler(capture))
{
    clear();
}

LogCapture::~LogCapture()
{
    qInstallMessageHandler(m_previous);
}

QList<LogCapture::Record> LogCapture::records() const
{
    const QMutexLocker lock(&mutex);
    return {captured.cbegin(), captured.cend()};
}

QStringList LogCapture::texts() const
{
    QStringList result;
    for (const Record& record : records()) {
        result.append(record.text);
    }
    return result;
}

QStringList LogCapture::texts(QtMsgType type) const
{
    QStringList result;
    for (const Record& record : records()) {
        if (record.type == type) {
            result.append(record.text);
        }
    }
    return result;
}

void LogCapture::clear()
{
    const QMutexLocker lock(&mutex);
    captured.clear();
}
