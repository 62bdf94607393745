#include "Core/Log/ForeignText.h"

namespace
{

bool isPlain(uint character)
{
    switch (QChar::category(character)) {
    case QChar::Separator_Line: // both break the line, though Qt counts them as printable
    case QChar::Separator_Paragraph:
        return false;
    default:
        return QChar::isPrint(character);
    }
}

QString escape(uint character)
{
    switch (character) {
    case '\n':
        return QStringLiteral("\\n");
    case '\r':
        return QStringLiteral("\\r");
    case '\t':
        return QStringLiteral("\\t");
    default:
        break;
    }
    constexpr int kHexadecimal = 16;
    const QLatin1Char zero('0');
    if (character <= 0xFF) {
        return QStringLiteral("\\x%1").arg(character, 2, kHexadecimal, zero);
    }
    if (!QChar::requiresSurrogates(character)) {
        return QStringLiteral("\\u%1").arg(character, 4, kHexadecimal, zero);
    }
    return QStringLiteral("\\U%1").arg(character, 8, kHexadecimal, zero);
}

} // namespace

QString foreignText(const QString& text, int maximumLength)
{
    QString shown;
    for (int i = 0; i < text.size();) {
        const bool isPair =
            text.at(i).isHighSurrogate() && i + 1 < text.size() && text.at(i + 1).isLowSurrogate();
        const int width = isPair ? 2 : 1;
        const uint character =
            isPair ? QChar::surrogateToUcs4(text.at(i), text.at(i + 1)) : text.at(i).unicode();
        const QString piece = isPlain(character) ? text.mid(i, width) : escape(character);
        if (shown.size() + piece.size() > maximumLength) {
            break;
        }
        shown += piece;
        i += width;
    }
    return shown;
}
