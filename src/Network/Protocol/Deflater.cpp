#include "Network/Protocol/Deflater.h"

#include <QtEndian>
#include <zlib.h>

namespace
{

constexpr int kPrefixSize = 4; // bytes, of the length

} // namespace

struct Deflater::Stream
{
    z_stream zlib{};
    bool good = false;
};

Deflater::Deflater(int level)
    : m_stream(std::make_unique<Stream>())
    , m_level(level)
{
    m_stream->good = deflateInit(&m_stream->zlib, level) == Z_OK;
}

Deflater::~Deflater()
{
    if (m_stream->good) {
        deflateEnd(&m_stream->zlib);
    }
}

void Deflater::append(const QByteArray& block, QByteArray& result)
{
    z_stream& zlib = m_stream->zlib;
    if (block.isEmpty() || !m_stream->good || deflateReset(&zlib) != Z_OK) {
        result.append(qCompress(block, m_level));
        return;
    }
    const int start = result.size();
    const auto size = static_cast<uInt>(block.size());
    const auto bound = static_cast<uInt>(deflateBound(&zlib, size));
    result.reserve(start + kPrefixSize + static_cast<int>(bound));
    result.resize(start + kPrefixSize + static_cast<int>(bound));
    qToBigEndian<quint32>(size, result.data() + start);
    zlib.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(block.constData())); // zlib's C interface
    zlib.avail_in = size;
    zlib.next_out = reinterpret_cast<Bytef*>(result.data() + start + kPrefixSize);
    zlib.avail_out = bound;
    if (deflate(&zlib, Z_FINISH) == Z_STREAM_END) {
        result.truncate(result.size() - static_cast<int>(zlib.avail_out));
    } else {
        result.truncate(start);
        result.append(qCompress(block, m_level));
    }
}
