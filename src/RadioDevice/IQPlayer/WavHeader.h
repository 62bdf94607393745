#pragma once

#include <QByteArray>
#include <QTime>
#include <array>

/// The 44 bytes at the start of a WAV file, decoded and believed: nothing in them is checked.
///
///   0        4      8            16           20     22         24     28        32      34     36
///   | "RIFF" | rest | "WAVEfmt " | chunk size | code | channels | rate | bytes/s | frame | bits | "data"
///   40
///   | data bytes |                                                                 all little-endian
/// Thread: any.
struct WavHeader
{
    static constexpr int kSize = 44;

    quint32 chunkSize = 0;  ///< Bytes of the format chunk.
    quint16 formatCode = 0; ///< 1 for integers, 3 for floats.
    quint16 channels = 0;
    quint32 sampleRate = 0; ///< Hertz.
    quint32 bytesPerSecond = 0;
    quint16 frameSize = 0; ///< Bytes of one sample of every channel.
    quint16 bitsPerSample = 0;
    quint32 dataSize = 0; ///< Bytes.

    static WavHeader decode(const std::array<char, kSize>& bytes);

    /// Bytes of one value, or 0 for a format whose duration isn't worked out.
    [[nodiscard]] int bytesPerValue() const;
    /// What the log says: the values of the whole file at the header's rate, as a time of day that starts
    /// over after 24 hours. Zero where the header allows no division.
    [[nodiscard]] QTime duration(qint64 fileSize) const;
    /// The same of the data chunk, in whole seconds.
    [[nodiscard]] qint64 durationSeconds() const;
};
