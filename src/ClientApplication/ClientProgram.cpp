#include "ClientApplication/ClientProgram.h"

#include "ClientApplication/Commands/Command.h"
#include "ClientApplication/Commands/CommandTable.h"
#include "ClientApplication/Console/ClientLog.h"
#include "ClientApplication/Console/Terminal.h"
#include "ClientApplication/Console/Text.h"
#include "Core/Process/Version.h"
#include "Platform/Interrupt.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QTimer>
#include <algorithm>

namespace
{

constexpr int kHelpWidth = 79; // columns, as the options below it

int toInt(ExitCode code)
{
    return static_cast<int>(code);
}

int help()
{
    QStringList lines{
        QStringLiteral("Usage: orvenlink-client COMMAND [SERVER] [options]"),
        QString(),
        QStringLiteral("Receives from an Orvenlink server."),
        QString(),
    };
    for (const CommandEntry& entry : commandTable()) {
        lines.append(QStringLiteral("  %1 %2").arg(entry.name, -10).arg(entry.summary));
    }
    lines += {
        QString(),
        QStringLiteral(
            "SERVER is an address as \"list\" shows it, or ADDRESS@HOST:PORT with --identificator."),
        QStringLiteral(
            "\"orvenlink-client COMMAND --help\" tells more. Options: --help, --version, --verbose."),
        QStringLiteral(
            "Exit codes: 0 done, 1 failed here, 2 wrong usage, 3 not found, 4 no answer, 5 refused,"),
        QStringLiteral("6 session lost, 7 not taken by the receiver, 130 interrupted."),
    };
    Terminal::print(lines.join(QLatin1Char('\n')));
    return toInt(Terminal::outputCode());
}

int usageError(const QString& line)
{
    Terminal::error(line);
    return toInt(ExitCode::Usage);
}

// The parser knows nothing of subcommands: its first line begins with the path of the program.
QString commandHelp(const CommandEntry& entry, const QCommandLineParser& parser)
{
    const QString text = parser.helpText();
    return QStringLiteral("Usage: orvenlink-client %1 %2")
        .arg(entry.name, text.mid(text.indexOf(QLatin1String("[options]"))));
}

int runCommand(const CommandEntry& entry, const QStringList& arguments)
{
    const std::unique_ptr<Command> command = entry.make();
    const QCommandLineOption helpOption({QStringLiteral("h"), QStringLiteral("help")},
                                        QStringLiteral("This help."));
    const QCommandLineOption verbose(QStringLiteral("verbose"),
                                     QStringLiteral("Log to standard error what goes on below."));
    QCommandLineParser parser;
    parser.setApplicationDescription(Text::wrapped(QLatin1String(entry.details), kHelpWidth));
    command->describe(parser);
    parser.addOptions({helpOption, verbose});
    QStringList own = arguments;
    own.removeAt(1);
    if (!parser.parse(own)) {
        QString what = parser.errorText().section(QLatin1Char('\n'), 0, 0);
        what.chop(what.endsWith(QLatin1Char('.')) ? 1 : 0);
        return usageError(QStringLiteral("%1: \"orvenlink-client %2 --help\" lists what there is")
                              .arg(Text::foreign(what), entry.name));
    }
    if (parser.isSet(helpOption)) {
        Terminal::write(commandHelp(entry, parser).toLocal8Bit());
        return toInt(Terminal::outputCode());
    }
    ClientLog::setVerbose(parser.isSet(verbose));
    const QString error = command->read(parser);
    if (!error.isEmpty()) {
        return usageError(error);
    }
    const Interrupt interrupt(Interrupt::Program::Command);
    QObject::connect(&interrupt, &Interrupt::interrupted, command.get(), &Command::interrupt);
    QObject::connect(command.get(), &Command::finished, command.get(),
                     [](ExitCode code) { QCoreApplication::exit(toInt(code)); });
    // From within the event loop, which an exit needs.
    QTimer beginning;
    beginning.setSingleShot(true);
    QObject::connect(&beginning, &QTimer::timeout, command.get(), &Command::start);
    beginning.start(0);
    return QCoreApplication::exec();
}

} // namespace

int ClientProgram::run(const QStringList& arguments)
{
    const QString name = arguments.value(1);
    if (name == QLatin1String("--version") || name == QLatin1String("-v")) {
        Terminal::print(QStringLiteral("orvenlink-client ") + Version::text());
        return toInt(Terminal::outputCode());
    }
    if (name == QLatin1String("--help") || name == QLatin1String("-h") || name == QLatin1String("help")) {
        return help();
    }
    if (name.isEmpty()) {
        help();
        return toInt(ExitCode::Usage);
    }
    const QVector<CommandEntry>& table = commandTable();
    const auto entry = std::find_if(table.begin(), table.end(),
                                    [&name](const CommandEntry& row) { return row.name == name; });
    if (entry == table.end()) {
        return usageError(QStringLiteral("\"%1\" is no command: \"orvenlink-client --help\" lists them")
                              .arg(Text::foreign(name)));
    }
    const int code = runCommand(*entry, arguments);
    ClientLog::summarize();
    return code;
}
