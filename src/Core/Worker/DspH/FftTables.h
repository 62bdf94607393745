#pragma once

/// The tables of the split-radix transform, for a twiddle size `nw`: half the number of points, a power of
/// two.
///
///   w  0                          nw/2                  3/4 nw
///      | cos, sin, cos3, -sin3 ... | every second group .. | every fourth ... |
///
/// Each part serves one block length, so that a block reads its twiddles side by side. A group of four stands
/// for one angle, from 0 up to, not including, pi / 4; the group of angle 0 holds instead 1, cos(pi / 4), and
/// the two factors by which the mean of two neighbouring groups becomes the group half-way between them.
namespace FftTables
{

/// Fills `ip`, of sqrt(2 nw) + 3 values, and `w`, of nw - 1: ip[0] = nw, ip[1] = 1, the offsets of the bit
/// reversal from ip[2] on.
void build(int nw, int* ip, double* w);

} // namespace FftTables
