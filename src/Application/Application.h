#pragma once

#include "Application/QConsoleListener.h"
#include "Core/RadioDevice/DefRadioDevice.h"

#include <QObject>
#include <QSharedPointer>

class EnumeratorRadioDevice;
class InfoRadioDevice;
class QCommandLineParser;
class Server;
class int160;

/// The process: reads the command line, chooses the receiver, makes the one `Server`, answers the console.
/// Thread: main.
/// Errors: what keeps the program from serving ends the process with -1.
class Application : public QObject
{
    Q_OBJECT

public:
    /// The one object, made at the first call. A direct exit of the process doesn't destroy it.
    static Application& instance();
    ~Application() override;

    /// Returns with the server made, or doesn't return.
    void parseArgs();

    /// Tells the rendezvous server that the server leaves, and ends the process with 0.
    [[noreturn]] void quit();

private:
    Application();
    void onConsoleLine(const QString& line);
    void printStatus() const;

    QConsoleListener m_console;
    QSharedPointer<EnumeratorRadioDevice> m_enumerator;
    Server* m_server = nullptr;
};
