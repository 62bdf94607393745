#include "ClientApplication/Commands/SessionText.h"

#include "ClientApplication/Console/Text.h"

SessionText SessionText::of(const ServerResolver::Failure& failure)
{
    switch (failure.problem) {
    case ServerResolver::Problem::IdentificatorMissing:
        return {ExitCode::Usage,
                QStringLiteral("--identificator is missing: give the one that the server prints below its "
                               "address, for a wrong one would drive out whoever is connected")};
    case ServerResolver::Problem::CanNotListen:
        return {ExitCode::Failed, QStringLiteral("can't listen for servers: %1; name the server as "
                                                 "ADDRESS@HOST:PORT instead")
                                      .arg(failure.detail)};
    case ServerResolver::Problem::NotHeard:
        return {ExitCode::NotFound,
                QStringLiteral("no such server is heard on the local network: it is off, busy or elsewhere; "
                               "\"orvenlink-client list\" shows those that are free")};
    case ServerResolver::Problem::ClaimedTwice:
        return {ExitCode::NotFound,
                QStringLiteral("two servers claim this address, %1 and %2: name the right one as "
                               "ADDRESS@HOST:PORT with --identificator")
                    .arg(failure.detail, failure.other)};
    case ServerResolver::Problem::OtherIdentificator:
        return {ExitCode::Usage,
                QStringLiteral("the server's identificator is \"%1\", not the one given: leave "
                               "--identificator out, or correct it")
                    .arg(Text::foreign(failure.detail))};
    case ServerResolver::Problem::OtherVersion:
        return {ExitCode::Refused, QStringLiteral("the server speaks version %1 of the protocol, which this "
                                                  "client doesn't: bring the older of the two up to date")
                                       .arg(failure.detail)};
    case ServerResolver::Problem::UnknownHost:
        break;
    }
    return {ExitCode::NotFound, QStringLiteral("the host %1 is not known, %2: check the name and the "
                                               "network of this machine")
                                    .arg(Text::foreign(failure.detail), failure.other)};
}

SessionText SessionText::of(ClientSession::Refusal refusal, const QString& text)
{
    switch (refusal) {
    case ClientSession::Refusal::NoAnswer:
        return {
            ExitCode::NoAnswer,
            QStringLiteral("nobody answers there: check host, port and address, and that the server runs and "
                           "no firewall stands between")};
    case ClientSession::Refusal::Busy:
        return {ExitCode::Refused,
                QStringLiteral("Server busy! Somebody else is connected: try again later")};
    case ClientSession::Refusal::UnsupportedVersion:
        return {
            ExitCode::Refused,
            QStringLiteral("Unsupported version protocol! Bring the older of server and client up to date")};
    case ClientSession::Refusal::BadRequest:
        return {ExitCode::Refused,
                QStringLiteral(
                    "Error get client packet values! The server can't read this client: bring the older "
                    "of the two up to date")};
    case ClientSession::Refusal::NoDevice:
        return {
            ExitCode::Refused,
            QStringLiteral("Error factory RadioDevice! The server can't open its receiver: see whether it is "
                           "plugged in there")};
    case ClientSession::Refusal::Other:
        return {ExitCode::Refused, QStringLiteral("the server refuses: %1").arg(text)};
    case ClientSession::Refusal::BadAnswer:
        break;
    }
    return {ExitCode::Refused,
            QStringLiteral("what answers there is no server of this kind: check host, port and address")};
}

SessionText SessionText::of(ClientSession::End end, const QString& deviceError)
{
    if (!deviceError.isEmpty()) {
        return {ExitCode::SessionLost,
                QStringLiteral("the server has ended the session, its receiver says: %1").arg(deviceError)};
    }
    switch (end) {
    case ClientSession::End::TakenOver:
        return {ExitCode::SessionLost,
                QStringLiteral("another client has taken over the receiver: ask who else has it")};
    case ClientSession::End::Silent:
        return {
            ExitCode::SessionLost,
            QStringLiteral("the server has gone silent: check the network and the server, or use --reconnect "
                           "where a command has it")};
    case ClientSession::End::Closed:
    case ClientSession::End::ByServer:
        break;
    }
    return {ExitCode::SessionLost,
            QStringLiteral("the server has ended the session: see what it says there")};
}
