#pragma once

#include <QByteArray>
#include <vector>

/// One station of a recording: a carrier.
struct Tone
{
    double frequency; ///< Hertz from the recording's centre; above it if positive.
    double amplitude; ///< Counts of the 16-bit samples.
};

/// A WAV recording, Q in the left channel and I in the right, 16 bits. Whole-hertz tones and a length of
/// whole seconds join at the ends, so that playing it in a loop has no seam.
QByteArray recording(const std::vector<Tone>& tones, int seconds = 1, int sampleRate = 48'000);

/// The 44 bytes before the samples.
QByteArray wavHeader(quint32 dataSize, quint32 sampleRate, quint16 channels = 2, quint16 bitsPerSample = 16);
