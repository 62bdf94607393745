#include "Client/ForeignText.h"

QString foreignText(const QString& text, int maximumLength)
{
    QString shown = text.left(maximumLength);
    for (QChar& character : shown) {
        const bool isPair = character.isSurrogate();
        if (!isPair && !character.isPrint()) {
            character = QLatin1Char(' ');
        }
    }
    return shown;
}
