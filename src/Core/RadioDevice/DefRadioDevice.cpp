#include "Core/RadioDevice/DefRadioDevice.h"

#include <QMetaEnum>

QString DefRadioDevice::toString(DefRadioDevice::Type type)
{
    const QMetaEnum types = staticMetaObject.enumerator(staticMetaObject.indexOfEnumerator("Type"));
    // By index, not by value: the numbers have no gap, and the first of them is -1.
    return QString::fromLatin1(types.key(type + 1));
}
