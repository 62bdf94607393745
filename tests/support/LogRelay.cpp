#include "support/LogRelay.h"

#include <QMutex>
#include <QString>
#include <QThread>
#include <utility>
#include <vector>

namespace
{

struct Record
{
    QtMsgType type;
    QByteArray file;
    QByteArray function;
    int line;
    QString text;
};

QtMessageHandler target = nullptr;
QThread* targetThread = nullptr;
QMutex mutex;
std::vector<Record> waiting;

void deliver()
{
    std::vector<Record> records;
    {
        const QMutexLocker lock(&mutex);
        records.swap(waiting);
    }
    for (const Record& record : records) {
        const QMessageLogContext context(record.file.constData(), record.line, record.function.constData(),
                                         "default");
        target(record.type, context, record.text);
    }
}

void relay(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    if (QThread::currentThread() == targetThread) {
        deliver();
        target(type, context, text);
        return;
    }
    const QMutexLocker lock(&mutex);
    waiting.push_back({type, context.file, context.function, context.line, text});
}

} // namespace

LogRelay::LogRelay()
{
    targetThread = QThread::currentThread();
    target = qInstallMessageHandler(relay);
}

LogRelay::~LogRelay()
{
    qInstallMessageHandler(target);
    deliver();
}
