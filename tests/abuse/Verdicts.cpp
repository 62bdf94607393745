#include "abuse/Verdicts.h"

#include <QStringList>
#include <cstdio>

namespace
{

constexpr int kWidths[] = {52, 14, 12, 7};

void print(const QString& what, const QString& bar, const QString& measured, const QString& verdict)
{
    std::printf("| %s | %s | %s | %s |\n", qPrintable(what.leftJustified(kWidths[0])),
                qPrintable(bar.rightJustified(kWidths[1])), qPrintable(measured.rightJustified(kWidths[2])),
                qPrintable(verdict.leftJustified(kWidths[3])));
    std::fflush(stdout);
}

QString number(double value)
{
    const double size = value < 0 ? -value : value;
    return QString::number(value, 'f', size < 10 ? 2 : size < 1000 ? 1 : 0);
}

QString text(double figure, const QString& unit)
{
    return (number(figure) + QLatin1Char(' ') + unit).trimmed();
}

} // namespace

void Verdicts::begin()
{
    print(QStringLiteral("abuse"), QStringLiteral("bar"), QStringLiteral("measured"),
          QStringLiteral("verdict"));
    print(QString(kWidths[0], QLatin1Char('-')), QString(kWidths[1], QLatin1Char('-')),
          QString(kWidths[2], QLatin1Char('-')), QString(kWidths[3], QLatin1Char('-')));
}

void Verdicts::atMost(const QString& what, double figure, double bar, const QString& unit,
                      const QString& obstacle)
{
    judge(what, QStringLiteral("<= ") + text(bar, unit), text(figure, unit), figure <= bar, obstacle);
}

void Verdicts::atLeast(const QString& what, double figure, double bar, const QString& unit,
                       const QString& obstacle)
{
    judge(what, QStringLiteral(">= ") + text(bar, unit), text(figure, unit), figure >= bar, obstacle);
}

void Verdicts::tell(const QString& what, double figure, const QString& unit)
{
    print(what, {}, text(figure, unit), {});
}

void Verdicts::judge(const QString& what, const QString& bar, const QString& figure, bool met,
                     const QString& obstacle)
{
    ++m_bars;
    if (!obstacle.isEmpty()) {
        ++m_missed;
        print(what, bar, figure, QStringLiteral("not measurable: ") + obstacle);
        return;
    }
    m_missed += met ? 0 : 1;
    print(what, bar, figure, met ? QStringLiteral("met") : QStringLiteral("NOT MET"));
}
