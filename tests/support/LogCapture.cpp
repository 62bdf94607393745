#include "support/LogCapture.h"

#include <QMutex>

namespace
{

QMutex mutex;
QList<LogCapture::Record> captured;

void capture(QtMsgType type, const QMessageLogContext& /*context*/, const QString& text)
{
    const QMutexLocker lock(&mutex);
    captured.append({type, text});
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
    return captured;
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
