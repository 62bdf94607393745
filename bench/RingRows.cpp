#include "Core/Worker/RingBuffer.h"
#include "InstructionSets.h"
#include "RadioDevice/AirSpy/AirSpyConversion.h"
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

constexpr int kRingCapacity = 262'144; // samples
constexpr InstructionSets::Bars kBars{0.80, 0.80, 0.80};

using Ring = RingBuffer<DoubleComplex>;
using Block = std::vector<DoubleComplex>;

void write(Ring& ring, const Block& block)
{
    const QMutexLocker lock(&ring.mutex);
    ring.write(block.data(), static_cast<int>(block.size()));
}

void addRow(Table& table, const QString& format, const QString& set, double bar, int count,
            const std::function<void(Ring& ring)>& deliver)
{
    Ring ring(kRingCapacity);
    const Block result(static_cast<std::size_t>(count), DoubleComplex{0.5, -0.25});
    table.add({format + QStringLiteral(" IQ into the ring"), set,
               QStringLiteral("a copy of the result into it"), bar, Table::Unit::Nanoseconds,
               static_cast<double>(count), static_cast<double>(count)},
              compare({[&] { deliver(ring); }, {}}, {[&] { write(ring, result); }, {}}));
}

// Random values, `count` of each of the two parts.
template <class Value>
std::vector<Value> values(int count)
{
    std::mt19937 generator(1);
    std::vector<Value> all(2 * static_cast<std::size_t>(count));
    for (Value& value : all) {
        if constexpr (std::is_floating_point_v<Value>) {
            value = std::uniform_real_distribution<Value>(-1, 1)(generator);
        } else {
            value = static_cast<Value>(generator());
        }
    }
    return all;
}

} // namespace

void ringRows(Table& table)
{
    constexpr int kRtlBlock = 32'768;
    constexpr int kRspBlock = 1'344;
    constexpr int kAirspyBlock = 65'536;
    const auto bytes = values<unsigned char>(kRtlBlock);
    const auto shorts = values<short>(kRspBlock);
    const auto floats = values<float>(kAirspyBlock);
    Block block(kAirspyBlock);
    InstructionSets::forEach([&](std::int64_t set) {
        const QString name = InstructionSets::name(set);
        const double bar = InstructionSets::bar(kBars, set);
        addRow(table, QStringLiteral("8-bit"), name, bar, kRtlBlock, [&](Ring& ring) {
            block.resize(kRtlBlock);
            convertRtlUsb(bytes.data(), kRtlBlock, false, block.data());
            write(ring, block);
        });
        addRow(table, QStringLiteral("16-bit"), name, bar, kRspBlock, [&](Ring& ring) {
            block.resize(kRspBlock);
            convertRsp(shorts.data(), shorts.data() + kRspBlock, kRspBlock, block.data());
            write(ring, block);
        });
        addRow(table, QStringLiteral("float"), name, bar, kAirspyBlock, [&](Ring& ring) {
            block.resize(kAirspyBlock);
            AirSpyConversion::convert(floats.data(), kAirspyBlock, AirSpyConversion::Order::QThenI,
                                      block.data());
            write(ring, block);
        });
    });
}
