#pragma once

#include "Receiving/Sinks/IqSink.h"

#include <QByteArray>
#include <atomic>

/// Writes to a file descriptor that may be a pipe with a slow reader, or one who goes.
/// Thread: any, one at a time; `stop` from any.
class OutputPipe
{
public:
    /// `descriptor` stays open and in the mode that it has.
    explicit OutputPipe(int descriptor);

    /// Returns when all is written, when the reader has gone, or within a tenth of a second of `stop`, with
    /// the rest unwritten. Broken pipes have to be ignored (Platform/Output.h).
    [[nodiscard]] IqSink::Outcome write(const QByteArray& bytes);
    void stop() { m_stopped = true; }

    [[nodiscard]] qint64 size() const { return m_size; } ///< Bytes written.
    [[nodiscard]] QString errorString() const { return m_error; }

private:
    int m_descriptor;
    std::atomic<bool> m_stopped{false};
    std::atomic<qint64> m_size{0};
    QString m_error;
};
