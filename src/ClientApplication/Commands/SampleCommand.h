#pragma once

#include "Client/IqQueue.h"
#include "ClientApplication/Commands/TunedCommand.h"
#include "Receiving/IqPump.h"
#include "Receiving/Sinks/OutputPipe.h"

#include <QElapsedTimer>
#include <memory>

/// A command that carries samples into a file or a pipe until it has enough, is interrupted, or nobody reads
/// any more; shows how far it is, and says at the end what has come of it.
/// Thread: main.
class SampleCommand : public TunedCommand
{
    Q_OBJECT

public:
    void describe(QCommandLineParser& parser) const override;
    [[nodiscard]] QString read(const QCommandLineParser& parser) override;
    void interrupt() override;

protected:
    explicit SampleCommand(const Patience& patience = {});

    void beginTuned(double sampleRate) final;
    void broken() final;

    /// The sink, opened; nothing after `fail`.
    [[nodiscard]] virtual std::unique_ptr<IqSink> makeSink(double sampleRate) = 0;
    /// What is written to, for people; empty for standard output.
    [[nodiscard]] virtual QString path() const = 0;
    /// Standard output, for a sink; a sink that waits for its reader is let go at the end.
    [[nodiscard]] OutputPipe& pipe() { return m_pipe; }

private:
    void onEnded(IqSink::Outcome outcome, const QString& error);
    void showProgress();
    void summarize();
    [[nodiscard]] qint64 missing();
    [[nodiscard]] QString losses();

    IqQueue m_queue;
    OutputPipe m_pipe;
    std::unique_ptr<IqPump> m_pump;
    QTimer m_progress;
    double m_seconds = 0.0; // wanted; 0 for no end
    bool m_isJson = false;
    bool m_isInterrupted = false;
};
