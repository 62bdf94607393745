#include "Core/Worker/DspH/FftKernels.h"

#include <array>
#include <cstddef>
#include <utility>

namespace
{

using Index = std::ptrdiff_t;

constexpr double kCos45 = 0.70710678118654752440;   // cos(pi / 4)
constexpr double kCos22_5 = 0.92387953251128675613; // cos(pi / 8)
constexpr double kSin22_5 = 0.38268343236508977173;

// exp(i phi) and exp(3 i phi), what one butterfly turns its two odd outputs by.
struct Twiddle
{
    DoubleComplex one;
    DoubleComplex three;
};

// A group of four of the table; its last value has the opposite sign.
Twiddle group(const double* w)
{
    return {{w[0], w[1]}, {w[2], -w[3]}};
}

constexpr Twiddle kZero{{1.0, 0.0}, {1.0, 0.0}};
constexpr Twiddle kTurn45{{kCos45, kCos45}, {-kCos45, kCos45}};
constexpr Twiddle kTurn22_5{{kCos22_5, kSin22_5}, {kSin22_5, kCos22_5}};

// The twiddle of pi / 2 - phi from that of phi.
constexpr Twiddle mirror(const Twiddle& t)
{
    return {{t.one.im, t.one.re}, {-t.three.im, -t.three.re}};
}

// The twiddle half-way between two of them, by the factors in the table's first group.
Twiddle between(const Twiddle& a, const Twiddle& b, const double* w)
{
    return {{w[2] * (a.one.re + b.one.re), w[2] * (a.one.im + b.one.im)},
            {w[3] * (a.three.re + b.three.re), w[3] * (a.three.im + b.three.im)}};
}

DoubleComplex product(const DoubleComplex& a, const DoubleComplex& b)
{
    return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re};
}

// One L-shaped butterfly. Of the four samples a quarter of the block apart, the sums go on into the half that
// holds the even outputs, the differences into the quarters of outputs 1 and 3 modulo 4.
void butterfly(DoubleComplex* a, Index quarter, const Twiddle& t)
{
    DoubleComplex* const b = a + quarter;
    DoubleComplex* const c = b + quarter;
    DoubleComplex* const d = c + quarter;
    const DoubleComplex even{a->re - c->re, a->im - c->im};
    const DoubleComplex odd{b->re - d->re, b->im - d->im};
    *a = {a->re + c->re, a->im + c->im};
    *b = {b->re + d->re, b->im + d->im};
    *c = product({even.re - odd.im, even.im + odd.re}, t.one);
    *d = product({even.re + odd.im, even.im - odd.re}, t.three);
}

void butterfly(DoubleComplex* a, Index quarter)
{
    DoubleComplex* const b = a + quarter;
    DoubleComplex* const c = b + quarter;
    DoubleComplex* const d = c + quarter;
    const DoubleComplex even{a->re - c->re, a->im - c->im};
    const DoubleComplex odd{b->re - d->re, b->im - d->im};
    *a = {a->re + c->re, a->im + c->im};
    *b = {b->re + d->re, b->im + d->im};
    *c = {even.re - odd.im, even.im + odd.re};
    *d = {even.re + odd.im, even.im - odd.re};
}

void transform2(DoubleComplex* a)
{
    const DoubleComplex difference{a[0].re - a[1].re, a[0].im - a[1].im};
    a[0] = {a[0].re + a[1].re, a[0].im + a[1].im};
    a[1] = difference;
}

void transform4(DoubleComplex* a)
{
    butterfly(a, 1);
    transform2(a);
}

void transform8(DoubleComplex* a)
{
    butterfly(a, 2);
    butterfly(a + 1, 2, kTurn45);
    transform4(a);
    transform2(a + 4);
    transform2(a + 6);
}

void transform16(DoubleComplex* a)
{
    butterfly(a, 4);
    butterfly(a + 1, 4, kTurn22_5);
    butterfly(a + 2, 4, kTurn45);
    butterfly(a + 3, 4, mirror(kTurn22_5));
    transform8(a);
    transform4(a + 8);
    transform4(a + 12);
}

// The pass over a block whose every angle has a group in `w`: the table of twice the block's length.
void pass(DoubleComplex* a, Index points, const double* w)
{
    const Index quarter = points / 4;
    const Index middle = quarter / 2;
    butterfly(a, quarter);
    for (Index k = 1; k < middle; ++k) {
        const Twiddle t = group(w + 4 * k);
        butterfly(a + k, quarter, t);
        butterfly(a + quarter - k, quarter, mirror(t));
    }
    butterfly(a + middle, quarter, kTurn45);
}

// The pass over the whole data, from both ends of the quarter to its middle: the table, of its own length,
// has every second angle, and those between are interpolated.
void firstPass(DoubleComplex* a, Index points, const double* w)
{
    const Index quarter = points / 4;
    const Index middle = quarter / 2;
    butterfly(a, quarter);
    Twiddle last = kZero;
    for (Index k = 2; k <= middle; k += 2) {
        const Twiddle next = k < middle ? group(w + 2 * k) : kTurn45;
        const Twiddle odd = between(last, next, w);
        butterfly(a + k - 1, quarter, odd);
        butterfly(a + quarter - k + 1, quarter, mirror(odd));
        butterfly(a + k, quarter, next);
        if (k < middle) {
            butterfly(a + quarter - k, quarter, mirror(next));
        }
        last = next;
    }
}

// Depth first: a block is finished before the next is begun, so that small ones stay in the cache.
// `wEnd` is where the table would end at nw values.
void transformBlock(DoubleComplex* a, Index points, const double* wEnd)
{
    switch (points) {
    case 2:
        return transform2(a);
    case 4:
        return transform4(a);
    case 8:
        return transform8(a);
    case 16:
        return transform16(a);
    default:
        break;
    }
    pass(a, points, wEnd - points);
    transformBlock(a, points / 2, wEnd);
    transformBlock(a + points / 2, points / 4, wEnd);
    transformBlock(a + points / 2 + points / 4, points / 4, wEnd);
}

constexpr std::array<Index, 16> kReversed{0, 8, 4, 12, 2, 10, 6, 14, 1, 9, 5, 13, 3, 11, 7, 15};

} // namespace

void FftKernels::splitRadix(DoubleComplex* data, int points, const double* w)
{
    const double* const wEnd = w + points / 2;
    if (points <= 16) {
        transformBlock(data, points, wEnd);
        return;
    }
    firstPass(data, points, w);
    transformBlock(data, points / 2, wEnd);
    transformBlock(data + points / 2, points / 4, wEnd);
    transformBlock(data + points / 2 + points / 4, points / 4, wEnd);
}

// An index is read as three digits: high and low, of `side` values each, around a middle one of at most 16.
// Reversed, high and low change places; the table has the reversed digit where a high one stands.
void FftKernels::reverseBits(DoubleComplex* data, int points, const int* ip)
{
    Index side = 1;
    Index middles = points;
    while (middles > 16) {
        side *= 2;
        middles /= 4;
    }
    std::array<Index, 16> reversed{};
    for (Index i = 0; i < middles; ++i) {
        reversed[i] = kReversed[i] * middles / 16 * side;
    }
    const auto offset = [&](Index digit) { return side > 1 ? ip[side + digit] * (middles / 8) : Index{0}; };
    for (Index j = 0; j < side; ++j) {
        for (Index k = 0; k < j; ++k) {
            DoubleComplex* const here = data + offset(j) + k;
            DoubleComplex* const there = data + offset(k) + j;
            for (Index i = 0; i < middles; ++i) {
                std::swap(here[i * side], there[reversed[i]]);
            }
        }
        DoubleComplex* const own = data + offset(j) + j;
        for (Index i = 0; i < middles; ++i) {
            if (i * side < reversed[i]) {
                std::swap(own[i * side], own[reversed[i]]);
            }
        }
    }
}
