#include "ClientApplication/Spectrum/SpectrumPicture.h"

#include "Receiving/Spectrum/SpectrumScale.h"

#include <QFontDatabase>
#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <cmath>

namespace
{

constexpr QSize kSize(960, 600);
constexpr QRect kPlot(64, 40, 880, 250);       // the spectrum
constexpr QRect kWaterfall(64, 322, 880, 232); // below it
constexpr int kMostRows = 20'000;              // 13 minutes at 25 a second
constexpr int kMarks = 12;
constexpr double kDecibelStep = 10.0;
constexpr int kFontPixels = 13;

const QColor kGround(16, 18, 28);
const QColor kGrid(48, 52, 70);
const QColor kText(205, 208, 220);
const QColor kStrongest(120, 88, 60);
const QColor kMean(255, 190, 70);

// Powers are averaged, not decibels: that is what a slow meter shows.
QVector<float> meanOf(const QVector<QVector<float>>& rows)
{
    QVector<float> mean;
    for (int column = 0; column < rows.first().size(); ++column) {
        double power = 0.0;
        for (const QVector<float>& row : rows) {
            power += std::pow(10.0, static_cast<double>(row.at(column)) / 10.0);
        }
        mean.append(static_cast<float>(10.0 * std::log10(power / rows.size())));
    }
    return mean;
}

QVector<float> strongestOf(const QVector<QVector<float>>& rows)
{
    QVector<float> strongest = rows.first();
    for (const QVector<float>& row : rows) {
        std::transform(row.begin(), row.end(), strongest.begin(), strongest.begin(),
                       [](float a, float b) { return std::max(a, b); });
    }
    return strongest;
}

QPolygonF curve(const QVector<float>& decibels, const SpectrumScale::Range& range)
{
    QPolygonF points;
    for (int n = 0; n < decibels.size(); ++n) {
        points.append({kPlot.left() + (n + 0.5) * kPlot.width() / decibels.size(),
                       kPlot.bottom() + 1 - range.place(decibels.at(n)) * kPlot.height()});
    }
    return points;
}

void drawScales(QPainter& painter, const FrequencyAxis& axis, const SpectrumScale::Range& range)
{
    const int steps = qRound((range.highest - range.lowest) / kDecibelStep);
    for (int step = 0; step <= steps; ++step) {
        const double level = range.lowest + step * kDecibelStep;
        const int y = kPlot.bottom() + 1 - qRound(range.place(level) * kPlot.height());
        painter.setPen(kGrid);
        painter.drawLine(kPlot.left(), y, kPlot.right(), y);
        painter.setPen(kText);
        painter.drawText(QRect(0, y - 8, kPlot.left() - 8, 16), Qt::AlignRight | Qt::AlignVCenter,
                         QString::number(level, 'f', 0));
    }
    const QVector<FrequencyAxis::Mark> marks = axis.marks(kMarks);
    for (const FrequencyAxis::Mark& mark : marks) {
        const int x = kPlot.left() + qRound(axis.place(mark.frequency) * kPlot.width());
        painter.setPen(kGrid);
        painter.drawLine(x, kPlot.top(), x, kPlot.bottom() + 6);
        painter.setPen(kText);
        const int half = painter.fontMetrics().horizontalAdvance(mark.text) / 2;
        const int middle = std::min(x, kSize.width() - 3 - half); // whole at the right edge too
        painter.drawText(QRect(middle - 50, kPlot.bottom() + 8, 100, 16), Qt::AlignHCenter, mark.text);
    }
    painter.drawText(QRect(0, kPlot.top() - 24, kPlot.left() - 8, 16), Qt::AlignRight, QStringLiteral("dB"));
    painter.drawText(QRect(3, kPlot.bottom() + 8, 40, 16), Qt::AlignLeft, QStringLiteral("MHz"));
}

QRgb colourAt(double place)
{
    const SpectrumScale::Colour colour = SpectrumScale::colour(place);
    return qRgb(colour.red, colour.green, colour.blue);
}

// All that the picture is made of, so that its file is a third of what it would be: the waterfall's colours,
// and the shades by which the others end on the ground.
QVector<QRgb> colourTable()
{
    constexpr int kWaterfallColours = 64;
    constexpr int kShades = 12;
    QVector<QRgb> table;
    for (int n = 0; n < kWaterfallColours; ++n) {
        table.append(colourAt(static_cast<double>(n) / (kWaterfallColours - 1)));
    }
    for (const QColor& colour : {kGrid, kText, kStrongest, kMean}) {
        for (int n = 0; n <= kShades; ++n) {
            const auto mix = [n](int from, int to) { return from + (to - from) * n / kShades; };
            table.append(qRgb(mix(kGround.red(), colour.red()), mix(kGround.green(), colour.green()),
                              mix(kGround.blue(), colour.blue())));
        }
    }
    return table;
}

// The oldest at the top; each line of the picture shows the mean of its share of the time.
void paintWaterfall(QImage& image, const QVector<QVector<float>>& rows, const SpectrumScale::Range& range)
{
    for (int line = 0; line < kWaterfall.height(); ++line) {
        const qint64 begin = static_cast<qint64>(line) * rows.size() / kWaterfall.height();
        const qint64 end =
            std::max(begin + 1, static_cast<qint64>(line + 1) * rows.size() / kWaterfall.height());
        const QVector<float> shown = meanOf(rows.mid(static_cast<int>(begin), static_cast<int>(end - begin)));
        auto* pixels = reinterpret_cast<QRgb*>(image.scanLine(kWaterfall.top() + line)) + kWaterfall.left();
        std::transform(shown.begin(), shown.end(), pixels,
                       [&range](float value) { return colourAt(range.place(value)); });
    }
}

} // namespace

SpectrumPicture::SpectrumPicture(const FrequencyAxis& axis)
    : m_axis(axis)
{
}

void SpectrumPicture::add(const QVector<float>& decibels, double seconds)
{
    const bool fits = m_rows.isEmpty() || decibels.size() == m_rows.first().decibels.size();
    if (fits && !decibels.isEmpty() && m_rows.size() < kMostRows) {
        m_rows.append({decibels, seconds});
    }
}

QImage SpectrumPicture::draw(const QString& title) const
{
    if (m_rows.isEmpty()) {
        return {};
    }
    QVector<QVector<float>> rows;
    for (const Row& row : m_rows) {
        rows.append(SpectrumScale::reduce(row.decibels, kPlot.width()));
    }
    const QVector<float> strongest = strongestOf(rows);
    const QVector<float> mean = meanOf(rows);
    SpectrumScale::Range range = SpectrumScale::rangeOf(mean);
    range.highest = std::max(range.highest, SpectrumScale::rangeOf(strongest).highest);

    QImage image(kSize, QImage::Format_RGB32);
    image.fill(kGround);
    paintWaterfall(image, rows, range);
    QPainter painter(&image);
    QFont font = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
    font.setPixelSize(kFontPixels);
    painter.setFont(font);
    drawScales(painter, m_axis, range);
    painter.drawText(QRect(kPlot.left(), 8, kPlot.width(), 20), Qt::AlignLeft | Qt::AlignVCenter,
                     painter.fontMetrics().elidedText(title, Qt::ElideRight, kPlot.width()));

    painter.setClipRect(kPlot);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(kStrongest, 1));
    painter.drawPolyline(curve(strongest, range));
    painter.setPen(QPen(kMean, 1.4));
    painter.drawPolyline(curve(mean, range));
    painter.setClipping(false);
    painter.setRenderHint(QPainter::Antialiasing, false);

    painter.setPen(kText);
    painter.drawText(QRect(0, kWaterfall.top(), kWaterfall.left() - 8, 16), Qt::AlignRight,
                     QStringLiteral("0 s"));
    painter.drawText(QRect(0, kWaterfall.bottom() - 15, kWaterfall.left() - 8, 16), Qt::AlignRight,
                     QStringLiteral("%1 s").arg(m_rows.last().seconds, 0, 'f', 0));
    painter.drawText(QRect(kWaterfall.left(), kWaterfall.bottom() + 12, kWaterfall.width(), 18),
                     Qt::AlignLeft,
                     QStringLiteral("Above: mean (bright) and strongest (dark) of the time shown below, dB "
                                    "above full scale. Below: time runs downwards."));
    painter.end();
    return image.convertToFormat(QImage::Format_Indexed8, colourTable(), Qt::ThresholdDither);
}
