#pragma once

#include "Application/LineBuffer.h"

#include <QObject>
#include <QStringList>

class QSocketNotifier;
class QWinEventNotifier;

/// Notice of input on the standard input and of a wish from outside to end: all that is tied to a platform.
/// Thread:    made on the main thread, then moved to the one that reads; reading happens there.
/// At the end of input (closed, a finished pipe or file, a terminal that hung up) it falls silent for good.
class ConsoleNotifier : public QObject
{
    Q_OBJECT

public:
    /// Call first thing in the process, before the application object exists: sees to it that the standard
    /// input is open, that no terminal can stop the process, and that an interrupt and the end of the
    /// process's terminal are caught.
    static void prepare();

    ConsoleNotifier();
    ~ConsoleNotifier() override;

    /// The complete lines that have come, in order, without their ends; the last one, if it has no end, at
    /// the end of input. Call on `activated`.
    [[nodiscard]] QStringList readLines();

    /// Makes a read that is under way on another thread return. Any thread.
    static void cancelRead();

signals:
    void activated();
    /// The process is asked to end: an interrupt, a service manager, a terminal or console window that
    /// closes.
    void quitRequested();

private slots:
    /// Listens again after a pause in the background. By name: clang-tidy takes Qt's other form for a leak.
    void resume();

private:
    QStringList endInput();
#ifdef Q_OS_WIN
    QWinEventNotifier* m_input;
#else
    void pauseInBackground();
    void onSignal();
    QSocketNotifier* m_input;
    QSocketNotifier* m_signals;
#endif
    LineBuffer m_lines;
};
