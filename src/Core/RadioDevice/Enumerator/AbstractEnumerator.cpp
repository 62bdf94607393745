#include "Core/RadioDevice/Enumerator/AbstractEnumerator.h"

AbstractEnumerator::AbstractEnumerator(EnumeratorRadioDevice* owner)
    : m_owner(owner)
{
}
