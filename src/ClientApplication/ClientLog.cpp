#include "ClientApplication/ClientLog.h"

#include "ClientApplication/Terminal.h"

#include <QMutex>
#include <QMutexLocker>
#include <cstdlib>

namespace
{

QMutex mutex; // messages come from any thread
bool isVerbose = false;
int warnings = 0;
QString firstWarning;

// What Qt itself has to say of the machine is nothing for the user.
bool isOwnWarning(const QString& message)
{
    return message.startsWith(QLatin1String("[ W ]")) || message.startsWith(QLatin1String("[ C ]"));
}

void onMessage(QtMsgType type, const QMessageLogContext& /*context*/, const QString& message)
{
    const QMutexLocker lock(&mutex);
    if (isVerbose) {
        Terminal::note(message);
    } else if (isOwnWarning(message) && warnings++ == 0) {
        firstWarning = message;
    }
    if (type == QtFatalMsg) {
        Terminal::note(message);
        std::abort();
    }
}

} // namespace

void ClientLog::install()
{
    qInstallMessageHandler(&onMessage);
}

void ClientLog::setVerbose(bool verbose)
{
    isVerbose = verbose;
}

void ClientLog::summarize()
{
    const QMutexLocker lock(&mutex);
    if (warnings == 0) {
        return;
    }
    // Behind the arrow stands what a person can read.
    const QString text = firstWarning.section(QStringLiteral("=>\t"), -1).simplified();
    Terminal::error(
        QStringLiteral("%1 (%2 of its kind in all; --verbose shows them)").arg(text.left(200)).arg(warnings));
}
