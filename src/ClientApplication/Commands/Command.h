#pragma once

#include "ClientApplication/Console/ExitCode.h"

#include <QObject>
#include <QString>

class QCommandLineParser;

/// One subcommand: what it takes, and what it does while the event loop runs.
/// Thread: main.
class Command : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    /// Adds its arguments and options, besides --help and --verbose.
    virtual void describe(QCommandLineParser& parser) const = 0;
    /// Takes what was given; a line that says what is wrong, or nothing.
    [[nodiscard]] virtual QString read(const QCommandLineParser& parser) = 0;
    /// `finished` follows, maybe at once.
    virtual void start() = 0;
    /// Ctrl-C: `finished` follows soon.
    virtual void interrupt() = 0;

signals:
    void finished(ExitCode code);
};
