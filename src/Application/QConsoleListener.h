#pragma once

#include "Application/LineBuffer.h"

#include <QObject>
#include <QThread>

class ConsoleInput;

/// Turns lines typed on standard input into a signal, from construction on.
/// Thread: main, where `newLine` is emitted; a thread of its own, "console", reads.
/// Errors: at the end of input it falls silent.
class QConsoleListener : public QObject
{
    Q_OBJECT

public:
    QConsoleListener();
    ~QConsoleListener() override;

signals:
    /// A complete line without its end; at the end of input, what there is of one.
    void newLine(QString strNewLine);
    /// Internal: a line has been read, emitted on the reading thread.
    void finishedGetLine(QString strNewLine);

private slots:
    void on_finishedGetLine(QString strNewLine);

private:
    void readLines();

    ConsoleInput* m_input; // lives on m_thread and is deleted there
    LineBuffer m_lines;    // used by m_thread alone
    QThread m_thread;
};
