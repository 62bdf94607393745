#pragma once

#include <QObject>

/// Turns requests from outside to end the process into a signal: Ctrl-C, a service manager's, a terminal or
/// console window that closes. A second one of its kind ends the process at once, should the first go
/// unheard.
/// Thread:    one with an event loop, which emits the signal.
/// Ownership: one object in a process at a time; without it the requests end the process.
/// Errors:    if the system has nothing left to catch the requests with, they end the process.
class Interrupt : public QObject
{
    Q_OBJECT

public:
    enum class Program
    {
        /// Catches them whatever it was started with.
        Command,
        /// What it was started to ignore (nohup) stays ignored, and the end of its terminal may come twice:
        /// the system and the shell may both send it.
        Service,
    };

    explicit Interrupt(Program program, QObject* parent = nullptr);
    ~Interrupt() override;

signals:
    void interrupted();

private:
    Q_DISABLE_COPY_MOVE(Interrupt)
};
