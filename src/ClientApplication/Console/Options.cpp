#include "ClientApplication/Console/Options.h"

#include "ClientApplication/Console/Text.h"

QCommandLineOption Options::identificator()
{
    return {QStringLiteral("identificator"),
            QStringLiteral(
                "The receiver's identificator, as the server prints it; needed with ADDRESS@HOST:PORT. "
                "A wrong one would drive out whoever is connected."),
            QStringLiteral("TEXT")};
}

QCommandLineOption Options::listenTime()
{
    return {QStringLiteral("wait"),
            QStringLiteral("How long to listen for servers on the local network; 3 seconds by default."),
            QStringLiteral("SECONDS")};
}

QCommandLineOption Options::json()
{
    return {QStringLiteral("json"), QStringLiteral("Print JSON, for programs.")};
}

QCommandLineOption Options::frequency()
{
    return {QStringLiteral("frequency"),
            QStringLiteral("Tune the receiver, as in 14250k or 14.25M; without it "
                           "it stays where it is."),
            QStringLiteral("HZ")};
}

QCommandLineOption Options::offset()
{
    return {QStringLiteral("offset"),
            QStringLiteral("Take the signal at this distance from where the receiver is tuned, as in -12k, "
                           "without moving the receiver."),
            QStringLiteral("HZ")};
}

QCommandLineOption Options::bandwidth()
{
    return {
        QStringLiteral("bandwidth"),
        QStringLiteral("The bandwidth wanted, as in 12k. The server halves the receiver's rate until it is "
                       "below twice of this."),
        QStringLiteral("HZ")};
}

QCommandLineOption Options::seconds(const QString& description)
{
    return {QStringLiteral("seconds"), description, QStringLiteral("TIME")};
}

QCommandLineOption Options::reconnect()
{
    return {QStringLiteral("reconnect"),
            QStringLiteral("When the session breaks off, come back with the same settings and go on.")};
}

QString Options::number(const QCommandLineParser& parser, const QCommandLineOption& option, Reader read,
                        const QString& example, std::optional<double>& result)
{
    if (!parser.isSet(option)) {
        return {};
    }
    result = read(parser.value(option));
    return result ? QString()
                  : QStringLiteral("--%1 takes a value such as %2, not \"%3\"")
                        .arg(option.names().constFirst(), example, Text::foreign(parser.value(option)));
}
