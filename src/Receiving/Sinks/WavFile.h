#pragma once

#include <QByteArray>
#include <QFile>
#include <QString>

/// Writes a WAV file of 16-bit samples, which turns into RF64 (EBU Tech 3306) when it passes 4 GB. The sizes
/// in the header follow what is written, so that a file cut off by a kill or a full disk can be read up to
/// the cut. The format is always plain PCM, number 1, which programs for IQ recordings ask for.
/// Thread: any, one at a time.
/// Errors: false, and errorString(); what was written before stays readable.
class WavFile
{
public:
    static constexpr qint64 kLimit = 0xFFFF'FFFF; ///< Bytes, the longest that 32 bits can tell.

    enum class Form
    {
        Extended, ///< Room for 64-bit sizes, then the chunks.
        Plain,    ///< The 44-byte header alone, as simple players expect. Ends below 4 GB.
    };
    struct Format
    {
        int sampleRate = 0; ///< Hz, 1 or more.
        int channels = 1;
        Form form = Form::Extended;
        QByteArray auxi; ///< Content of the chunk of that name, of even length; empty for none.
    };

    /// `limit`: bytes of a file without 64-bit sizes.
    explicit WavFile(qint64 limit = kLimit);
    /// Closes.
    ~WavFile();

    /// Makes the file, or empties it, and writes the header.
    [[nodiscard]] bool open(const QString& path, const Format& format);
    /// Appends frames of one value for each channel. The system has everything on return. After a failure the
    /// file ends with the last whole frame that there was room for.
    [[nodiscard]] bool write(const qint16* values, qint64 frames);
    /// From the next write or close on, another content of `auxi`, of the same length.
    void setAuxi(const QByteArray& content);
    [[nodiscard]] bool close();

    /// True if so many frames more would break a Plain file.
    [[nodiscard]] bool isFull(qint64 frames) const;
    [[nodiscard]] QString path() const { return m_file.fileName(); }
    [[nodiscard]] QString errorString() const { return m_error; }
    [[nodiscard]] qint64 size() const { return m_headerSize + m_dataSize; } ///< Bytes.

private:
    [[nodiscard]] QByteArray header() const;
    [[nodiscard]] bool writeHeader();
    [[nodiscard]] qint64 writeAll(const QByteArray& bytes);

    QFile m_file;
    QString m_error;
    Format m_format;
    qint64 m_limit;
    qint64 m_headerSize = 0; // bytes
    qint64 m_dataSize = 0;   // bytes
};
