#pragma once

#include "Receiving/Sinks/IqSink.h"
#include "Receiving/Sinks/RecordingInfo.h"
#include "Receiving/Sinks/WavFile.h"

#include <vector>

/// Records samples into a WAV file as programs for IQ recordings expect it: I in the left channel and Q in
/// the right, with a chunk `auxi`.
/// Thread: as IqSink.
class WavSink : public IqSink
{
public:
    [[nodiscard]] bool open(const QString& path, const RecordingInfo& info);

    [[nodiscard]] Outcome write(const IqBlock& block) override;
    [[nodiscard]] Outcome flush() override;
    [[nodiscard]] Outcome finish() override;
    [[nodiscard]] qint64 size() const override { return m_file.size(); }
    [[nodiscard]] QString errorString() const override { return m_file.errorString(); }

private:
    [[nodiscard]] QByteArray auxi() const;

    WavFile m_file;
    RecordingInfo m_info;
    std::vector<qint16> m_pending;
    qint64 m_frames = 0; // taken so far
};
