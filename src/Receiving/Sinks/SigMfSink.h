#pragma once

#include "Receiving/Sinks/IqSink.h"
#include "Receiving/Sinks/RecordingInfo.h"

#include <QFile>
#include <QJsonArray>

/// Records samples as SigMF (sigmf.org): the samples alone in `.sigmf-data`, 16-bit, I first, and what there
/// is to know of them in `.sigmf-meta`, which is there from the start. Samples known to be missing begin a
/// new capture segment, whose core:global_index counts them.
/// Thread: as IqSink.
class SigMfSink : public IqSink
{
public:
    /// `path` without an extension, or with either of the two.
    [[nodiscard]] bool open(const QString& path, const RecordingInfo& info);

    [[nodiscard]] Outcome write(const IqBlock& block) override;
    [[nodiscard]] Outcome flush() override;
    [[nodiscard]] Outcome finish() override;
    [[nodiscard]] qint64 size() const override { return m_data.size(); }
    [[nodiscard]] QString errorString() const override { return m_error; }
    [[nodiscard]] QString dataPath() const { return m_data.fileName(); }

private:
    void addCapture(qint64 missing);
    [[nodiscard]] bool writeMeta();

    QFile m_data;
    QString m_metaPath;
    QString m_error;
    RecordingInfo m_info;
    QJsonArray m_captures;
    QByteArray m_pending;
    qint64 m_samples = 0; // taken so far
    qint64 m_missing = 0; // samples
};
