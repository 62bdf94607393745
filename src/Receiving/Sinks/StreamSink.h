#pragma once

#include "Receiving/Sinks/IqSink.h"
#include "Receiving/Sinks/OutputPipe.h"

/// Raw samples into a pipe, I first, little-endian.
/// Thread: as IqSink.
class StreamSink : public IqSink
{
public:
    enum class Format
    {
        Cs16, ///< Two 16-bit integers.
        Cf32, ///< Two 32-bit floats, full scale 1.
    };

    /// The pipe outlives the sink.
    StreamSink(OutputPipe& pipe, Format format);

    [[nodiscard]] Outcome write(const IqBlock& block) override;
    [[nodiscard]] Outcome flush() override { return Outcome::Going; }
    [[nodiscard]] Outcome finish() override { return Outcome::Going; }
    [[nodiscard]] qint64 size() const override { return m_pipe.size(); }
    [[nodiscard]] QString errorString() const override { return m_pipe.errorString(); }

private:
    OutputPipe& m_pipe;
    Format m_format;
};
