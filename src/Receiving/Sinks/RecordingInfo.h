#pragma once

#include <QDateTime>
#include <QString>

/// What a recording says of itself.
/// Thread: any; a value.
struct RecordingInfo
{
    double sampleRate = 0.0; ///< Hz
    double centre = 0.0;     ///< Hz, what is at 0 Hz in the samples.
    double bandwidth = 0.0;  ///< Hz
    QString hardware;        ///< The receiver, in words.
    QDateTime start;         ///< Of the first sample, in UTC.

    /// "Orvenlink_20250131_235959Z_14250kHz_IQ" and the extension.
    [[nodiscard]] QString fileName(const QString& extension) const
    {
        return QStringLiteral("Orvenlink_%1Z_%2kHz_IQ%3")
            .arg(start.toUTC().toString(QStringLiteral("yyyyMMdd_HHmmss")))
            .arg(qRound64(centre / 1e3))
            .arg(extension);
    }
};
