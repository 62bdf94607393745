#include "Receiving/Sinks/StreamSink.h"

#include <QtEndian>

namespace
{

template <typename Number>
void append(QByteArray& bytes, Number value)
{
    const Number little = qToLittleEndian(value);
    bytes.append(reinterpret_cast<const char*>(&little), sizeof little);
}

} // namespace

StreamSink::StreamSink(OutputPipe& pipe, Format format)
    : m_pipe(pipe)
    , m_format(format)
{
}

IqSink::Outcome StreamSink::write(const IqBlock& block)
{
    QByteArray bytes;
    bytes.reserve(block.samples.size() * 8);
    for (const IqSample& sample : block.samples) {
        if (m_format == Format::Cs16) {
            append(bytes, sample.i);
            append(bytes, sample.q);
        } else {
            append(bytes, static_cast<float>(sample.i) / IqSample::kFullScale);
            append(bytes, static_cast<float>(sample.q) / IqSample::kFullScale);
        }
    }
    return m_pipe.write(bytes);
}
