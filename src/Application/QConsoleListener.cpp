#include "Application/QConsoleListener.h"

#include "Platform/ConsoleInput.h"

#include <utility>

namespace
{

constexpr unsigned long kCancelInterval = 50; // ms

} // namespace

QConsoleListener::QConsoleListener()
    : m_input(new ConsoleInput)
{
    connect(this, &QConsoleListener::finishedGetLine, this, &QConsoleListener::on_finishedGetLine,
            Qt::QueuedConnection);
    m_thread.setObjectName(QStringLiteral("console"));
    m_input->moveToThread(&m_thread);
    connect(&m_thread, &QThread::finished, m_input, &QObject::deleteLater);
    connect(
        m_input, &ConsoleInput::activated, m_input, [this] { readLines(); }, Qt::DirectConnection);
    m_thread.start(QThread::InheritPriority);
}

QConsoleListener::~QConsoleListener()
{
    m_thread.quit();
    // Without a limit: only a read can keep the thread, and one may begin just after a cancel.
    while (!m_thread.wait(kCancelInterval)) {
        ConsoleInput::cancelRead();
    }
}

// On the reading thread.
void QConsoleListener::readLines()
{
    const std::optional<QByteArray> bytes = m_input->read();
    const QStringList lines = bytes ? m_lines.append(*bytes) : m_lines.takeRest();
    for (const QString& line : lines) {
        emit finishedGetLine(line);
    }
}

void QConsoleListener::on_finishedGetLine(QString strNewLine)
{
    emit newLine(std::move(strNewLine));
}
