#include "Core/Worker/DspH/FftTurns.h"

#include <algorithm>
#include <array>
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

// Of 512, 1024 .. 32,768 points; the last radix is always 8.
constexpr std::array<Radices, 7> kRadices{
    {{8, 8, 1}, {16, 8, 1}, {16, 16, 1}, {8, 8, 8}, {8, 16, 8}, {16, 16, 8}, {16, 16, 16}}};

// In the place of a cosine of 0: next to what its tangent, the reciprocal, then gives, the rest is lost.
constexpr double kTinyCosine = 1.0 / (1LL << 60);

struct Angle
{
    double cos;
    double sin;
};

// The angles 2 pi k / points, out of the table's first part. That has the even ones below pi / 4, in groups
// of four; its first group holds cos(pi / 4) and the factor that makes an odd one of the sum of its
// neighbours.
class Circle
{
public:
    Circle(Index points, const double* w)
        : m_points(points)
        , m_w(w)
    {
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
            const Angle mirrored = inEighth(m_points / 4 - k);
            return {mirrored.sin, mirrored.cos};
        }
        return inEighth(k);
    }

    [[nodiscard]] Angle inEighth(Index k) const
    {
        if (k % 2 != 0) {
            const Angle before = inEighth(k - 1);
            const Angle after = inEighth(k + 1);
            return {m_w[2] * (before.cos + after.cos), m_w[2] * (before.sin + after.sin)};
        }
        if (k == 0) {
            return {1.0, 0.0};
        }
        if (k == m_points / 8) {
            return {m_w[1], m_w[1]};
        }
        return {m_w[2 * k], m_w[2 * k + 1]};
    }

    Index m_points;
    const double* m_w;
};

// The turns of one transform whose point j is turned by 2 pi j k / points as well, in the order that the
// butterflies take them in. `put` gets a turn's place and its angle as a multiple of 2 pi / points.
template <class Put>
void forEachTurn(const Circle& circle, Index radix, Index k, Put put)
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

// For a pass whose `rows` rows turn by 2 pi row / (rows * radix).
void fill(const Circle& circle, Index radix, Index rows, double* turns)
{
    for (Index row = 0; row < rows; ++row, turns += radix) {
        forEachTurn(circle, radix, row * (circle.points() / (rows * radix)),
                    [turns](Index i, const Angle& angle) { put(angle, turns[2 * i], turns[2 * i + 1]); });
    }
}

// The same for the last pass, eight rows in the lanes of vectors.
void fillLast(const Circle& circle, double* turns)
{
    const std::array<int, 8> order = Kernels::Fft::laneOrder();
    for (Index row = 0; row < circle.points() / 8; row += 8, turns += 64) {
        for (std::size_t lane = 0; lane < order.size(); ++lane) {
            double* const first = turns + lane;
            forEachTurn(circle, 8, row + order[lane], [first](Index i, const Angle& angle) {
                put(angle, first[16 * i], first[16 * i + 8]);
            });
        }
    }
}

} // namespace

std::unique_ptr<FftTurns> FftTurns::forLength(int length)
{
    const auto found = std::find_if(kRadices.cbegin(), kRadices.cend(), [length](const Radices& r) {
        return r.first * r.second * r.third * 8 == length;
    });
    if (found == kRadices.cend()) {
        return nullptr;
    }
    Kernels::Fft::Plan plan;
    plan.first = found->first;
    plan.second = found->second;
    plan.third = found->third;
    return std::unique_ptr<FftTurns>(new FftTurns(plan));
}

FftTurns::FftTurns(const Kernels::Fft::Plan& radices)
    : m_plan(radices)
{
    const auto rows = static_cast<std::size_t>(m_plan.first) * static_cast<std::size_t>(m_plan.second);
    const auto third = static_cast<std::size_t>(m_plan.third);
    m_second = hwy::AllocateAligned<double>(rows);
    m_third = hwy::AllocateAligned<double>(rows * third);
    m_last = hwy::AllocateAligned<double>(rows * third * 8);
    m_work = hwy::AllocateAligned<double>(static_cast<std::size_t>(Kernels::Fft::workSize(m_plan)));
    m_plan.secondTurns = m_second.get();
    m_plan.thirdTurns = m_third.get();
    m_plan.lastTurns = m_last.get();
    m_plan.work = m_work.get();
}

void FftTurns::build(const double* w)
{
    const Index rows = Index{m_plan.first} * m_plan.second;
    const Circle circle(rows * m_plan.third * 8, w);
    fill(circle, m_plan.second, m_plan.first, m_second.get());
    if (m_plan.third > 1) {
        fill(circle, m_plan.third, rows, m_third.get());
    }
    fillLast(circle, m_last.get());
}
