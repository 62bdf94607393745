#include "ClientApplication/Commands/StreamCommand.h"

#include "ClientApplication/Console/Options.h"
#include "ClientApplication/Console/Text.h"
#include "Platform/Output.h"

namespace
{

QCommandLineOption formatOption()
{
    return {QStringLiteral("format"),
            QStringLiteral(
                "cs16 (default): pairs of 16-bit integers; cf32: pairs of 32-bit floats. I comes first, "
                "little-endian."),
            QStringLiteral("FORMAT")};
}

} // namespace

void StreamCommand::describe(QCommandLineParser& parser) const
{
    SampleCommand::describe(parser);
    parser.addOptions({Options::bandwidth(), formatOption()});
}

QString StreamCommand::read(const QCommandLineParser& parser)
{
    const QString format =
        parser.isSet(formatOption()) ? parser.value(formatOption()) : QStringLiteral("cs16");
    if (format != QLatin1String("cs16") && format != QLatin1String("cf32")) {
        return QStringLiteral("--format takes cs16 or cf32");
    }
    m_format = format == QLatin1String("cs16") ? StreamSink::Format::Cs16 : StreamSink::Format::Cf32;
    if (parser.positionalArguments().size() > 1) {
        return QStringLiteral("stream takes a server and nothing else: its samples go to standard output");
    }
    if (Output::isTerminal(Output::kStandard)) {
        return QStringLiteral(
            "samples are nothing for a terminal: pipe them into a program, or use \"record\"");
    }
    const QString error =
        Options::number(parser, Options::bandwidth(), Text::toHertz, QStringLiteral("12k"), m_bandwidth);
    return error.isEmpty() ? SampleCommand::read(parser) : error;
}

std::optional<TunedCommand::Bandwidth> StreamCommand::bandwidth() const
{
    return m_bandwidth ? std::make_optional(cleanBandwidth(*m_bandwidth)) : std::nullopt;
}

std::unique_ptr<IqSink> StreamCommand::makeSink(double /*sampleRate*/)
{
    return std::make_unique<StreamSink>(pipe(), m_format);
}
