#pragma once

#include "ClientApplication/Commands/SampleCommand.h"
#include "Receiving/Dsp/Demodulator.h"

/// Demodulates a station and writes the audio into a WAV file, or raw to standard output.
/// Thread: main.
class ListenCommand : public SampleCommand
{
    Q_OBJECT

public:
    void describe(QCommandLineParser& parser) const override;
    [[nodiscard]] QString read(const QCommandLineParser& parser) override;

protected:
    [[nodiscard]] std::optional<Bandwidth> bandwidth() const override;
    [[nodiscard]] std::unique_ptr<IqSink> makeSink(double sampleRate) override;
    [[nodiscard]] QString path() const override { return m_path; }

private:
    QString m_path;
    Demodulator::Mode m_mode = Demodulator::Mode::Am;
    int m_audioRate = 0; // Hz
};
