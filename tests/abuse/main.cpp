// Abuses a server in every way known, during a session, and holds what that costs to bars: the table, and an
// exit code of 0 if all are met. Needs a network namespace of its own: script/abuse.
//
//     abuse RECORDING [--long] [CONCERN...]
#include "abuse/Rows.h"
#include "abuse/Verdicts.h"

#include <QCoreApplication>
#include <QFile>
#include <cstdio>
#include <utility>

namespace
{

const std::pair<const char*, void (*)(const Amount&, Verdicts&)> kConcerns[] = {
    {"floods", &floodRows},
    {"bombs", &bombRows},
    {"takeovers", &takeoverRows},
    {"amplification", &amplificationRows},
    {"log", &logRows},
    {"bodies", &bodyRows},
};

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    constexpr int kFloodSeconds = 15;
    constexpr int kLongFloodSeconds = 60;
    QStringList wanted = QCoreApplication::arguments().mid(1);
    const bool isLong = wanted.removeAll(QStringLiteral("--long")) > 0;
    QFile recording(wanted.isEmpty() ? QString() : wanted.takeFirst());
    if (!recording.open(QIODevice::ReadOnly)) {
        std::fputs("abuse RECORDING [--long] [CONCERN...]\n", stderr);
        return 2;
    }
    const Amount amount{recording.readAll(), isLong ? kLongFloodSeconds : kFloodSeconds};
    Verdicts verdicts;
    verdicts.begin();
    for (const auto& [name, addRows] : kConcerns) {
        if (wanted.isEmpty() || wanted.contains(QLatin1String(name))) {
            addRows(amount, verdicts);
        }
    }
    std::printf("\n%d of %d bars met\n", verdicts.bars() - verdicts.missed(), verdicts.bars());
    return verdicts.missed() == 0 ? 0 : 1;
}
