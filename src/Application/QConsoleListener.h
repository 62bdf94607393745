#pragma once

#include <QObject>
#include <QThread>

class ConsoleNotifier;

/// Turns lines typed on the standard input into a signal, from construction on.
/// Thread: the object stays on the main thread and emits `newLine` there; the reading is done on a thread
/// of its own, "console".
class QConsoleListener : public QObject
{
    Q_OBJECT

public:
    QConsoleListener();
    ~QConsoleListener() override;

signals:
    /// A complete line. A wish from outside to end the process arrives as the line "q".
    void newLine(QString strNewLine);
    /// Internal: a line has been read, emitted on the reading thread.
    void finishedGetLine(QString strNewLine);

private slots:
    void on_finishedGetLine(QString strNewLine);

private:
    ConsoleNotifier* m_notifier; // lives on m_thread and is deleted there
    QThread m_thread;
};
