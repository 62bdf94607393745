#pragma once

#include "Core/Signal/DoubleComplex.h"

#include <QVector>

/// The points of a spectrum frame, computed from the samples by the plain definition, in long double.
class SpectrumReference
{
public:
    /// `samples` are the newest ones of the receiver, as many as the transform is long.
    explicit SpectrumReference(const QVector<DoubleComplex>& samples);

    /// The frame that a client gets for this range.
    [[nodiscard]] QVector<qint16> frame(int startIndex, int stopIndex, int dataSize) const;

    /// The power of one bin, scaled, without the floor.
    [[nodiscard]] long double power(int bin) const;

    /// The point of a scaled power with the floor added: -40 times its logarithm, approximately.
    static qint16 point(float power);

private:
    QVector<DoubleComplex> m_windowed;
};
