#include "Core/Signal/Fft/FftTwiddles.h"

#include <array>
#include <cmath>
#include <cstddef>

namespace
{

using Index = std::ptrdiff_t;

struct Radices
{
    int first;
    int second;
    int third;
};

// Of 512, 1024 .. 65,536 points; the last radix is always 8.
constexpr std::array<Radices, 8> kRadices{
    {{8, 8, 1}, {16, 8, 1}, {16, 16, 1}, {8, 8, 8}, {8, 16, 8}, {16, 16, 8}, {16, 16, 16}, {16, 16, 32}}};

const Radices& radicesOf(int length)
{
    std::size_t index = 0;
    while (length > FftTwiddles::kShortest << index) {
        ++index;
    }
    return kRadices.at(index);
}

constexpr double kQuarterPi = 0.7853981633974483;

// In place of a cosine of 0: next to what its tangent, the reciprocal, then gives, the rest is lost.
constexpr double kTinyCosine = 1.0 / (1LL << 60);

struct Angle
{
    double cos;
    double sin;
};

// The angles 2 pi k / points. Those up to pi / 4 are kept, in the memory given: points / 8 + 1 of them. Every
// second one is computed, the others are half-way between their neighbours.
class Circle
{
public:
    Circle(Index points, Angle* eighth)
        : m_points(points)
        , m_eighth(eighth)
    {
        const Index last = points / 8;
        const double step = kQuarterPi / static_cast<double>(last);
        for (Index k = 0; k < last; k += 2) {
            const double angle = static_cast<double>(k) * step;
            eighth[k] = {std::cos(angle), std::sin(angle)};
        }
        eighth[last] = {std::cos(kQuarterPi), std::cos(kQuarterPi)};
        const double half = 0.5 / std::cos(step);
        for (Index k = 1; k < last; k += 2) {
            const Angle& before = eighth[k - 1];
            const Angle& after = eighth[k + 1];
            eighth[k] = {half * (before.cos + after.cos), half * (before.sin + after.sin)};
        }
    }

    [[nodiscard]] Index points() const { return m_points; }

    [[nodiscard]] Angle at(Index k) const
    {
        k %= m_points;
        const Index quarter = m_points / 4;
        const Angle a = inQuarter(k % quarter);
        switch (k / quarter) {
        case 0:
            return a;
        case 1:
            return {-a.sin, a.cos};
        case 2:
            return {-a.cos, -a.sin};
        default:
            return {a.sin, -a.cos};
        }
    }

private:
    [[nodiscard]] Angle inQuarter(Index k) const
    {
        if (k > m_points / 8) {
            const Angle& mirrored = m_eighth[m_points / 4 - k];
            return {mirrored.sin, mirrored.cos};
        }
        return m_eighth[k];
    }

    Index m_points;
    const Angle* m_eighth;
};

// The twiddle factors of one transform whose point j is turned by 2 pi j k / points as well, in the order
// that the butterflies take them in. `put` gets a factor's place and its angle.
template <class Put>
void forEachTwiddle(const Circle& circle, Index radix, Index k, Put put)
{
    put(0, circle.at(radix / 2 * k));
    for (Index m = 1; m <= radix / 4; m *= 2) {
        for (Index i = 0; i < m; ++i) {
            put(m + i, circle.at(radix / (4 * m) * k + i * (circle.points() / (4 * m))));
        }
    }
}

void put(const Angle& angle, double& tangent, double& cosine)
{
    cosine = angle.cos == 0.0 ? kTinyCosine : angle.cos;
    tangent = angle.sin / cosine;
}

// For a pass whose `rows` rows turn their points by multiples of 2 pi row / (rows * radix).
void fill(const Circle& circle, Index radix, Index rows, double* twiddles)
{
    for (Index row = 0; row < rows; ++row, twiddles += radix) {
        forEachTwiddle(
            circle, radix, row * (circle.points() / (rows * radix)),
            [twiddles](Index i, const Angle& angle) { put(angle, twiddles[2 * i], twiddles[2 * i + 1]); });
    }
}

// The same for the last pass, eight rows in the lanes of vectors.
void fillLast(const Circle& circle, double* twiddles)
{
    const std::array<int, 8> order = Kernels::Fft::laneOrder();
    for (Index row = 0; row < circle.points() / 8; row += 8, twiddles += 64) {
        for (std::size_t lane = 0; lane < order.size(); ++lane) {
            double* const first = twiddles + lane;
            forEachTwiddle(circle, 8, row + order[lane], [first](Index i, const Angle& angle) {
                put(angle, first[16 * i], first[16 * i + 8]);
            });
        }
    }
}

} // namespace

FftTwiddles::FftTwiddles(int length)
{
    const Radices& radices = radicesOf(length);
    m_plan.first = radices.first;
    m_plan.second = radices.second;
    m_plan.third = radices.third;
    const auto points = static_cast<std::size_t>(length);
    m_second = hwy::AllocateAligned<double>(points / 8 / static_cast<std::size_t>(m_plan.third));
    m_third = hwy::AllocateAligned<double>(points / 8);
    m_last = hwy::AllocateAligned<double>(points);
    m_work = hwy::AllocateAligned<double>(static_cast<std::size_t>(Kernels::Fft::workSize(m_plan)));
    m_plan.secondTwiddles = m_second.get();
    m_plan.thirdTwiddles = m_third.get();
    m_plan.lastTwiddles = m_last.get();
    m_plan.work = m_work.get();
}

void FftTwiddles::build()
{
    const Index rows = Index{m_plan.first} * m_plan.second;
    const Circle circle(rows * m_plan.third * 8, reinterpret_cast<Angle*>(m_work.get()));
    fill(circle, m_plan.second, m_plan.first, m_second.get());
    if (m_plan.third > 1) {
        fill(circle, m_plan.third, rows, m_third.get());
    }
    fillLast(circle, m_last.get());
}
