#include "Receiving/Sinks/WavFile.h"

#include <QtEndian>

namespace
{

constexpr int kBytesPerValue = 2;
constexpr int kPcm = 1;
constexpr quint32 kTold64 = 0xFFFF'FFFF; // in place of a size that is among the 64-bit ones

template <typename Number>
void append(QByteArray& bytes, Number value)
{
    const Number little = qToLittleEndian(value);
    bytes.append(reinterpret_cast<const char*>(&little), sizeof little);
}

void appendChunkStart(QByteArray& bytes, const char* name, quint32 size)
{
    bytes.append(name);
    append(bytes, size);
}

} // namespace

WavFile::WavFile(qint64 limit)
    : m_limit(limit)
{
}

WavFile::~WavFile()
{
    (void)close();
}

bool WavFile::open(const QString& path, const Format& format)
{
    m_format = format;
    m_dataSize = 0;
    m_headerSize = header().size();
    m_file.setFileName(path);
    if (!m_file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Unbuffered)) {
        m_error = m_file.errorString();
        return false;
    }
    if (m_file.isSequential()) {
        m_error = QStringLiteral("it is a device or a pipe, not a file");
        m_file.close();
        return false;
    }
    return writeHeader();
}

// Extended:
//     0      4      8      12                48                72                     then
//     | RIFF | size | WAVE | JUNK 28, spare  | fmt  16, format | auxi 164, if wanted | data size, samples
//     | RF64 | -1   | WAVE | ds64 28, sizes  | fmt  16, format | auxi 164, if wanted | data -1, samples
QByteArray WavFile::header() const
{
    const int frameSize = m_format.channels * kBytesPerValue;
    QByteArray chunks;
    appendChunkStart(chunks, "fmt ", 16);
    append<quint16>(chunks, kPcm);
    append(chunks, static_cast<quint16>(m_format.channels));
    append(chunks, static_cast<quint32>(m_format.sampleRate));
    append(chunks, static_cast<quint32>(m_format.sampleRate) * static_cast<quint32>(frameSize));
    append(chunks, static_cast<quint16>(frameSize));
    append<quint16>(chunks, 8 * kBytesPerValue);
    if (!m_format.auxi.isEmpty()) {
        appendChunkStart(chunks, "auxi", static_cast<quint32>(m_format.auxi.size()));
        chunks.append(m_format.auxi);
    }
    constexpr int kSizes = 28; // bytes
    const bool isExtended = m_format.form == Form::Extended;
    const qint64 riffSize = 4 + (isExtended ? 8 + kSizes : 0) + chunks.size() + 8 + m_dataSize;
    const bool is64 = isExtended && riffSize > m_limit;

    QByteArray bytes;
    appendChunkStart(bytes, is64 ? "RF64" : "RIFF", is64 ? kTold64 : static_cast<quint32>(riffSize));
    bytes.append("WAVE");
    if (isExtended) {
        appendChunkStart(bytes, is64 ? "ds64" : "JUNK", kSizes);
        append(bytes, is64 ? static_cast<quint64>(riffSize) : quint64{0});
        append(bytes, is64 ? static_cast<quint64>(m_dataSize) : quint64{0});
        append(bytes, is64 ? static_cast<quint64>(m_dataSize / frameSize) : quint64{0});
        append<quint32>(bytes, 0); // no further sizes
    }
    bytes.append(chunks);
    appendChunkStart(bytes, "data", is64 ? kTold64 : static_cast<quint32>(m_dataSize));
    return bytes;
}

bool WavFile::writeHeader()
{
    return m_file.seek(0) && writeAll(header()) == m_headerSize;
}

// Gives the bytes written; a write that comes back short is taken up again, so that the reason is known.
qint64 WavFile::writeAll(const QByteArray& bytes)
{
    qint64 written = 0;
    while (written < bytes.size()) {
        const qint64 count = m_file.write(bytes.constData() + written, bytes.size() - written);
        if (count <= 0) {
            m_error = m_file.errorString();
            break;
        }
        written += count;
    }
    return written;
}

bool WavFile::write(const qint16* values, qint64 frames)
{
    const int frameSize = m_format.channels * kBytesPerValue;
    QByteArray bytes(static_cast<int>(frames * frameSize), Qt::Uninitialized);
    qToLittleEndian<qint16>(values, frames * m_format.channels, bytes.data());
    if (!m_file.seek(m_headerSize + m_dataSize)) {
        m_error = m_file.errorString();
        return false;
    }
    const qint64 written = writeAll(bytes);
    m_dataSize += written / frameSize * frameSize;
    // After the samples: a cut between the two leaves a header that promises no more than there is.
    const bool isHeaderWritten = writeHeader();
    return written == bytes.size() && isHeaderWritten;
}

void WavFile::setAuxi(const QByteArray& content)
{
    Q_ASSERT(content.size() == m_format.auxi.size());
    m_format.auxi = content;
}

bool WavFile::close()
{
    if (!m_file.isOpen()) {
        return true;
    }
    // After a failure there may be part of a frame.
    bool isWhole = writeHeader();
    if (!m_file.resize(size())) {
        m_error = m_file.errorString();
        isWhole = false;
    }
    m_file.close();
    return isWhole;
}

bool WavFile::isFull(qint64 frames) const
{
    return m_format.form == Form::Plain && size() + frames * m_format.channels * kBytesPerValue > m_limit;
}
