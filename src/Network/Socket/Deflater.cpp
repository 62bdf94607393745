#include "Network/Socket/Deflater.h"

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

QByteArray Deflater::compress(const QByteArray& block)
{
    z_stream& zlib = m_stream->zlib;
    if (block.isEmpty() || !m_stream->good || deflateReset(&zlib) != Z_OK) {
        return qCompress(block, m_level);
    }
    const auto size = static_cast<uInt>(block.size());
    QByteArray result(kPrefixSize + static_cast<int>(deflateBound(&zlib, size)), Qt::Uninitialized);
    qToBigEndian<quint32>(size, result.data());
    zlib.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(block.constData())); // zlib's C interface
    zlib.avail_in = size;
    zlib.next_out = reinterpret_cast<Bytef*>(result.data() + kPrefixSize);
    zlib.avail_out = static_cast<uInt>(result.size() - kPrefixSize);
    if (deflate(&zlib, Z_FINISH) != Z_STREAM_END) {
        return qCompress(block, m_level);
    }
    result.truncate(result.size() - static_cast<int>(zlib.avail_out));
    return result;
}
