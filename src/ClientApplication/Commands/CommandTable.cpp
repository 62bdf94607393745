#include "ClientApplication/Commands/CommandTable.h"

#include "ClientApplication/Commands/InfoCommand.h"
#include "ClientApplication/Commands/ListCommand.h"
#include "ClientApplication/Commands/ListenCommand.h"
#include "ClientApplication/Commands/RecordCommand.h"
#include "ClientApplication/Commands/SetCommand.h"
#include "ClientApplication/Commands/SpectrumCommand.h"
#include "ClientApplication/Commands/StreamCommand.h"

namespace
{

template <typename Which>
std::unique_ptr<Command> make()
{
    return std::make_unique<Which>();
}

template <InfoCommand::Form form>
std::unique_ptr<Command> makeInfo()
{
    return std::make_unique<InfoCommand>(form);
}

} // namespace

const QVector<CommandEntry>& commandTable()
{
    static const QVector<CommandEntry> table{
        {QLatin1String("list"), QLatin1String("the servers on the local network"),
         QLatin1String(
             "Lists the free servers that announce themselves: address, host, port and receiver. A server "
             "that somebody uses isn't heard."),
         &make<ListCommand>},
        {QLatin1String("info"), QLatin1String("what a receiver is and can do"),
         QLatin1String(
             "Shows the receiver of a server: its bands, its rates, and each property with its value, unit "
             "and meaning."),
         &makeInfo<InfoCommand::Form::Everything>},
        {QLatin1String("get"), QLatin1String("values of a receiver's properties"),
         QLatin1String("Prints the value of one property alone, or names and values of several or all."),
         &makeInfo<InfoCommand::Form::ValuesAlone>},
        {QLatin1String("set"), QLatin1String("set a property of a receiver"),
         QLatin1String(
             "Sets a property and prints what the receiver has taken. The server keeps it for the next "
             "session."),
         &make<SetCommand>},
        {QLatin1String("spectrum"), QLatin1String("the spectrum, live, as a picture or as numbers"),
         QLatin1String(
             "In a terminal: a live spectrum and waterfall. Else a table of hertz and decibels above full "
             "scale, or with --json an object for each spectrum."),
         &make<SpectrumCommand>},
        {QLatin1String("record"), QLatin1String("record IQ samples into a file"),
         QLatin1String(
             "Records into WAV (I left, Q right, with an auxi chunk; RF64 beyond 4 GB) or SigMF. A recording "
             "that is cut off can be read up to the cut."),
         &make<RecordCommand>},
        {QLatin1String("stream"), QLatin1String("IQ samples to standard output"),
         QLatin1String("Writes raw samples for other programs, as in:\n"
                       "  orvenlink-client stream SERVER --format cf32 | other-program"),
         &make<StreamCommand>},
        {QLatin1String("listen"), QLatin1String("hear a station"),
         QLatin1String("Demodulates a station, as in:\n"
                       "  orvenlink-client listen SERVER --mode am --offset -12k | aplay -r 48000 -f S16_LE"),
         &make<ListenCommand>},
    };
    return table;
}
