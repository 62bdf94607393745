#include "ClientApplication/Console/Text.h"

#include "Core/Log/ForeignText.h"

#include <QRegularExpression>
#include <QStringList>
#include <array>
#include <cmath>

namespace
{

constexpr int kMaximumLength = 200; // characters of what a stranger wrote
constexpr int kMaximumEntries = 100;
constexpr ushort kDelete = 0x7F; // the last of ASCII
constexpr double kMaximumSeconds = 366.0 * 24 * 3600;

struct Unit
{
    QChar letter;
    double factor;
};

std::optional<double> toNumber(const QRegularExpression& form, const QString& text, const Unit* begin,
                               const Unit* end)
{
    const QRegularExpressionMatch match = form.match(text.simplified().remove(QLatin1Char(' ')));
    if (!match.hasMatch()) {
        return std::nullopt;
    }
    double factor = 1.0;
    const QString letter = match.captured(2);
    for (const Unit* unit = begin; unit != end; ++unit) {
        if (!letter.isEmpty() && letter.at(0).toLower() == unit->letter) {
            factor = unit->factor;
        }
    }
    const double number = match.captured(1).toDouble() * factor;
    return std::isfinite(number) ? std::optional<double>(number) : std::nullopt;
}

} // namespace

std::optional<double> Text::toHertz(const QString& text)
{
    static const QRegularExpression form(
        QStringLiteral("^([+-]?(?:\\d+\\.?\\d*|\\.\\d+)(?:e[+-]?\\d+)?)([kmg]?)(?:hz)?$"),
        QRegularExpression::CaseInsensitiveOption);
    static const std::array<Unit, 3> units{
        {{QLatin1Char('k'), 1e3}, {QLatin1Char('m'), 1e6}, {QLatin1Char('g'), 1e9}}};
    return toNumber(form, text, units.data(), units.data() + units.size());
}

std::optional<double> Text::toSeconds(const QString& text)
{
    static const QRegularExpression form(QStringLiteral("^(\\d+\\.?\\d*|\\.\\d+)([smh]?)$"));
    static const std::array<Unit, 2> units{{{QLatin1Char('m'), 60.0}, {QLatin1Char('h'), 3600.0}}};
    const std::optional<double> seconds = toNumber(form, text, units.data(), units.data() + units.size());
    return seconds && *seconds > 0.0 && *seconds <= kMaximumSeconds ? seconds : std::nullopt;
}

QString Text::hertz(double value)
{
    const double size = std::abs(value);
    if (size >= 1e6) {
        return QStringLiteral("%1 MHz").arg(value / 1e6, 0, 'f', 6);
    }
    if (size >= 1e3) {
        return QStringLiteral("%1 kHz").arg(value / 1e3, 0, 'g', 7);
    }
    return QStringLiteral("%1 Hz").arg(value, 0, 'g', 6);
}

QString Text::bytes(double value)
{
    static const std::array<QString, 4> units{QStringLiteral("B"), QStringLiteral("kB"), QStringLiteral("MB"),
                                              QStringLiteral("GB")};
    std::size_t unit = 0;
    while (value >= 1000.0 && unit + 1 < units.size()) {
        value /= 1000.0;
        ++unit;
    }
    return QStringLiteral("%1 %2").arg(value, 0, 'f', unit == 0 ? 0 : 1).arg(units.at(unit));
}

QString Text::duration(double seconds)
{
    const auto whole = static_cast<qint64>(std::max(0.0, seconds));
    QString minutesAndSeconds =
        QStringLiteral("%1:%2").arg(whole / 60 % 60).arg(whole % 60, 2, 10, QLatin1Char('0'));
    if (whole < 3600) {
        return minutesAndSeconds;
    }
    return QStringLiteral("%1:%2").arg(whole / 3600).arg(minutesAndSeconds, 5, QLatin1Char('0'));
}

QString Text::value(const QVariant& value)
{
    if (value.type() == QVariant::List) {
        QStringList entries;
        const QVariantList list = value.toList().mid(0, kMaximumEntries);
        for (const QVariant& entry : list) {
            entries.append(foreign(entry.toString()));
        }
        return entries.join(QStringLiteral(", "));
    }
    if (value.type() == QVariant::Double) {
        return QString::number(value.toDouble(), 'g', 15);
    }
    if (value.type() == QVariant::Map) {
        return QStringLiteral("(an object)");
    }
    return foreign(value.toString());
}

// What is no ASCII is within texts; Qt escapes the control characters of ASCII, all but the last.
QString Text::json(const QJsonDocument& document)
{
    const QString plain = QString::fromUtf8(document.toJson(QJsonDocument::Compact));
    QString escaped;
    for (const QChar unit : plain) {
        escaped += unit.unicode() < kDelete
                       ? QString(unit)
                       : QStringLiteral("\\u%1").arg(unit.unicode(), 4, 16, QLatin1Char('0'));
    }
    return escaped;
}

QString Text::foreign(const QString& text)
{
    return foreignText(text, kMaximumLength);
}

QString Text::wrapped(const QString& text, int width)
{
    QStringList lines;
    const QStringList paragraphs = text.split(QLatin1Char('\n'));
    for (QString rest : paragraphs) {
        while (rest.size() > width) {
            const int blank = rest.lastIndexOf(QLatin1Char(' '), width);
            if (blank <= 0) {
                break;
            }
            lines.append(rest.left(blank));
            rest.remove(0, blank + 1);
        }
        lines.append(rest);
    }
    return lines.join(QLatin1Char('\n'));
}
