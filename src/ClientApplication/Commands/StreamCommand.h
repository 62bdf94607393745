#pragma once

#include "ClientApplication/Commands/SampleCommand.h"
#include "Receiving/Sinks/StreamSink.h"

/// Writes raw samples to standard output, for a pipe into another program.
/// Thread: main.
class StreamCommand : public SampleCommand
{
    Q_OBJECT

public:
    void describe(QCommandLineParser& parser) const override;
    [[nodiscard]] QString read(const QCommandLineParser& parser) override;

protected:
    [[nodiscard]] std::optional<Bandwidth> bandwidth() const override;
    [[nodiscard]] std::unique_ptr<IqSink> makeSink(double sampleRate) override;
    [[nodiscard]] QString path() const override { return {}; }

private:
    StreamSink::Format m_format = StreamSink::Format::Cs16;
    std::optional<double> m_bandwidth; // Hz
};
