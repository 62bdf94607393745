#pragma once

#include "Core/Signal/DoubleComplex.h"

#include <array>

/// The transform X[k] = sum over j of x[j] exp(+2 pi i j k / N), in three or four passes that keep real and
/// imaginary parts in separate vectors, between the data and a work array. With N = A B C 8, C 1 where there
/// are three passes, sample j is in row (a, b, c) at place d, j = ((a B + b) C + c) 8 + d:
///
///   first   over a, untwiddled         data -> work, block c, row b A + a'
///   second  over b, each a'            in place: row q = b' A + a' of A B
///   third   over c, each q             in place, across the blocks: block c'
///   last    over d, each r = c' A B + q    work -> data: k = d' A B C + r
///
/// Vectors run along d, in the last pass along q.
/// Thread: any, one at a time.
namespace Kernels::Fft
{

/// What is needed for one length. A and B are 8 or 16, C 1, 8, 16 or 32. All arrays are aligned to 64 bytes.
struct Plan
{
    int first = 0;  ///< A
    int second = 0; ///< B
    int third = 0;  ///< C
    /// The twiddle factors of one transform of A, B .. 8 points: tangent, cosine, tangent, .. one after the
    /// other; 8 pairs of vectors of eight in the last pass. Which factors those are: FftTwiddles.
    const double* secondTwiddles = nullptr; ///< A times B / 2 factors
    const double* thirdTwiddles = nullptr;  ///< A B times C / 2
    const double* lastTwiddles = nullptr;   ///< A B C / 8 times 4 times eight tangents and eight cosines
    double* work = nullptr;                 ///< workSize() doubles
};

/// Doubles that the work array takes: a row more for each block, so that the rows which the third pass joins
/// aren't all kept in the same few places of the cache.
[[nodiscard]] int workSize(const Plan& plan);

/// Where in `lastTwiddles` each of eight successive values of q is: depends on the length of the vectors.
[[nodiscard]] std::array<int, 8> laneOrder();

/// In place for the caller; `data` holds A B C 8 samples and needs no alignment, though it is faster with one
/// of 64 bytes.
void transform(const Plan& plan, DoubleComplex* data);

} // namespace Kernels::Fft
