#pragma once

#include "Client/ClientSession.h"
#include "ClientApplication/Console/ExitCode.h"
#include "Receiving/ServerResolver.h"

/// What a session that doesn't come about, or ends, means to a user: a line that says what to do, and the
/// exit code.
/// Thread: main.
struct SessionText
{
    ExitCode code;
    QString line;

    [[nodiscard]] static SessionText of(const ServerResolver::Failure& failure);
    /// `text`: the server's own, fit for a terminal.
    [[nodiscard]] static SessionText of(ClientSession::Refusal refusal, const QString& text);
    /// `deviceError`: what the receiver has reported before; empty for nothing.
    [[nodiscard]] static SessionText of(ClientSession::End end, const QString& deviceError);
};
