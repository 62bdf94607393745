#include "Network/Protocol/SampleBlock.h"

#include "Network/Protocol/Deflater.h"

#include <QtEndian>
#include <algorithm>
#include <type_traits>
#include <zlib.h>

namespace
{

constexpr int kPrefixSize = 4; // bytes, of a count or a length
constexpr int kLevel = 9;

// The most that one byte of a deflate stream can mean (zlib's technical details): a length that is more
// is a lie.
constexpr qint64 kBestRatio = 1032;

// Of the streams of samples; a longer block makes its own room.
constexpr int kUsualBlock = 1024; // bytes

Deflater& deflater()
{
    static thread_local Deflater deflater(kLevel);
    return deflater;
}

// What holds the bits of a sample while their order is turned.
template <typename Sample>
using Bits = std::conditional_t<sizeof(Sample) == sizeof(quint16), quint16, quint32>;

template <typename Sample>
void appendRun(QByteArray& block, const QVector<Sample>& samples)
{
    const int start = block.size();
    block.resize(start + kPrefixSize + samples.size() * static_cast<int>(sizeof(Sample)));
    char* const out = block.data() + start;
    qToBigEndian<qint32>(samples.size(), out);
    qToBigEndian<Bits<Sample>>(samples.constData(), samples.size(), out + kPrefixSize);
}

// Reads the run at `offset` and moves the offset past it.
template <typename Sample>
std::optional<QVector<Sample>> take(const QByteArray& block, int& offset)
{
    if (block.size() - offset < kPrefixSize) {
        return std::nullopt;
    }
    const auto count = qFromBigEndian<qint32>(block.constData() + offset);
    offset += kPrefixSize;
    const int available = (block.size() - offset) / static_cast<int>(sizeof(Sample));
    if (count < 0 || count > available) {
        return std::nullopt;
    }
    QVector<Sample> samples(count);
    qFromBigEndian<Bits<Sample>>(block.constData() + offset, count, samples.data());
    offset += count * static_cast<int>(sizeof(Sample));
    return samples;
}

} // namespace

QByteArray SampleBlock::encode(const QVector<qint16>& samples)
{
    QByteArray block;
    appendRun(block, samples);
    return block;
}

QByteArray SampleBlock::encode(const QVector<float>& first, const QVector<float>& second)
{
    QByteArray block;
    appendRun(block, first);
    appendRun(block, second);
    return block;
}

int SampleBlock::sizeOf(int count)
{
    return kPrefixSize + count * static_cast<int>(sizeof(qint16));
}

void SampleBlock::append(QByteArray& packet, const QVector<qint16>& samples)
{
    appendRun(packet, samples);
}

void SampleBlock::appendCompressed(QByteArray& packet, const QVector<qint16>& samples)
{
    static thread_local QByteArray block;
    block.reserve(kUsualBlock);
    block.resize(0);
    appendRun(block, samples);
    deflater().append(block, packet);
}

std::optional<QVector<qint16>> SampleBlock::decode(const QByteArray& block)
{
    int offset = 0;
    return take<qint16>(block, offset);
}

std::pair<QVector<float>, QVector<float>> SampleBlock::decodePair(const QByteArray& block)
{
    int offset = 0;
    const auto first = take<float>(block, offset);
    if (!first) {
        return {};
    }
    return {*first, take<float>(block, offset).value_or(QVector<float>())};
}

// zlib itself rather than qUncompress: that one doubles its buffer for as long as the stream goes on,
// whatever length was stated, and logs every damaged stream.
std::optional<QByteArray> SampleBlock::uncompress(const QByteArray& data, int maximumSize)
{
    if (data.size() < kPrefixSize) {
        return std::nullopt;
    }
    const qint64 length = qFromBigEndian<quint32>(data.constData());
    const qint64 streamSize = data.size() - kPrefixSize;
    if (length > std::min<qint64>(maximumSize, kBestRatio * streamSize)) {
        return std::nullopt;
    }
    QByteArray block(static_cast<int>(length), Qt::Uninitialized);
    auto size = static_cast<uLongf>(length);
    if (::uncompress(reinterpret_cast<Bytef*>(block.data()), &size,
                     reinterpret_cast<const Bytef*>(data.constData() + kPrefixSize),
                     static_cast<uLong>(streamSize)) != Z_OK) {
        return std::nullopt;
    }
    block.truncate(static_cast<int>(size));
    return block;
}
