#include "Core/RadioDevice/Enumerator/USBEventListener.h"

USBEventListener::USBEventListener(QObject* parent)
    : QObject(parent)
{
}
