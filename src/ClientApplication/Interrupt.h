#pragma once

#include <QObject>

/// Turns Ctrl-C, a request to terminate and a terminal that is closed into a signal, so that a session is
/// left politely. A second one ends the process at once. One object in a process.
class Interrupt : public QObject
{
    Q_OBJECT

public:
    explicit Interrupt(QObject* parent = nullptr);
    ~Interrupt() override;

signals:
    void interrupted();

private:
    Q_DISABLE_COPY_MOVE(Interrupt)
    void onReadable();

    int m_reader = -1; // of a pipe that the signal handler writes to
};
