#pragma once

#include "Core/Worker/DoubleComplex.h"

#include <vector>

namespace Kernels
{

/// The factors of a mixer, c + js for each entry of its table, as vectors take them.
class MixerTable
{
public:
    /// `length` entries of 1 + 0j, 8 or more.
    explicit MixerTable(int length);

    void set(int entry, DoubleComplex factor);

    [[nodiscard]] int length() const { return m_length; }
    [[nodiscard]] const DoubleComplex* direct() const { return m_direct.data(); }
    [[nodiscard]] const DoubleComplex* crossed() const { return m_crossed.data(); }

private:
    int m_length;
    // Both begin anew behind the last entry, so that a vector may begin at any.
    std::vector<DoubleComplex> m_direct;  // c, c
    std::vector<DoubleComplex> m_crossed; // -s, s
};

/// Multiplies `count` samples by successive entries of the table, in place, the first by entry `first`;
/// behind the last entry follows the first. A sample x + jy becomes (xc - ys) + j(sx + yc).
void mix(DoubleComplex* samples, int count, const MixerTable& table, int first);

/// As `mix`, but leaves `samples` and writes the products of even positions to `even`, the others to `odd`.
/// `count` is even.
void mixApart(const DoubleComplex* samples, int count, const MixerTable& table, int first,
              DoubleComplex* even, DoubleComplex* odd);

} // namespace Kernels
