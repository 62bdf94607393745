#pragma once

#include "System/ServerProcess.h"

#include <QJsonDocument>
#include <QProcess>
#include <QStringList>
#include <csignal>

inline QStringList words(const char* text)
{
    return QString::fromLatin1(text).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

/// The real client in a process of its own; killed with the object if still running.
class ClientProcess
{
public:
    ClientProcess();
    ~ClientProcess();

    /// Options that name the server: by its address on loopback, with the identificator.
    [[nodiscard]] static QStringList at(const ServerProcess& server);
    /// `command`, the server, then `arguments`.
    void start(const QString& command, const ServerProcess& server, const QStringList& arguments = {});
    void start(const QStringList& arguments);
    /// `start`, then waits for the end; the exit code, or -1000 if it doesn't come or comes by a signal.
    int run(const QString& command, const ServerProcess& server, const QStringList& arguments = {});
    int run(const QStringList& arguments);
    /// As `run`, for a command that receives samples; once more, up to four times, if it has ended well and
    /// tells of losses: a machine with too much to do lets the server's player fall behind.
    int runWithoutLosses(const QString& command, const ServerProcess& server, const QStringList& arguments);
    [[nodiscard]] int waitForExitCode();

    void signal(int number) const;
    /// Instead of `output`.
    void setOutputFile(const QString& path) { m_process.setStandardOutputFile(path); }
    /// KiB, the most that has been resident so far.
    [[nodiscard]] qint64 mostMemory() const;
    [[nodiscard]] bool isRunning() const { return m_process.state() == QProcess::Running; }

    /// All of it so far.
    [[nodiscard]] QByteArray output();
    [[nodiscard]] QString text() { return QString::fromUtf8(output()); }
    [[nodiscard]] QJsonDocument json() { return QJsonDocument::fromJson(output()); }
    /// Lines of standard error.
    [[nodiscard]] QStringList errors();

private:
    Q_DISABLE_COPY_MOVE(ClientProcess)

    class Process : public QProcess
    {
    protected:
        void setupChildProcess() override;
    };

    Process m_process;
    QByteArray m_output;
    QByteArray m_errors;
};
