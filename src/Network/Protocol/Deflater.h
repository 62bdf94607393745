#pragma once

#include <QByteArray>
#include <memory>

/// Compresses one block after another into zlib streams of their own (RFC 1950), at one level. The bytes are
/// those of qCompress; the 256 KiB that zlib works in are kept from block to block, where qCompress has the
/// system hand them out and take them back each time, which costs twice what the compression does.
/// One thread at a time.
class Deflater
{
public:
    /// `level` as zlib has it: 1 to 9.
    explicit Deflater(int level);
    ~Deflater();

    /// Appends the block's length in 4 bytes, big-endian, and its stream; the 4 bytes alone for an empty
    /// block. Nothing is taken from the heap if `result` has reserved enough: the block's size, an eighth of
    /// it and 64 bytes.
    void append(const QByteArray& block, QByteArray& result);

private:
    Q_DISABLE_COPY_MOVE(Deflater)
    struct Stream;
    std::unique_ptr<Stream> m_stream;
    const int m_level;
};
