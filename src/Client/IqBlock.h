#pragma once

#include "Network/Protocol/IqBlocks.h"

#include <QMetaType>
#include <QVector>

/// One complex sample of true baseband: I is the real part and Q the imaginary one, so that a signal above
/// the tuned frequency turns counter-clockwise.
struct IqSample
{
    static constexpr float kFullScale = static_cast<float>(IqBlocks::kFullScale);

    qint16 i = 0;
    qint16 q = 0;
};

/// A run of samples that came together.
/// Thread: any; a value.
struct IqBlock
{
    QVector<IqSample> samples;
    double sampleRate = 0.0; ///< Hz, as the server last told; 0 if it has not told yet.
    /// Place of the first sample in the stream: the samples received and estimated missing before it since
    /// the receiver was reset.
    qint64 position = 0;
    /// Samples estimated missing that were found out just before this block; 0 mostly. They are missing
    /// somewhere within the last second or two before it, not exactly here.
    qint64 missing = 0;
    qint64 time = 0; ///< Arrival, ms since the epoch.
};

Q_DECLARE_METATYPE(IqBlock)
