#include "ClientApplication/Spectrum/SpectrumScreen.h"

#include <algorithm>
#include <cmath>

namespace
{

constexpr int kMargin = 6; // columns, for the decibels
constexpr int kLeastColumns = 30;
constexpr int kLeastRows = 10;
constexpr int kFixedRows = 3;       // title, frequencies, status
constexpr int kMarkColumns = 14;    // of one frequency
constexpr double kRangePace = 0.05; // share by which the range follows at each spectrum
constexpr int kMostRows = 500;
constexpr double kRoundLevel = 10.0; // dB
constexpr int kLabelRows = 2;        // that a label takes, with room

const QString kEighths = QStringLiteral(" ▁▂▃▄▅▆▇█");
const QString kShades = QStringLiteral(" ░▒▓█");
const QString kAsciiShades = QStringLiteral(" .:-=+*#@");
const QString kReset = QStringLiteral("\x1b[0m");

// The nearest of the 6 by 6 by 6 colours of the palette, whose levels are 0 and 95 to 255 in steps of 40.
int paletteIndex(const SpectrumScale::Colour& colour)
{
    const auto level = [](int value) { return value < 48 ? 0 : std::max(1, (value - 35) / 40); };
    return 16 + 36 * level(colour.red) + 6 * level(colour.green) + level(colour.blue);
}

QString escape(Output::Colours colours, bool isGround, const SpectrumScale::Colour& colour)
{
    const int kind = isGround ? 48 : 38;
    if (colours == Output::Colours::True) {
        return QStringLiteral("\x1b[%1;2;%2;%3;%4m")
            .arg(kind)
            .arg(colour.red)
            .arg(colour.green)
            .arg(colour.blue);
    }
    return QStringLiteral("\x1b[%1;5;%2m").arg(kind).arg(paletteIndex(colour));
}

QChar shade(const QString& shades, double place)
{
    return shades.at(
        qBound(0, static_cast<int>(std::lround(place * (shades.size() - 1))), shades.size() - 1));
}

} // namespace

void SpectrumScreen::setLook(const Look& look)
{
    m_look = look;
}

void SpectrumScreen::setAxis(const FrequencyAxis& axis)
{
    if (axis.lowest != m_axis.lowest || axis.highest != m_axis.highest) {
        m_axis = axis;
        m_waterfall.clear();
        m_hasRange = false;
    }
}

void SpectrumScreen::add(const QVector<float>& decibels, bool asWaterfallRow)
{
    m_newest = decibels;
    const SpectrumScale::Range range = SpectrumScale::rangeOf(decibels);
    if (!m_hasRange) {
        m_range = range;
        m_hasRange = true;
    }
    m_range.lowest += kRangePace * (range.lowest - m_range.lowest);
    m_range.highest =
        std::max(range.highest, m_range.highest + kRangePace * (range.highest - m_range.highest));
    if (asWaterfallRow) {
        m_waterfall.prepend(decibels);
        m_waterfall.resize(std::min(m_waterfall.size(), kMostRows));
    }
}

int SpectrumScreen::plotColumns() const
{
    return m_look.size.width() - kMargin;
}

int SpectrumScreen::barRows() const
{
    return std::max(4, (m_look.size.height() - kFixedRows) * 2 / 5);
}

int SpectrumScreen::waterfallRows() const
{
    return m_look.size.height() - kFixedRows - barRows();
}

QString SpectrumScreen::cut(const QString& text) const
{
    return text.left(std::max(0, m_look.size.width()));
}

QStringList SpectrumScreen::lines(const QString& title, const QString& status) const
{
    QStringList lines{cut(title)};
    if (m_look.size.width() < kLeastColumns || m_look.size.height() < kLeastRows) {
        return lines;
    }
    appendBars(lines);
    appendAxis(lines);
    appendWaterfall(lines);
    lines.append(cut(status));
    return lines;
}

// The decibels next to a row: the round number that it holds, if any.
QString SpectrumScreen::labelOf(int row) const
{
    const double perRow = (m_range.highest - m_range.lowest) / barRows();
    const double step = perRow * kLabelRows > kRoundLevel ? 2 * kRoundLevel : kRoundLevel;
    const double top = m_range.highest - perRow * row;
    const double level = step * std::floor(top / step);
    return level > top - perRow ? QStringLiteral("%1 ").arg(qRound(level), kMargin - 1)
                                : QString(kMargin, QLatin1Char(' '));
}

void SpectrumScreen::appendBars(QStringList& lines) const
{
    const QVector<float> columns = SpectrumScale::reduce(m_newest, plotColumns());
    const int rows = barRows();
    const int steps = m_look.isUnicode ? kEighths.size() - 1 : 1;
    for (int row = 0; row < rows; ++row) {
        const double top = m_range.highest - (m_range.highest - m_range.lowest) * row / rows;
        QString line = labelOf(row);
        const bool isColoured = m_look.colours != Output::Colours::None;
        if (isColoured) {
            line += escape(m_look.colours, false, SpectrumScale::colour(m_range.place(top) * 0.7 + 0.3));
        }
        for (const float value : columns) {
            const double filled = m_range.place(value) * rows - (rows - 1 - row);
            const int step = qBound(0, static_cast<int>(std::lround(filled * steps)), steps);
            line += m_look.isUnicode ? kEighths.at(step) : QLatin1Char(step > 0 ? '#' : ' ');
        }
        lines.append(isColoured ? line + kReset : line);
    }
}

void SpectrumScreen::appendAxis(QStringList& lines) const
{
    QString line = QStringLiteral("   MHz").leftJustified(m_look.size.width());
    int free = kMargin + 1; // first column that no mark has taken
    const QVector<FrequencyAxis::Mark> marks = m_axis.marks(plotColumns() / kMarkColumns);
    for (const FrequencyAxis::Mark& mark : marks) {
        const int at = kMargin + static_cast<int>(m_axis.place(mark.frequency) * plotColumns());
        const QString text = QLatin1Char('|') + mark.text;
        if (at >= free - 1 && at + text.size() <= line.size()) {
            line.replace(at, text.size(), text);
            free = at + text.size() + 2;
        }
    }
    lines.append(line);
}

// With colours a line holds two rows, as the upper and the lower half of its characters.
void SpectrumScreen::appendWaterfall(QStringList& lines) const
{
    const bool isHalved = m_look.isUnicode && m_look.colours != Output::Colours::None;
    const auto row = [this](int index) {
        return index < m_waterfall.size() ? SpectrumScale::reduce(m_waterfall.at(index), plotColumns())
                                          : QVector<float>();
    };
    for (int n = 0; n < waterfallRows(); ++n) {
        QString line(kMargin, QLatin1Char(' '));
        if (!isHalved) {
            const QVector<float> values = row(n);
            for (const float value : values) {
                line += shade(m_look.isUnicode ? kShades : kAsciiShades, m_range.place(value));
            }
            lines.append(line);
            continue;
        }
        const QVector<float> upper = row(2 * n);
        const QVector<float> lower = row(2 * n + 1);
        QString last;
        for (int column = 0; column < upper.size(); ++column) {
            QString colours =
                escape(m_look.colours, false, SpectrumScale::colour(m_range.place(upper.at(column))));
            if (!lower.isEmpty()) {
                colours +=
                    escape(m_look.colours, true, SpectrumScale::colour(m_range.place(lower.at(column))));
            }
            if (colours != last) { // most columns are as their neighbours
                line += colours;
                last = colours;
            }
            line += QChar(0x2580); // the upper half block
        }
        lines.append(line + kReset);
    }
}
