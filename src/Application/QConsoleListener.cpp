#include "Application/QConsoleListener.h"

#include "Application/ConsoleNotifier.h"

#include <utility>

namespace
{

constexpr unsigned long kCancelInterval = 50; // ms

} // namespace

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
    // Without a limit: only a read can keep the thread, and one may begin just behind a cancel.
    while (!m_thread.wait(kCancelInterval)) {
        ConsoleNotifier::cancelRead();
    }
}

void QConsoleListener::on_finishedGetLine(QString strNewLine)
{
    emit newLine(std::move(strNewLine));
}
