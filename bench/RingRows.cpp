#include "Core/Worker/RingBuffer.h"
#include "InstructionSets.h"
#include "RadioDevice/AirSpyFamily/AirSpyConversion.h"
#include "RadioDevice/Rsp/RspConversion.h"
#include "RadioDevice/RtlUsb/RtlUsbConversion.h"
#include "Rounds.h"
#include "Rows.h"
#include "Table.h"

#include <QMutexLocker>
#include <functional>
#include <random>
#include <vector>

// What a receiver's delivery thread does with each of its library's buffers.

namespace
{

constexpr int kCapacity = 262'144; // samples of the ring
constexpr InstructionSets::Bars kBars{0.80, 0.80, 0.80};

using Ring = RingBuffer<DoubleComplex>;
using Convert = std::function<void(int from, int count, DoubleComplex* made)>;

// Random values of two parts a sample.
template <class Value>
std::vector<Value> values()
{
    std::mt19937 generator(1);
    std::vector<Value> all(std::size_t{2} * kCapacity);
    for (Value& value : all) {
        if constexpr (std::is_floating_point_v<Value>) {
            value = std::uniform_real_distribution<Value>(-1, 1)(generator);
        } else {
            value = static_cast<Value>(generator());
        }
    }
    return all;
}

// Where each block of `length` samples begins in as many samples as the ring has: what comes off a receiver's
// bus is in no near cache.
class Place
{
public:
    explicit Place(int length)
        : m_length(length)
    {
    }

    int next()
    {
        m_place = m_place + 2 * m_length > kCapacity ? 0 : m_place + m_length;
        return m_place;
    }

private:
    int m_length;
    int m_place = 0;
};

void addRows(Table& table, const QString& format, std::int64_t set, int length, const Convert& convert)
{
    Ring ring(kCapacity);
    const std::vector<DoubleComplex> results(kCapacity, DoubleComplex{0.5, -0.25});
    Place from(length);
    const auto copy = [&](int first) {
        const QMutexLocker lock(&ring.mutex);
        ring.write(results.data() + first, length);
    };
    const auto deliver = [&](int at) {
        const QMutexLocker lock(&ring.mutex);
        ring.writeMade(length,
                       [&](DoubleComplex* made, int first, int count) { convert(at + first, count, made); });
    };
    Table::Piece piece{format + QStringLiteral(" IQ into the ring"),
                       InstructionSets::name(set),
                       QStringLiteral("a copy of the result into it"),
                       InstructionSets::bar(kBars, set),
                       Table::Unit::Nanoseconds,
                       static_cast<double>(length),
                       static_cast<double>(length)};
    table.add(piece, compare({[&] { deliver(from.next()); }, {}}, {[&] { copy(from.next()); }, {}}));
    piece.peer = QStringLiteral("the same, of one block in the cache");
    piece.bar = -1.0;
    table.add(piece, compare({[&] { deliver(0); }, {}}, {[&] { copy(0); }, {}}));
}

} // namespace

void ringRows(Table& table)
{
    const auto bytes = values<unsigned char>();
    const auto shorts = values<short>();
    const auto floats = values<float>();
    InstructionSets::forEach([&](std::int64_t set) {
        addRows(table, QStringLiteral("8-bit"), set, 32'768, [&](int from, int count, DoubleComplex* made) {
            convertRtlUsb(bytes.data() + 2LL * from, count, false, made);
        });
        addRows(table, QStringLiteral("16-bit"), set, 1'344, [&](int from, int count, DoubleComplex* made) {
            convertRsp(shorts.data() + from, shorts.data() + kCapacity + from, count, made);
        });
        addRows(table, QStringLiteral("float"), set, 65'536, [&](int from, int count, DoubleComplex* made) {
            AirSpyConversion::convert(floats.data() + 2LL * from, count, AirSpyConversion::Order::QThenI,
                                      made);
        });
    });
}
