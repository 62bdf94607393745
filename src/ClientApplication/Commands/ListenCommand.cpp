#include "ClientApplication/Commands/ListenCommand.h"

#include "ClientApplication/Console/Options.h"
#include "ClientApplication/Console/Text.h"
#include "Platform/Output.h"
#include "Receiving/Dsp/AudioSink.h"

namespace
{

constexpr double kAudioRate = 48'000; // Hz

QCommandLineOption modeOption()
{
    return {QStringLiteral("mode"),
            QStringLiteral("am, nfm, wfm, usb, lsb or cw. --frequency and --offset are those of the carrier, "
                           "suppressed or not."),
            QStringLiteral("MODE")};
}

QCommandLineOption audioRateOption()
{
    return {QStringLiteral("audio-rate"), QStringLiteral("Samples of audio a second; 48000 by default."),
            QStringLiteral("HZ")};
}

} // namespace

void ListenCommand::describe(QCommandLineParser& parser) const
{
    SampleCommand::describe(parser);
    parser.addPositionalArgument(
        QStringLiteral("FILE"),
        QStringLiteral("WAV file for the audio; without it, raw audio goes to standard "
                       "output: 16-bit, little-endian, one channel."),
        QStringLiteral("[FILE]"));
    parser.addOptions({modeOption(), audioRateOption()});
}

QString ListenCommand::read(const QCommandLineParser& parser)
{
    const std::optional<Demodulator::Mode> mode = Demodulator::modeOf(parser.value(modeOption()).toLower());
    std::optional<double> rate;
    QString error = Options::number(parser, audioRateOption(), Text::toHertz, QStringLiteral("48000"), rate);
    const QStringList arguments = parser.positionalArguments();
    m_path = arguments.value(1);
    if (!error.isEmpty()) {
        return error;
    }
    if (!mode) {
        return QStringLiteral("--mode takes one of %1")
            .arg(Demodulator::modeNames().join(QStringLiteral(", ")));
    }
    if (rate && (*rate < Demodulator::kLowestAudioRate || *rate > Demodulator::kHighestAudioRate)) {
        return QStringLiteral("--audio-rate takes 8000 to 192000");
    }
    if (arguments.size() > 2) {
        return QStringLiteral("listen takes a server and one file");
    }
    if (m_path.isEmpty() && Output::isTerminal(Output::kStandard)) {
        return QStringLiteral(
            "audio is nothing for a terminal: name a WAV file, or pipe it into a player as in "
            "\"| aplay -r 48000 -f S16_LE\"");
    }
    m_mode = *mode;
    m_audioRate = qRound(rate.value_or(kAudioRate));
    return SampleCommand::read(parser);
}

std::optional<TunedCommand::Bandwidth> ListenCommand::bandwidth() const
{
    const Demodulator::Needs needs = Demodulator::needsOf(m_mode);
    return Bandwidth{needs.rate, needs.bandwidth};
}

std::unique_ptr<IqSink> ListenCommand::makeSink(double sampleRate)
{
    const Demodulator::Needs needs = Demodulator::needsOf(m_mode);
    if (!(sampleRate >= needs.bandwidth && sampleRate <= Demodulator::kHighestRate)) {
        fail(ExitCode::NotTaken,
             QStringLiteral("this mode needs %1 and the receiver gives %2: choose another "
                            "--mode, or set another sampleRate")
                 .arg(Text::hertz(needs.bandwidth), Text::hertz(sampleRate)));
        return nullptr;
    }
    auto sink = std::make_unique<AudioSink>(m_mode, sampleRate, m_audioRate);
    if (m_path.isEmpty()) {
        sink->open(pipe());
    } else if (!sink->open(m_path)) {
        fail(ExitCode::Failed,
             QStringLiteral("can't write %1: %2; name a file elsewhere").arg(m_path, sink->errorString()));
        return nullptr;
    }
    return sink;
}
