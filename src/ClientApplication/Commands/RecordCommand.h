#pragma once

#include "ClientApplication/Commands/SampleCommand.h"
#include "Receiving/Sinks/RecordingInfo.h"

/// Records samples into a file: WAV, SigMF, or WAV for a server's player.
/// Thread: main.
class RecordCommand : public SampleCommand
{
    Q_OBJECT

public:
    explicit RecordCommand(const Patience& patience = {});

    void describe(QCommandLineParser& parser) const override;
    [[nodiscard]] QString read(const QCommandLineParser& parser) override;

protected:
    [[nodiscard]] std::optional<Bandwidth> bandwidth() const override;
    [[nodiscard]] std::unique_ptr<IqSink> makeSink(double sampleRate) override;
    [[nodiscard]] QString path() const override { return m_path; }

private:
    enum class Form
    {
        Wav,
        SigMf,
        Player,
    };
    [[nodiscard]] std::unique_ptr<IqSink> open(const RecordingInfo& info, QString& error);

    Form m_form = Form::Wav;
    QString m_path;
    std::optional<double> m_bandwidth; // Hz
};
