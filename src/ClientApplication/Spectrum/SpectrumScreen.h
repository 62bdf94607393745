#pragma once

#include "Platform/Output.h"
#include "Receiving/Spectrum/FrequencyAxis.h"
#include "Receiving/Spectrum/SpectrumScale.h"

#include <QSize>
#include <QStringList>

/// Draws a spectrum and its waterfall as lines of text: a title, bars with decibels at their left, the
/// frequencies in MHz, the waterfall, a status line. Knows no terminal: the lines are as long as they may be,
/// colours are the usual escape sequences, and nothing moves a cursor.
/// Thread: any, one at a time.
class SpectrumScreen
{
public:
    struct Look
    {
        QSize size; ///< Columns and rows; below 30 by 10 nothing but the title is drawn.
        Output::Colours colours = Output::Colours::None;
        bool isUnicode = true;
    };

    /// Takes effect with the next `add`; the waterfall is kept as far as it fits.
    void setLook(const Look& look);
    /// Another stretch of the dial begins an empty waterfall.
    void setAxis(const FrequencyAxis& axis);
    /// A spectrum, rising in frequency. `asWaterfallRow`: it also becomes the newest row of the waterfall.
    void add(const QVector<float>& decibels, bool asWaterfallRow);

    /// As many as the look has rows.
    [[nodiscard]] QStringList lines(const QString& title, const QString& status) const;

private:
    [[nodiscard]] int plotColumns() const;
    [[nodiscard]] int barRows() const;
    [[nodiscard]] int waterfallRows() const;
    [[nodiscard]] QString labelOf(int row) const;
    void appendBars(QStringList& lines) const;
    void appendAxis(QStringList& lines) const;
    void appendWaterfall(QStringList& lines) const;
    [[nodiscard]] QString cut(const QString& text) const;

    Look m_look;
    FrequencyAxis m_axis;
    SpectrumScale::Range m_range;
    bool m_hasRange = false;
    QVector<float> m_newest;             // as it came
    QVector<QVector<float>> m_waterfall; // newest first, as they came
};
