#pragma once

#include "Core/Signal/AlignedSamples.h"

#include <memory>

class FftTwiddles;

/// The discrete Fourier transform of one length, in place, without window or scaling:
///   X[k] = sum over j of x[j] * exp(+2 pi i j k / length)   (a negative direction: exponent -2 pi i ...)
/// in natural order. The positive sign of the forward exponent decides which way up the spectrum comes out.
/// One transform in each direction multiplies the data by `length`.
///
/// Memory:    25 bytes a sample, 16 of them the work array; 21 kB below 512 samples. Allocated when made.
/// Thread:    one; the twiddle factors are computed by the first transform.
/// Errors:    a length outside 512..32,768 is logged and works all the same if it is a power of two from 2 to
///            65,536; of any other only the first samples are transformed, the largest such power within it.
class FftEngine
{
public:
    explicit FftEngine(int length);
    ~FftEngine();

    /// `data` holds `length` samples. Forward for a direction of 0 or above, backward below.
    void transform(DoubleComplex* data, int direction);

private:
    void SetupParameters(int length);
    void transformForward(DoubleComplex* data);
    void transformSpread(DoubleComplex* data);

    std::unique_ptr<FftTwiddles> m_twiddles; // null where there is nothing to transform
    AlignedSamples m_spread{1};              // the samples of a short transform, far apart
    int m_length = 0;                        // points transformed
    bool m_hasTwiddles = false;
};
