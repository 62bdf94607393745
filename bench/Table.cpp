#include "Table.h"

#include "Rounds.h"

#include <QStringList>
#include <cstdio>

namespace
{

constexpr int kWidths[] = {46, 7, 8, 36, 10, 5, 4, 3};

QString number(double value)
{
    const double size = value < 0 ? -value : value;
    return QString::number(value, 'f', size < 10 ? 2 : size < 100 ? 1 : 0);
}

QString ratioText(double ratio)
{
    return QString::number(ratio, 'f', 2);
}

} // namespace

void Table::begin()
{
    print({QStringLiteral("piece"), QStringLiteral("set"), QStringLiteral("ours"), QStringLiteral("peer"),
           QStringLiteral("its figure"), QStringLiteral("ratio"), QStringLiteral("bar"),
           QStringLiteral("met")});
    QStringList rules;
    for (const int width : kWidths) {
        rules.append(QString(width, QLatin1Char('-')));
    }
    print(rules);
}

void Table::add(const Piece& piece, const Figures& figures)
{
    const double scale = piece.unit == Unit::Nanoseconds ? 1e9 : 1e6;
    const QString unit = piece.unit == Unit::Nanoseconds ? QStringLiteral(" ns") : QStringLiteral(" us");
    const double ratio = figures.ratio * piece.peerRuns / piece.ourRuns;
    print({piece.name, piece.set, number(figures.ours * scale / piece.ourRuns) + unit, piece.peer,
           number(figures.peer * scale / piece.peerRuns) + unit, ratioText(ratio),
           piece.bar < 0 ? QString() : ratioText(piece.bar), verdict(ratio, piece.bar)});
}

void Table::add(const QString& name, double figure, const QString& unit, double bar)
{
    print(
        {name, {}, number(figure) + QLatin1Char(' ') + unit, {}, {}, {}, number(bar), verdict(figure, bar)});
}

void Table::add(const QString& name, double figure, const QString& unit)
{
    print({name, {}, number(figure) + QLatin1Char(' ') + unit, {}, {}, {}, {}, {}});
}

QString Table::verdict(double figure, double bar)
{
    if (bar < 0) {
        return {};
    }
    ++m_bars;
    if (figure <= bar) {
        return QStringLiteral("yes");
    }
    ++m_missed;
    return QStringLiteral("NO");
}

void Table::print(const QStringList& cells)
{
    std::fputs("|", stdout);
    for (int i = 0; i < cells.size(); ++i) {
        // Numbers are aligned to the right.
        const bool isText = i == 0 || i == 1 || i == 3 || i == 7;
        const QString cell =
            isText ? cells[i].leftJustified(kWidths[i]) : cells[i].rightJustified(kWidths[i]);
        std::printf(" %s |", qPrintable(cell));
    }
    std::fputs("\n", stdout);
    std::fflush(stdout);
}
