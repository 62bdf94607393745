#include "ClientApplication/Commands/SpectrumCommand.h"

#include "ClientApplication/Console/Options.h"
#include "ClientApplication/Console/Terminal.h"
#include "ClientApplication/Console/Text.h"
#include "Platform/Output.h"

#include <QBuffer>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <algorithm>
#include <cmath>

namespace
{

constexpr double kPictureTime = 5.0;     // s
constexpr double kTableTime = 2.0;       // s
constexpr int kDrawInterval = 100;       // ms
constexpr int kNoticeable = 2000;        // ms without a spectrum
constexpr int kPictureFft = 2048;        // bins
constexpr int kBinsPerColumn = 8;        // at the least, so that no station falls between two
constexpr int kMostPoints = 4096;        // in a frame: what 25 a second cost the network
constexpr double kSmallBandwidth = 8000; // Hz: the samples aren't wanted, so as few as can be

const QByteArray kEnterScreen = "\x1b[?1049h\x1b[?25l"; // a screen of its own, without a cursor
const QByteArray kLeaveScreen = "\x1b[?25h\x1b[?1049l";

QCommandLineOption pngOption()
{
    return {
        QStringLiteral("png"),
        QStringLiteral("Write a picture of spectrum and waterfall, with axes in MHz and dB, of 5 seconds or "
                       "of --seconds."),
        QStringLiteral("FILE")};
}

QCommandLineOption spanOption()
{
    return {QStringLiteral("span"),
            QStringLiteral("Show so much around the middle or --offset, as in 200k; by default all that the "
                           "receiver hears."),
            QStringLiteral("HZ")};
}

} // namespace

SpectrumCommand::SpectrumCommand(const Patience& patience)
    : TunedCommand(patience)
{
    m_end.setSingleShot(true);
    connect(&m_end, &QTimer::timeout, this, &SpectrumCommand::finish);
    connect(&m_drawing, &QTimer::timeout, this, &SpectrumCommand::drawScreen);
}

SpectrumCommand::~SpectrumCommand()
{
    leaveScreen();
}

void SpectrumCommand::describe(QCommandLineParser& parser) const
{
    TunedCommand::describe(parser);
    parser.addOptions({pngOption(), spanOption(),
                       Options::seconds(QStringLiteral(
                           "Stop after so much; without it, Ctrl-C stops the live display, a picture "
                           "takes 5 and a table 2 seconds.")),
                       Options::json()});
}

QString SpectrumCommand::read(const QCommandLineParser& parser)
{
    if (parser.positionalArguments().size() > 1) {
        return QStringLiteral("spectrum takes a server and nothing else");
    }
    m_png = parser.value(pngOption());
    m_isJson = parser.isSet(Options::json());
    m_isScreen = m_png.isEmpty() && !m_isJson && Output::isTerminal(Output::kStandard);
    for (const QString& error :
         {Options::number(parser, Options::seconds({}), Text::toSeconds, QStringLiteral("10"), m_seconds),
          Options::number(parser, spanOption(), Text::toHertz, QStringLiteral("200k"), m_span)}) {
        if (!error.isEmpty()) {
            return error;
        }
    }
    if (m_span && *m_span <= 0.0) {
        return QStringLiteral("--span takes a width above 0");
    }
    return TunedCommand::read(parser);
}

std::optional<TunedCommand::Bandwidth> SpectrumCommand::bandwidth() const
{
    return Bandwidth{kSmallBandwidth, kSmallBandwidth / 2};
}

// As many bins as the width in columns needs, all of which are asked for: of several that share a column the
// strongest is shown, and the server would take any one of them.
SpectrumRange SpectrumCommand::range() const
{
    const double share = m_span && m_rate > 0.0 ? std::min(1.0, *m_span / m_rate) : 1.0;
    const int wanted =
        m_isScreen ? kBinsPerColumn * Output::terminalSize(Output::kStandard).columns : kPictureFft;
    SpectrumRange range;
    range.fftSize = SpectrumRange::kMinimumFftSize;
    while (range.fftSize < SpectrumRange::kMaximumFftSize && range.fftSize * share < wanted) {
        range.fftSize *= 2;
    }
    const double binWidth = m_rate / range.fftSize;
    const double aside = m_span ? std::round(offset() / binWidth) : 0.0;
    const int middle = range.fftSize / 2 +
                       qBound(-range.fftSize, static_cast<int>(std::clamp(aside, -1e6, 1e6)), range.fftSize);
    const int half = std::max(1, static_cast<int>(std::lround(range.fftSize * share / 2)));
    range.startIndex = middle - half;
    range.stopIndex = middle + half;
    range.dataSize = std::min(2 * half, kMostPoints);
    return range;
}

FrequencyAxis SpectrumCommand::axis()
{
    const SpectrumRange shown = range();
    const double middle = centre() - offset();
    const int middleBin = shown.fftSize / 2;
    const double binWidth = m_rate / shown.fftSize;
    return {middle + (shown.startIndex - middleBin) * binWidth,
            middle + (shown.stopIndex - middleBin) * binWidth};
}

void SpectrumCommand::beginTuned(double /*sampleRate*/)
{
    m_rate = device().sampleRate().value_or(0.0);
    if (!(m_rate >= 1.0) || !session().setSpectrumRange(range())) {
        fail(ExitCode::Failed,
             QStringLiteral("the receiver doesn't tell its sample rate: set its sampleRate"));
        return;
    }
    if (!m_png.isEmpty()) {
        m_picture = std::make_unique<SpectrumPicture>(axis());
    }
    connect(&session().spectrum(), &SpectrumReceiver::frameReceived, this, &SpectrumCommand::onFrame);
    connect(&session().spectrum(), &SpectrumReceiver::frameReceived, &stallWatch(), &StallWatch::arrived);
    stallWatch().start();
    const bool isTable = !m_isScreen && !m_isJson && m_png.isEmpty();
    const double seconds = m_seconds.value_or(!m_png.isEmpty() ? kPictureTime : kTableTime);
    if (m_seconds || isTable || !m_png.isEmpty()) {
        m_end.start(static_cast<int>(std::min(1e3 * seconds, 2e9)));
    }
    m_elapsed.start();
    if (m_isScreen) {
        m_isScreenShown = true;
        Terminal::write(kEnterScreen);
        m_drawing.start(kDrawInterval);
    }
}

void SpectrumCommand::onFrame(const SpectrumFrame& frame)
{
    if (frame.range != range()) {
        return; // of before the window was resized
    }
    m_newest = frame;
    ++m_frames;
    if (m_isJson && m_png.isEmpty()) {
        if (!printFrame(frame)) {
            done(Terminal::outputCode());
        }
    } else if (m_picture) {
        m_picture->add(frame.decibels, static_cast<double>(m_elapsed.elapsed()) / 1e3);
    } else if (!m_isScreen) {
        m_powers.resize(frame.decibels.size());
        for (int n = 0; n < frame.decibels.size(); ++n) {
            m_powers[n] += std::pow(10.0, static_cast<double>(frame.decibels.at(n)) / 10.0);
        }
    }
}

bool SpectrumCommand::printFrame(const SpectrumFrame& frame)
{
    QJsonArray decibels;
    for (const float value : frame.decibels) {
        decibels.append(std::round(static_cast<double>(value) * 100.0) / 100.0);
    }
    const FrequencyAxis shown = axis();
    const QJsonObject object{
        {QStringLiteral("time_ms"), frame.time},
        {QStringLiteral("lowest_hz"), shown.lowest},
        {QStringLiteral("highest_hz"), shown.highest},
        {QStringLiteral("db"), decibels},
    };
    return Terminal::print(QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact)));
}

void SpectrumCommand::drawScreen()
{
    const Output::TerminalSize size = Output::terminalSize(Output::kStandard);
    m_screen.setLook({{size.columns, size.rows}, Output::colours(), Output::isUnicode()});
    m_screen.setAxis(axis());
    if (session().setSpectrumRange(range()); m_frames > 0) {
        m_screen.add(m_newest.decibels, true);
    }
    const SpectrumReceiver& spectrum = session().spectrum();
    const bool isBroken = session().state() != ClientSession::State::Connected;
    QString state =
        QStringLiteral("%1 frames, %2 lost").arg(spectrum.receivedFrames()).arg(spectrum.droppedFrames());
    if (isBroken) {
        state = QStringLiteral("the session has broken off, coming back ...");
    } else if (stallWatch().silence() >= kNoticeable) {
        state = QStringLiteral("nothing has come for %1 s").arg(stallWatch().silence() / 1000);
    }
    const QStringList lines =
        m_screen.lines(QStringLiteral("%1   %2   %3 wide")
                           .arg(title(), Text::hertz(centre()), Text::hertz(axis().highest - axis().lowest)),
                       QStringLiteral("%1   Ctrl-C ends").arg(state));
    // From the upper left corner over what is there; each line wipes what is left of the one before.
    const QString all =
        QStringLiteral("\x1b[H") + lines.join(QStringLiteral("\x1b[K\r\n")) + QStringLiteral("\x1b[K");
    if (!Terminal::write(all.toLocal8Bit())) {
        done(Terminal::outputCode());
    }
}

void SpectrumCommand::leaveScreen()
{
    m_drawing.stop();
    if (std::exchange(m_isScreenShown, false)) {
        Terminal::write(kLeaveScreen);
    }
}

void SpectrumCommand::interrupt()
{
    const bool hasBegun = m_elapsed.isValid();
    hasBegun ? finish() : TunedCommand::interrupt();
}

void SpectrumCommand::broken()
{
    leaveScreen();
}

// The screen tells it all the time.
void SpectrumCommand::stalled()
{
    if (!m_isScreen) {
        TunedCommand::stalled();
    }
}

void SpectrumCommand::finish()
{
    leaveScreen();
    if (!m_isScreen && m_frames == 0) {
        fail(ExitCode::NoAnswer,
             QStringLiteral("no spectrum has come: try again, or for longer with --seconds"));
    } else if (m_picture) {
        finishPicture();
    } else if (!m_isScreen && !m_isJson) {
        const FrequencyAxis shown = axis();
        QString table;
        for (int n = 0; n < m_powers.size(); ++n) {
            const double hertz = shown.lowest + (shown.highest - shown.lowest) * n / m_powers.size();
            table += QStringLiteral("%1\t%2\n")
                         .arg(hertz, 0, 'f', 1)
                         .arg(10.0 * std::log10(m_powers.at(n) / m_frames), 0, 'f', 2);
        }
        Terminal::write(table.toLatin1());
        done(Terminal::outputCode());
    } else {
        done(ExitCode::Done);
    }
}

void SpectrumCommand::finishPicture()
{
    const QString text =
        QStringLiteral("%1, %2, %3 UTC")
            .arg(title(), Text::hertz(centre()),
                 QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")));
    QString error;
    if (!savePicture(m_picture->draw(text), error)) {
        fail(ExitCode::Failed, QStringLiteral("can't write %1: %2; name a file elsewhere").arg(m_png, error));
        return;
    }
    const SpectrumReceiver& spectrum = session().spectrum();
    Terminal::print(QStringLiteral("%1: %2 spectra, %3 lost")
                        .arg(m_png)
                        .arg(spectrum.receivedFrames())
                        .arg(spectrum.droppedFrames()));
    done(Terminal::outputCode());
}

// Part of a picture is worth nothing, so none is left.
bool SpectrumCommand::savePicture(const QImage& picture, QString& error) const
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    QFile file(m_png);
    const bool isWritten = buffer.open(QIODevice::WriteOnly) && picture.save(&buffer, "PNG") &&
                           file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() &&
                           file.flush();
    error = file.errorString();
    if (!isWritten && file.isOpen() && QFileInfo(m_png).isFile()) {
        file.remove();
    }
    return isWritten;
}
