#include "Application/QConsoleListener.h"

#include "Application/ConsoleNotifier.h"

#include <QDeadlineTimer>
#include <utility>

QConsoleListener::QConsoleListener()
    : m_notifier(new ConsoleNotifier)
{
    connect(this, &QConsoleListener::finishedGetLine, this, &QConsoleListener::on_finishedGetLine,
            Qt::QueuedConnection);
    m_thread.setObjectName(QStringLiteral("console"));
    m_notifier->moveToThread(&m_thread);
    connect(&m_thread, &QThread::finished, m_notifier, &QObject::deleteLater);
    connect(
        m_notifier, &ConsoleNotifier::activated, m_notifier,
        [this] {
            const QStringList lines = m_notifier->readLines();
            for (const QString& line : lines) {
                emit finishedGetLine(line);
            }
        },
        Qt::DirectConnection);
    connect(
        m_notifier, &ConsoleNotifier::quitRequested, m_notifier,
        [this] { emit finishedGetLine(QStringLiteral("q")); }, Qt::DirectConnection);
    m_thread.start(QThread::InheritPriority);
}

QConsoleListener::~QConsoleListener()
{
    m_thread.quit();
    m_notifier->cancelRead();
    m_thread.wait(QDeadlineTimer(QDeadlineTimer::Forever));
}

void QConsoleListener::on_finishedGetLine(QString strNewLine)
{
    emit newLine(std::move(strNewLine));
}
