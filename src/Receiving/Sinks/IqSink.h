#pragma once

#include "Client/IqBlock.h"

#include <QMetaType>
#include <QString>

/// Where received samples go: a file, a pipe, a demodulator.
/// Thread: made and opened by one, then used by one other at a time.
class IqSink
{
public:
    enum class Outcome
    {
        Going,      ///< All is well.
        Full,       ///< No more can be taken; what there is, is whole.
        ReaderGone, ///< Nobody reads any more.
        Failed,     ///< As errorString() tells.
    };

    IqSink() = default;
    virtual ~IqSink() = default;

    /// Takes the samples; may keep them until there is enough for a write.
    [[nodiscard]] virtual Outcome write(const IqBlock& block) = 0;
    /// Writes what it has kept. Called every tenth of a second or so.
    [[nodiscard]] virtual Outcome flush() = 0;
    /// The end: flushes, and brings what tells the length and the time up to date.
    [[nodiscard]] virtual Outcome finish() = 0;
    /// Bytes written so far.
    [[nodiscard]] virtual qint64 size() const = 0;
    /// One line, without a stop.
    [[nodiscard]] virtual QString errorString() const = 0;

private:
    Q_DISABLE_COPY_MOVE(IqSink)
};

Q_DECLARE_METATYPE(IqSink::Outcome)
