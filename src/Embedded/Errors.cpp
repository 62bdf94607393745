#include "Embedded/Errors.h"

#include "Core/Log/ForeignText.h"

using Code = orvenlink::Error::Code;

orvenlink::Error Errors::make(Code code, const QString& text)
{
    return {code, text.toStdString()};
}

orvenlink::Error Errors::of(const ServerResolver::Failure& failure)
{
    using Problem = ServerResolver::Problem;
    const QString detail = foreignText(failure.detail);
    switch (failure.problem) {
    case Problem::IdentificatorMissing:
        return make(Code::BadArgument,
                    QStringLiteral("the identificator is missing, which a server prints below "
                                   "its address"));
    case Problem::CanNotListen:
        return make(Code::Failed, QStringLiteral("can't listen for servers: %1; name the server as "
                                                 "ADDRESS@HOST:PORT instead")
                                      .arg(detail));
    case Problem::NotHeard:
        return make(Code::NotFound,
                    QStringLiteral("no such server is heard on the local network: it is off, busy "
                                   "or elsewhere"));
    case Problem::ClaimedTwice:
        return make(Code::NotFound,
                    QStringLiteral("two servers claim this address, %1 and %2: name the right one "
                                   "as ADDRESS@HOST:PORT")
                        .arg(detail, failure.other));
    case Problem::OtherIdentificator:
        return make(Code::BadArgument,
                    QStringLiteral("the server's identificator is \"%1\", not the one given").arg(detail));
    case Problem::OtherVersion:
        return make(Code::Version,
                    QStringLiteral("the server speaks version %1 of the protocol, and this client "
                                   "doesn't")
                        .arg(detail));
    case Problem::UnknownHost:
        break;
    }
    return make(Code::NotFound, QStringLiteral("the host %1 is not known: %2").arg(detail, failure.other));
}

orvenlink::Error Errors::of(ClientSession::Refusal refusal, const QString& text)
{
    using Refusal = ClientSession::Refusal;
    switch (refusal) {
    case Refusal::NoAnswer:
        return make(Code::NoAnswer,
                    QStringLiteral("nobody answers there: check host, port and address, the server "
                                   "and firewalls"));
    case Refusal::Busy:
        return make(Code::Busy, QStringLiteral("Server busy! Somebody else is connected"));
    case Refusal::UnsupportedVersion:
        return make(Code::Version,
                    QStringLiteral("Unsupported version protocol! Bring the older of server and "
                                   "client up to date"));
    case Refusal::BadRequest:
        return make(Code::Version,
                    QStringLiteral("Error get client packet values! Bring the older of server and "
                                   "client up to date"));
    case Refusal::NoDevice:
        return make(Code::NoReceiver, QStringLiteral("Error factory RadioDevice! The server can't open its "
                                                     "receiver"));
    case Refusal::Other:
        return make(Code::Refused, QStringLiteral("the server refuses: %1").arg(text));
    case Refusal::BadAnswer:
        break;
    }
    return make(Code::Refused, QStringLiteral("what answers there is no server of this kind"));
}

orvenlink::Error Errors::of(ClientSession::End end, const QString& deviceError)
{
    if (!deviceError.isEmpty()) {
        return make(
            Code::NotConnected,
            QStringLiteral("the server has ended the session, its receiver says: %1").arg(deviceError));
    }
    switch (end) {
    case ClientSession::End::TakenOver:
        return make(Code::NotConnected, QStringLiteral("another client has taken over the receiver"));
    case ClientSession::End::Silent:
        return make(Code::NotConnected, QStringLiteral("the server has gone silent"));
    case ClientSession::End::Closed:
    case ClientSession::End::ByServer:
        break;
    }
    return make(Code::NotConnected, QStringLiteral("the session has ended"));
}
