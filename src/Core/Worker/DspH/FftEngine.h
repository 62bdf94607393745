#pragma once

#include <memory>

class FftTurns;
struct DoubleComplex;

/// The discrete Fourier transform of one length, in place, without window or scaling:
///   X[k] = sum over j of x[j] * exp(+2 pi i j k / length)   (a negative direction: exponent -2 pi i ...)
/// in natural order. The positive sign of the forward exponent decides which way up the spectrum comes out.
/// One transform in each direction multiplies the data by `length`.
/// Lengths from 512 to 32,768 go in vectors through a work array of the engine's own (Kernels/Fft.h), others
/// by split radix, decimation in frequency (Duhamel and Hollmann 1984; Sorensen, Heideman and Burrus 1986),
/// depth first: both with Ooura's tables, of which the vectors keep a copy in the order of their use.
///
/// Memory:    29 bytes a sample, 16 of them the work array; 4 outside that range. Allocated when made.
/// Thread:    one; the tables are built by the first transform.
/// Errors:    a length outside 512..32,768 is logged and works all the same if it is a power of two; of any
///            other length only the largest power of two within it is transformed.
class FftEngine
{
public:
    explicit FftEngine(int length);
    ~FftEngine();

    /// `data` holds `length` samples. Forward for a direction of 0 or above, backward below.
    void transform(DoubleComplex* data, int direction);

private:
    void SetupParameters(int length);

    std::unique_ptr<int[]> m_ip;   // [0] twiddle size built for, 0 none; [1] 1 once built; from [2] offsets
    std::unique_ptr<double[]> m_w; // length / 2 - 1 values
    std::unique_ptr<FftTurns> m_turns; // of the vectors; null where the length has none
    int m_length = 0; // points transformed: the largest power of two within the length asked for
};
