#include "Application/ServerIdentity.h"

#include "Core/Settings/Settings.h"

namespace
{

int160 renew(const QString& key)
{
    // One in 256 counts as null, and would be replaced at the next start: an address has to last.
    int160 id = int160::random();
    while (id.isNull()) {
        id = int160::random();
    }
    Settings::privateWrite(key, id.toString());
    return id;
}

} // namespace

int160 ServerIdentity::load(const QString& identificator, bool regenerate)
{
    const QString key = QStringLiteral("server_id_") + identificator;
    int160 id(Settings::privateRead(key, int160().toString()).toString());
    if (id.isNull()) {
        id = renew(key);
    }
    return regenerate ? renew(key) : id;
}
