#pragma once

#include "Receiving/Spectrum/FrequencyAxis.h"

#include <QImage>
#include <QString>
#include <QVector>

/// A picture of a spectrum, averaged over its time and with the strongest that occurred above it, and of the
/// waterfall below, with axes in MHz and dB. Needs a QGuiApplication.
/// Thread: main.
class SpectrumPicture
{
public:
    explicit SpectrumPicture(const FrequencyAxis& axis);

    /// A spectrum, rising in frequency; `seconds` since the first one. Of a length other than the first one's
    /// it is left out.
    void add(const QVector<float>& decibels, double seconds);

    /// An empty picture if nothing was added.
    [[nodiscard]] QImage draw(const QString& title) const;

private:
    struct Row
    {
        QVector<float> decibels;
        double seconds;
    };

    FrequencyAxis m_axis;
    QVector<Row> m_rows;
};
