#include "System/ServerProcess.h"

#include "System/Base58Text.h"
#include "System/ServerHome.h"
#include "support/Wait.h"

#include <QDir>
#include <QFile>
#include <csignal>
#include <sys/prctl.h>
#include <unistd.h>

void ServerProcess::Process::setupChildProcess()
{
    prctl(PR_SET_PDEATHSIG, SIGKILL); // never outlives its test
    if (preparation) {
        preparation();
    }
}

ServerProcess::ServerProcess(const ServerHome& home)
{
    m_process.setProcessEnvironment(home.environment());
    QObject::connect(&m_process, &QProcess::readyReadStandardError, &m_process, [this] { readLines(); });
}

ServerProcess::~ServerProcess()
{
    if (m_process.state() != QProcess::NotRunning) {
        m_process.kill();
        m_process.waitForFinished();
    }
}

void ServerProcess::setVariable(const QString& name, const QString& value)
{
    QProcessEnvironment environment = m_process.processEnvironment();
    environment.insert(name, value);
    m_process.setProcessEnvironment(environment);
}

void ServerProcess::start(const QStringList& arguments)
{
    startBy(QStringLiteral(ORVENLINK_SERVER), arguments);
}

void ServerProcess::startBy(const QString& program, const QStringList& arguments)
{
    m_lines.clear();
    m_pending.clear();
    m_process.start(program, arguments);
}

bool ServerProcess::serve(const QStringList& arguments)
{
    start(arguments);
    return waitUntilServing();
}

bool ServerProcess::waitUntilServing()
{
    return waitUntil([this] {
               return hasLine(QStringLiteral("Press \"q\" to quit app.")) ||
                      m_process.state() == QProcess::NotRunning;
           }) &&
           isRunning();
}

bool ServerProcess::quit()
{
    type("q\n");
    return waitForExitCode() == 0;
}

int ServerProcess::waitForExitCode()
{
    constexpr int kNone = -1000;
    if (!waitUntil([this] { return m_process.state() == QProcess::NotRunning; })) {
        return kNone;
    }
    readLines();
    return m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : kNone;
}

void ServerProcess::signal(int number) const
{
    const auto process = static_cast<pid_t>(pid());
    if (process > 0) { // 0, of one that has ended, would mean this test and who runs it
        ::kill(process, number);
    }
}

bool ServerProcess::waitForLine(const QString& text) const
{
    return waitUntil([this, &text] { return count(text) > 0; });
}

QByteArray ServerProcess::id() const
{
    return Base58Text::decode(address());
}

void ServerProcess::readLines()
{
    m_pending.append(m_process.readAllStandardError());
    int end = 0;
    while ((end = m_pending.indexOf('\n')) >= 0) {
        m_lines.append(QString::fromUtf8(m_pending.left(end)));
        m_pending.remove(0, end + 1);
    }
}

QString ServerProcess::valueOf(const QString& key) const
{
    for (const QString& line : m_lines) {
        if (line.startsWith(key)) {
            return line.mid(key.size()).trimmed();
        }
    }
    return {};
}

qint64 ServerProcess::processorTime() const
{
    QFile file(QStringLiteral("/proc/%1/stat").arg(pid()));
    if (!file.open(QIODevice::ReadOnly)) {
        return -1;
    }
    // The name in brackets may hold blanks; user and system time are the 12th and 13th field after it.
    const QByteArray text = file.readAll();
    const QList<QByteArray> fields = text.mid(text.lastIndexOf(')') + 2).split(' ');
    return (fields.value(11).toLongLong() + fields.value(12).toLongLong()) * 1000 / sysconf(_SC_CLK_TCK);
}

QString ServerProcess::statusOf(const QString& key) const
{
    QFile file(QStringLiteral("/proc/%1/status").arg(pid()));
    if (!file.open(QIODevice::ReadOnly)) {
        return {};
    }
    const QStringList all = QString::fromLatin1(file.readAll()).split(QLatin1Char('\n'));
    for (const QString& line : all) {
        if (line.startsWith(key)) {
            return line.mid(key.size()).simplified().section(QLatin1Char(' '), 0, 0);
        }
    }
    return {};
}

qint64 ServerProcess::residentMemory() const
{
    return statusOf(QStringLiteral("VmRSS:")).toLongLong();
}

int ServerProcess::threads() const
{
    return statusOf(QStringLiteral("Threads:")).toInt();
}

int ServerProcess::openFiles() const
{
    return QDir(QStringLiteral("/proc/%1/fd").arg(pid()))
        .entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot)
        .size();
}
