#pragma once

#include <QProcess>
#include <QStringList>
#include <functional>

class ServerHome;

/// The real server in a process of its own. Its log lines are kept; killed with the object if still running.
class ServerProcess
{
public:
    explicit ServerProcess(const ServerHome& home);
    ~ServerProcess();

    /// Runs in the child just before it becomes the server: to give it another standard input than the pipe
    /// that `type` writes to. System calls only.
    void setPreparation(std::function<void()> preparation) { m_process.preparation = std::move(preparation); }
    void setInputFile(const QString& path) { m_process.setStandardInputFile(path); }
    void setVariable(const QString& name, const QString& value);
    void start(const QStringList& arguments = {});
    /// Starts another program, which is to become the server.
    void startBy(const QString& program, const QStringList& arguments);
    /// `start`, then waits until the server can be reached and the last line of the start is out.
    [[nodiscard]] bool serve(const QStringList& arguments = {});
    [[nodiscard]] bool waitUntilServing();
    /// Types "q" and waits for the end; true if the exit code is 0.
    [[nodiscard]] bool quit();
    /// Waits for the end. -1000 if it doesn't come or comes by a signal.
    [[nodiscard]] int waitForExitCode();

    void type(const QByteArray& bytes) { m_process.write(bytes); }
    void closeInput() { m_process.closeWriteChannel(); }
    void signal(int number) const;

    [[nodiscard]] bool isRunning() const { return m_process.state() == QProcess::Running; }
    [[nodiscard]] qint64 pid() const { return m_process.processId(); }
    /// Whole lines that the server has written to standard error.
    [[nodiscard]] QStringList lines() const { return m_lines; }
    [[nodiscard]] QByteArray standardOutput() { return m_process.readAllStandardOutput(); }
    [[nodiscard]] bool hasLine(const QString& line) const { return m_lines.contains(line); }
    /// The number of lines that hold `text`.
    [[nodiscard]] int count(const QString& text) const { return m_lines.filter(text).size(); }
    [[nodiscard]] bool waitForLine(const QString& text) const;

    /// From the address block.
    [[nodiscard]] QString address() const { return valueOf(QStringLiteral("Server address:\t")); }
    [[nodiscard]] QString identificator() const { return valueOf(QStringLiteral("Identificator:\t")); }
    [[nodiscard]] quint16 port() const { return valueOf(QStringLiteral("Server local port:\t")).toUShort(); }
    /// The 20 bytes that the address encodes.
    [[nodiscard]] QByteArray id() const;

    /// Of /proc: processor time used, in ms; resident memory, in KiB; threads; open files.
    [[nodiscard]] qint64 processorTime() const;
    [[nodiscard]] qint64 residentMemory() const;
    [[nodiscard]] int threads() const;
    [[nodiscard]] int openFiles() const;

private:
    Q_DISABLE_COPY_MOVE(ServerProcess)
    void readLines();
    [[nodiscard]] QString valueOf(const QString& key) const;
    [[nodiscard]] QString statusOf(const QString& key) const;

    class Process : public QProcess
    {
    public:
        std::function<void()> preparation;

    protected:
        void setupChildProcess() override;
    };

    Process m_process;
    QByteArray m_pending;
    QStringList m_lines;
};
