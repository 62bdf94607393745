#include "Receiving/Sinks/SigMfSink.h"

#include "Core/Process/Version.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>
#include <QtEndian>

namespace
{

const QString kDataExtension = QStringLiteral(".sigmf-data");
const QString kMetaExtension = QStringLiteral(".sigmf-meta");
constexpr int kMaximumCaptures = 10'000; // which a recording with so many gaps has more than enough with

} // namespace

bool SigMfSink::open(const QString& path, const RecordingInfo& info)
{
    QString base = path;
    for (const QString& extension : {kDataExtension, kMetaExtension}) {
        if (base.endsWith(extension)) {
            base.chop(extension.size());
        }
    }
    m_info = info;
    m_metaPath = base + kMetaExtension;
    m_data.setFileName(base + kDataExtension);
    addCapture(0);
    if (!m_data.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Unbuffered)) {
        m_error = m_data.errorString();
        return false;
    }
    return writeMeta();
}

void SigMfSink::addCapture(qint64 missing)
{
    m_missing += missing;
    const double index = static_cast<double>(m_samples + m_missing);
    const QDateTime time = m_info.start.addMSecs(qRound64(1e3 * index / m_info.sampleRate));
    m_captures.append(QJsonObject{
        {QStringLiteral("core:sample_start"), m_samples},
        {QStringLiteral("core:global_index"), m_samples + m_missing},
        {QStringLiteral("core:frequency"), m_info.centre},
        {QStringLiteral("core:datetime"), time.toUTC().toString(Qt::ISODateWithMs)},
    });
}

bool SigMfSink::writeMeta()
{
    const QJsonObject global{
        {QStringLiteral("core:datatype"), QStringLiteral("ci16_le")},
        {QStringLiteral("core:version"), QStringLiteral("1.0.0")},
        {QStringLiteral("core:sample_rate"), m_info.sampleRate},
        {QStringLiteral("core:num_channels"), 1},
        {QStringLiteral("core:recorder"), QStringLiteral("orvenlink-client ") + Version::text()},
        {QStringLiteral("core:hw"), m_info.hardware},
    };
    const QJsonObject meta{
        {QStringLiteral("global"), global},
        {QStringLiteral("captures"), m_captures},
        {QStringLiteral("annotations"), QJsonArray()},
    };
    QSaveFile file(m_metaPath);
    const QByteArray text = QJsonDocument(meta).toJson();
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size() || !file.commit()) {
        m_error = file.errorString();
        return false;
    }
    return true;
}

IqSink::Outcome SigMfSink::write(const IqBlock& block)
{
    if (block.missing > 0 && m_captures.size() < kMaximumCaptures) {
        addCapture(block.missing);
    }
    for (const IqSample& sample : block.samples) {
        for (const qint16 value : {sample.i, sample.q}) {
            const qint16 little = qToLittleEndian(value);
            m_pending.append(reinterpret_cast<const char*>(&little), sizeof little);
        }
    }
    m_samples += block.samples.size();
    return Outcome::Going;
}

IqSink::Outcome SigMfSink::flush()
{
    int written = 0;
    while (written < m_pending.size()) {
        const qint64 count = m_data.write(m_pending.constData() + written, m_pending.size() - written);
        if (count <= 0) {
            m_error = m_data.errorString();
            m_pending.clear();
            return Outcome::Failed;
        }
        written += static_cast<int>(count);
    }
    m_pending.clear();
    return Outcome::Going;
}

IqSink::Outcome SigMfSink::finish()
{
    const bool isFlushed = flush() == Outcome::Going;
    m_data.close();
    // Without a gap what was written at the start still holds; a full disk takes nothing more.
    const bool isTold = m_captures.size() <= 1 || writeMeta();
    return isFlushed && isTold ? Outcome::Going : Outcome::Failed;
}
