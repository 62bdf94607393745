#include "ClientApplication/Console/ClientLog.h"

#include "ClientApplication/Console/Terminal.h"
#include "Core/Log/ForeignText.h"

#include <QMutex>
#include <QMutexLocker>
#include <cstdlib>

namespace
{

const QLatin1String kArrow("=> "); // between the place that logs and what it says
constexpr int kMaximumLine = 1000; // characters, with several texts of strangers

QMutex mutex; // messages come from any thread
bool isVerbose = false;
int warnings = 0;
QString firstWarning;

// What Qt itself has to say of the machine is nothing for the user.
bool isOwnWarning(const QString& message)
{
    return message.startsWith(QLatin1String("[ W ]")) || message.startsWith(QLatin1String("[ C ]"));
}

// What strangers wrote has been made harmless where it was logged, but Qt logs as well.
QString shown(QString message)
{
    return foreignText(message.replace(QLatin1String("=>\t"), kArrow), kMaximumLine);
}

void onMessage(QtMsgType type, const QMessageLogContext& /*context*/, const QString& message)
{
    const QMutexLocker lock(&mutex);
    if (isVerbose) {
        Terminal::note(shown(message));
    } else if (isOwnWarning(message) && warnings++ == 0) {
        firstWarning = message;
    }
    if (type == QtFatalMsg) {
        Terminal::note(shown(message));
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
    // After the arrow is what a person can read.
    const QString text = foreignText(shown(firstWarning).section(kArrow, -1).simplified());
    Terminal::error(QStringLiteral("%1 (%2 warnings in all; --verbose shows them)").arg(text).arg(warnings));
}
