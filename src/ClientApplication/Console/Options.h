#pragma once

#include <QCommandLineOption>
#include <QCommandLineParser>
#include <QString>
#include <optional>

/// The options that several subcommands share, and the reading of numbers in options.
/// Thread: main.
namespace Options
{

QCommandLineOption identificator();
QCommandLineOption listenTime();
QCommandLineOption json();
QCommandLineOption frequency();
QCommandLineOption offset();
QCommandLineOption bandwidth();
QCommandLineOption seconds(const QString& description);
QCommandLineOption reconnect();

/// The value of an option, by `read`, into `result`, which stays empty without the option. A line that says
/// what is wrong, or nothing.
using Reader = std::optional<double> (*)(const QString&);
[[nodiscard]] QString number(const QCommandLineParser& parser, const QCommandLineOption& option, Reader read,
                             const QString& example, std::optional<double>& result);

} // namespace Options
