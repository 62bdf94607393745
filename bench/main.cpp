// The table of what the signal path costs on this machine: all of it, or the concerns that the arguments
// name. Sessions need a network namespace of their own: script/bench.
#include "Machine.h"
#include "Rows.h"
#include "Table.h"

#include <QCoreApplication>
#include <QLoggingCategory>
#include <cstdio>
#include <utility>

namespace
{

const std::pair<const char*, void (*)(Table&)> kConcerns[] = {
    {"fft", &fftRows},      {"chain", &chainRows},       {"stages", &stageRows}, {"ring", &ringRows},
    {"points", &pointRows}, {"datagram", &datagramRows}, {"loop", &loopRows},    {"session", &sessionRows},
};

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
    const QStringList wanted = QCoreApplication::arguments().mid(1);
    for (const QString& line : describeMachine()) {
        std::printf("%s\n", qPrintable(line));
    }
    std::printf("\n");
    Table table;
    table.begin();
    for (const auto& [name, addRows] : kConcerns) {
        if (wanted.isEmpty() || wanted.contains(QLatin1String(name))) {
            addRows(table);
        }
    }
    std::printf("\n%d of %d bars met\n", table.bars() - table.missed(), table.bars());
    return 0;
}
