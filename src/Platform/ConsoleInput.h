#pragma once

#include <QByteArray>
#include <QObject>
#include <optional>

/// Bytes from standard input, with a signal when there are some.
/// Thread: may be moved to the one that is to read; that one's event loop emits the signal.
/// At the end of input (closed, a finished pipe or file, a terminal that hung up) it falls silent for good.
class ConsoleInput : public QObject
{
    Q_OBJECT

public:
    /// Call first thing in the process, before the application object exists: opens a standard input that was
    /// closed, and lets no terminal stop the process.
    static void prepare();

    ConsoleInput();

    /// What has come, at most 4,096 bytes; empty if that is nothing yet, nothing at the end of input. Call on
    /// `activated`.
    [[nodiscard]] std::optional<QByteArray> read();

    /// Makes a read that is under way on another thread return. Any thread.
    static void cancelRead();

signals:
    void activated();

private:
    class Notifier;
    Notifier* m_notifier;
};
