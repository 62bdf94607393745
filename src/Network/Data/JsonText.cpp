#include "Network/Data/JsonText.h"

#include <QJsonArray>
#include <QSet>
#include <QVector>

namespace
{

// An object or an array that has begun.
struct Level
{
    bool isObject = false;
    bool awaitsKey = false;
    QString key;           // the last one named
    QSet<QString> holders; // keys that hold an object or an array
};

// The place of the quotation mark that ends a string; the text's size if there is none.
int endOfString(const QByteArray& text, int from)
{
    while (from < text.size() && text.at(from) != '"') {
        from += text.at(from) == '\\' ? 2 : 1;
    }
    return qMin(from, text.size());
}

// A key may be written in many ways, by escapes.
QString readKey(const QByteArray& text)
{
    return text.contains('\\') ? QJsonDocument::fromJson("[\"" + text + "\"]").array().at(0).toString()
                               : QString::fromUtf8(text);
}

// True for the texts that Qt would leak of. It is right as far as the text is JSON, and Qt reads no further.
bool namesHolderAgain(const QByteArray& text)
{
    QVector<Level> levels(1); // what stands outside
    for (int i = 0; i < text.size(); ++i) {
        Level& level = levels.last();
        switch (text.at(i)) {
        case '"': {
            const int start = i + 1;
            i = endOfString(text, start);
            if (level.awaitsKey) {
                level.key = readKey(text.mid(start, i - start));
                level.awaitsKey = false;
                if (level.holders.contains(level.key)) {
                    return true;
                }
            }
            break;
        }
        case '{':
        case '[': {
            if (level.isObject) {
                level.holders.insert(level.key);
            }
            const bool isObject = text.at(i) == '{';
            levels.append({isObject, isObject, {}, {}});
            break;
        }
        case '}':
        case ']':
            if (levels.size() > 1) {
                levels.removeLast();
            }
            break;
        case ',':
            level.awaitsKey = level.isObject;
            break;
        default:
            break;
        }
    }
    return false;
}

} // namespace

QJsonDocument JsonText::parse(const QByteArray& text, QJsonParseError* error)
{
    if (!namesHolderAgain(text)) {
        return QJsonDocument::fromJson(text, error);
    }
    if (error) {
        error->error = QJsonParseError::IllegalValue;
        error->offset = 0;
    }
    return {};
}
