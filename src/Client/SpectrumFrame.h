#pragma once

#include <QMetaType>
#include <QVector>

/// What a client asks of the spectrum. Bin 0 is the lowest frequency, `fftSize` / 2 the receiver's tuned one,
/// and a bin is the receiver's sample rate / `fftSize` wide.
/// Thread: any; a value.
struct SpectrumRange
{
    static constexpr int kMinimumFftSize = 512;
    static constexpr int kMaximumFftSize = 32768;
    static constexpr int kMaximumDataSize = 32767;

    int startIndex = 0; ///< First bin; may lie outside the transform.
    int stopIndex = 0;  ///< One beyond the last bin; above startIndex.
    int dataSize = 0;   ///< Points in a frame, 1 to kMaximumDataSize.
    int fftSize = 0;    ///< A power of two, kMinimumFftSize to kMaximumFftSize.

    /// True if the server makes frames of it.
    [[nodiscard]] bool isValid() const;
};

bool operator==(const SpectrumRange& left, const SpectrumRange& right);
bool operator!=(const SpectrumRange& left, const SpectrumRange& right);

/// One whole spectrum, 25 a second.
/// Thread: any; a value.
struct SpectrumFrame
{
    /// Power in decibels, range.dataSize points rising in frequency: point n is bin startIndex +
    /// n * (stopIndex - startIndex) / dataSize. The scale is the server's: a tone of full scale is
    /// about 5 dB with an fftSize of 4096, and 3 dB higher with each doubling. -200 where no bin exists,
    /// about -220 for silence.
    QVector<float> decibels;
    SpectrumRange range; ///< What it answers.
    qint64 time = 0;     ///< Arrival, ms since the epoch.
};

Q_DECLARE_METATYPE(SpectrumRange)
Q_DECLARE_METATYPE(SpectrumFrame)
