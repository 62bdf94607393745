#pragma once

#include <QByteArray>
#include <QJsonDocument>
#include <QString>
#include <QVariant>
#include <optional>

/// Numbers and times as people write and read them.
/// Thread: any.
namespace Text
{

/// Hertz of "14250000", "14250k", "14.25M" or "0.01425G", with or without "Hz" after it; blanks don't matter.
/// Nothing for anything else or for what is not finite.
std::optional<double> toHertz(const QString& text);
/// Seconds of "90", "2.5s", "15m", "1h"; above 0, at most a year.
std::optional<double> toSeconds(const QString& text);

/// "14.250000 MHz", "48 kHz", "700 Hz": the unit by the size, no digit that says nothing beyond those of MHz.
QString hertz(double value);
/// "12.3 MB": decimal units.
QString bytes(double value);
/// "0:07", "12:34", "1:02:03".
QString duration(double seconds);
/// What a server sent, on one line and with nothing that a terminal would obey; lists are joined by ", ".
QString value(const QVariant& value);
/// On one line and in ASCII alone, so that a terminal obeys nothing of it: the rest is escaped, as JSON can.
QString json(const QJsonDocument& document);
/// `text` fit for one line of a terminal, cut to a length that a name or a title may have.
QString foreign(const QString& text);
/// `text` with its lines broken at blanks where they are longer than `width`.
QString wrapped(const QString& text, int width);

} // namespace Text
