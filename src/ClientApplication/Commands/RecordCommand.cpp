#include "ClientApplication/Commands/RecordCommand.h"

#include "ClientApplication/Console/Options.h"
#include "ClientApplication/Console/Text.h"
#include "Receiving/Dsp/Demodulator.h"
#include "Receiving/Dsp/PlayerSink.h"
#include "Receiving/Sinks/SigMfSink.h"
#include "Receiving/Sinks/WavSink.h"

#include <QDir>
#include <QFileInfo>
#include <algorithm>

namespace
{

constexpr double kHighestRate = 2e9; // Hz, that a WAV file can tell with 4 bytes for each sample

QCommandLineOption formatOption()
{
    return {QStringLiteral("format"),
            QStringLiteral("wav (default), or sigmf; by the file's extension if it is one of these."),
            QStringLiteral("FORMAT")};
}

QCommandLineOption playerOption()
{
    return {QStringLiteral("for-player"),
            QStringLiteral(
                "A WAV file that a server can play as its receiver: put it into that server's documents "
                "folder.")};
}

} // namespace

RecordCommand::RecordCommand(const Patience& patience)
    : SampleCommand(patience)
{
}

void RecordCommand::describe(QCommandLineParser& parser) const
{
    SampleCommand::describe(parser);
    parser.addPositionalArgument(
        QStringLiteral("FILE"),
        QStringLiteral("File to write, or a folder; by default a name of time and frequency "
                       "in this folder."),
        QStringLiteral("[FILE]"));
    parser.addOptions({Options::bandwidth(), formatOption(), playerOption()});
}

QString RecordCommand::read(const QCommandLineParser& parser)
{
    const QStringList arguments = parser.positionalArguments();
    m_path = arguments.value(1);
    const bool isSigMf = m_path.endsWith(QLatin1String(".sigmf-data")) ||
                         m_path.endsWith(QLatin1String(".sigmf-meta")) ||
                         m_path.endsWith(QLatin1String(".sigmf"));
    const QString format = parser.isSet(formatOption()) ? parser.value(formatOption())
                                                        : QLatin1String(isSigMf ? "sigmf" : "wav");
    if (arguments.size() > 2) {
        return QStringLiteral("record takes a server and one file");
    }
    if (format != QLatin1String("wav") && format != QLatin1String("sigmf")) {
        return QStringLiteral("--format takes wav or sigmf");
    }
    m_form = format == QLatin1String("sigmf") ? Form::SigMf : Form::Wav;
    if (parser.isSet(playerOption())) {
        if (m_form == Form::SigMf) {
            return QStringLiteral("a server plays WAV files alone: leave out --for-player, or the format");
        }
        m_form = Form::Player;
    }
    const QString error =
        Options::number(parser, Options::bandwidth(), Text::toHertz, QStringLiteral("12k"), m_bandwidth);
    return error.isEmpty() ? SampleCommand::read(parser) : error;
}

std::optional<TunedCommand::Bandwidth> RecordCommand::bandwidth() const
{
    if (m_bandwidth) {
        return cleanBandwidth(*m_bandwidth);
    }
    if (m_form == Form::Player) {
        return cleanBandwidth(PlayerSink::kSampleRate);
    }
    return std::nullopt;
}

std::unique_ptr<IqSink> RecordCommand::makeSink(double sampleRate)
{
    const double highest = m_form == Form::Player ? Demodulator::kHighestRate : kHighestRate;
    if (!(sampleRate >= 1.0 && sampleRate <= highest)) {
        fail(ExitCode::Failed, QStringLiteral("no file can hold samples at %1: give a --bandwidth")
                                   .arg(Text::hertz(sampleRate)));
        return nullptr;
    }
    RecordingInfo info;
    info.sampleRate = sampleRate;
    info.centre = centre();
    info.bandwidth = std::min(sampleRate, m_bandwidth.value_or(sampleRate));
    info.hardware = title();
    info.start = QDateTime::currentDateTimeUtc();
    const QString extension = m_form == Form::SigMf ? QStringLiteral(".sigmf-data") : QStringLiteral(".wav");
    if (m_path.isEmpty() || QFileInfo(m_path).isDir()) {
        m_path = QDir(m_path).filePath(info.fileName(extension));
    }
    QString error;
    std::unique_ptr<IqSink> sink = open(info, error);
    if (!sink) {
        fail(ExitCode::Failed,
             QStringLiteral("can't write %1: %2; name a file elsewhere").arg(m_path, error));
    }
    return sink;
}

std::unique_ptr<IqSink> RecordCommand::open(const RecordingInfo& info, QString& error)
{
    const auto opened = [&error](auto sink, bool isOpen) -> std::unique_ptr<IqSink> {
        if (!isOpen) {
            error = sink->errorString();
            return nullptr;
        }
        return sink;
    };
    switch (m_form) {
    case Form::Wav: {
        auto sink = std::make_unique<WavSink>();
        const bool isOpen = sink->open(m_path, info);
        return opened(std::move(sink), isOpen);
    }
    case Form::SigMf: {
        auto sink = std::make_unique<SigMfSink>();
        const bool isOpen = sink->open(m_path, info);
        m_path = sink->dataPath();
        return opened(std::move(sink), isOpen);
    }
    case Form::Player: {
        auto sink = std::make_unique<PlayerSink>();
        const bool isOpen = sink->open(m_path, info.sampleRate);
        return opened(std::move(sink), isOpen);
    }
    }
    return nullptr;
}
