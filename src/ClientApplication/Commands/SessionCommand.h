#pragma once

#include "Client/ClientSession.h"
#include "ClientApplication/Commands/Command.h"
#include "Receiving/ServerArgument.h"
#include "Receiving/ServerResolver.h"

#include <QTimer>

struct SessionText;

/// A command that needs a session with the server that its first argument names: finds it, connects, waits
/// for the receiver's properties, and says in a line what went wrong.
/// Thread: main.
class SessionCommand : public Command
{
    Q_OBJECT

public:
    /// How long a command waits.
    struct Patience
    {
        int properties = 20'000; ///< ms, for the receiver's properties, from the session's beginning.
        int stalled = 5'000;     ///< ms without samples or spectra, after which it is said.
        int lost = 15'000;       ///< ms without them, after which the command ends unless it is to come back.
        ClientSession::Timing session;
    };

    void describe(QCommandLineParser& parser) const override;
    [[nodiscard]] QString read(const QCommandLineParser& parser) override;
    void start() override;
    /// Leaves politely.
    void interrupt() override;

protected:
    explicit SessionCommand(const Patience& patience);

    /// In session, and the receiver's properties are here. Once.
    virtual void begin() = 0;
    /// The session has broken off after `begin` and is not asked for again. By default nothing: the line of
    /// the error and the end of the command follow.
    virtual void broken() {}

    [[nodiscard]] ClientSession& session() { return m_session; }
    [[nodiscard]] RemoteDevice& device() { return m_session.device(); }
    /// "IQ file player at 127.0.0.1".
    [[nodiscard]] QString title();
    /// "14.000000 MHz to 14.500000 MHz", one text for each band of the receiver.
    [[nodiscard]] QStringList bands();
    /// What the receiver's ppmCorrection does to its frequency whenever it is started, in a line; empty where
    /// it does nothing.
    [[nodiscard]] QString correctionAtStart();

    /// Leaves the session and ends the command.
    void done(ExitCode code);
    /// As `done`, with a line that says what to do.
    void fail(ExitCode code, const QString& line);

private:
    void fail(const SessionText& text);
    void onTarget(const ClientSession::Target& target);
    void onRefused(ClientSession::Refusal refusal, const QString& text);
    void onEnded(ClientSession::End end);
    void onSynchronized();
    void onSynchronizationFailed();
    void onPropertiesMissing();

    ServerArgument m_server;
    QString m_identificator;
    int m_listenTime = 0; // ms
    QString m_deviceError;
    ServerResolver m_resolver;
    ClientSession m_session;
    QTimer m_properties; // runs in a session until they have come
    bool m_hasBegun = false;
    bool m_isDone = false;
};
