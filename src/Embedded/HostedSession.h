#pragma once

#include "Client/ClientSession.h"
#include "Client/IqQueue.h"
#include "Embedded/Mailbox.h"
#include "Embedded/SampleReader.h"
#include "Embedded/orvenlink/Values.h"
#include "Receiving/ServerResolver.h"

#include <QObject>
#include <future>
#include <memory>
#include <vector>

/// What a client does in its own thread: finds the server, holds the session, puts what it brings where the
/// host's threads take it.
/// Thread: its own, but for `reader`.
class HostedSession : public QObject
{
    Q_OBJECT

public:
    using Answer = std::shared_ptr<std::promise<orvenlink::Error>>;

    HostedSession(Mailbox<orvenlink::Event>& events, Mailbox<orvenlink::Spectrum>& spectra);
    ~HostedSession() override;

    /// `answer` is given when the session is ready to be used, or why it won't be.
    void open(const QString& server, const QString& identificator, int listenMs, Answer answer);
    void close();
    /// `answer` is given when all properties have come.
    void refresh(Answer answer);
    void setBuffer(std::chrono::milliseconds length);

    [[nodiscard]] orvenlink::State state() const;
    [[nodiscard]] orvenlink::Counts counts();
    [[nodiscard]] ClientSession& session() { return m_session; }
    [[nodiscard]] RemoteDevice& device() { return m_session.device(); }
    /// Any thread.
    [[nodiscard]] SampleReader& reader() { return m_reader; }

private:
    void onTarget(const ClientSession::Target& target);
    void onRefused(ClientSession::Refusal refusal, const QString& text);
    void onEnded(ClientSession::End end);
    void onSynchronized();
    void onRate();
    void answerIfReady();
    void endResolving();
    void answerOpening(const orvenlink::Error& error);
    void answerRefreshes(const orvenlink::Error& error);
    void setCapacity();

    Mailbox<orvenlink::Event>& m_events;
    ServerResolver* m_resolver = nullptr; // a child, while a server is looked for
    ClientSession m_session;
    IqQueue m_queue;
    SampleReader m_reader;
    std::chrono::milliseconds m_buffer{200};
    QString m_deviceError;
    Answer m_opening;
    std::vector<Answer> m_refreshing;
};
