#pragma once

#include "Client/ServerDouble.h"
#include "ClientApplication/Commands/Command.h"
#include "support/LogCapture.h"

#include <QObject>
#include <QStringList>
#include <QTemporaryDir>
#include <QTemporaryFile>
#include <QVector>
#include <memory>

/// What is written to one of the process's outputs while this lives, instead of going there.
class Captured
{
public:
    explicit Captured(int descriptor);
    ~Captured();

    [[nodiscard]] QStringList lines() const; ///< So far.
    /// Lines that hold `part`.
    [[nodiscard]] int count(const char* part) const
    {
        return lines().filter(QString::fromLatin1(part)).size();
    }

private:
    Q_DISABLE_COPY_MOVE(Captured)

    int m_descriptor;
    int m_before;
    QTemporaryFile m_file;
};

/// What tests of a command in a session with a ServerDouble begin with.
class CommandTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

protected:
    [[nodiscard]] static QString text(const char* latin) { return QString::fromLatin1(latin); }

    /// Lets the command begin as with these arguments after the server.
    void launch(Command& command, const QStringList& arguments = {});
    /// As `launch`, and waits for the session, whose samples have this rate in hertz.
    void start(Command& command, const QStringList& arguments = {}, int rate = 48'000);
    [[nodiscard]] bool isEnded() const { return !m_codes.isEmpty(); }

    std::unique_ptr<ServerDouble> m_server;
    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<LogCapture> m_log;
    QVector<ExitCode> m_codes; // that the command has ended with
};
