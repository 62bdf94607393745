#include "ClientApplication/Program/ClientProcess.h"

#include "support/Wait.h"

#include <QFile>
#include <sys/prctl.h>

void ClientProcess::Process::setupChildProcess()
{
    prctl(PR_SET_PDEATHSIG, SIGKILL); // never outlives its test
}

ClientProcess::ClientProcess() = default;

ClientProcess::~ClientProcess()
{
    if (m_process.state() != QProcess::NotRunning) {
        m_process.kill();
        m_process.waitForFinished();
    }
}

QStringList ClientProcess::at(const ServerProcess& server)
{
    return {QStringLiteral("%1@127.0.0.1:%2").arg(server.address()).arg(server.port()),
            QStringLiteral("--identificator"), server.identificator()};
}

void ClientProcess::start(const QString& command, const ServerProcess& server, const QStringList& arguments)
{
    start(QStringList{command} + at(server) + arguments);
}

void ClientProcess::start(const QStringList& arguments)
{
    m_output.clear();
    m_errors.clear();
    m_process.start(QStringLiteral(ORVENLINK_CLIENT), arguments);
}

int ClientProcess::run(const QString& command, const ServerProcess& server, const QStringList& arguments)
{
    start(command, server, arguments);
    return waitForExitCode();
}

int ClientProcess::run(const QStringList& arguments)
{
    start(arguments);
    return waitForExitCode();
}

int ClientProcess::runWithoutLosses(const QString& command, const ServerProcess& server,
                                    const QStringList& arguments)
{
    int code = 0;
    for (int tries = 5; tries > 0; --tries) {
        code = run(command, server, arguments);
        const QString told = text() + errors().join(QLatin1Char('\n'));
        if (code != 0 || told.contains(QLatin1String("no losses")) ||
            told.contains(QLatin1String("\"missing_samples\":0,"))) {
            break;
        }
    }
    return code;
}

int ClientProcess::waitForExitCode()
{
    constexpr int kNone = -1000;
    if (!waitUntil([this] { return m_process.state() == QProcess::NotRunning; })) {
        return kNone;
    }
    return m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : kNone;
}

void ClientProcess::signal(int number) const
{
    const auto process = static_cast<pid_t>(m_process.processId());
    if (process > 0) { // 0, of one that has ended, would mean this test and who runs it
        ::kill(process, number);
    }
}

qint64 ClientProcess::mostMemory() const
{
    QFile status(QStringLiteral("/proc/%1/status").arg(m_process.processId()));
    if (!status.open(QIODevice::ReadOnly)) {
        return 0;
    }
    const QString text = QString::fromLatin1(status.readAll());
    return text.section(QStringLiteral("VmHWM:"), 1)
        .simplified()
        .section(QLatin1Char(' '), 0, 0)
        .toLongLong();
}

QByteArray ClientProcess::output()
{
    m_output += m_process.readAllStandardOutput();
    return m_output;
}

QStringList ClientProcess::errors()
{
    m_errors += m_process.readAllStandardError();
    return QString::fromUtf8(m_errors).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}
