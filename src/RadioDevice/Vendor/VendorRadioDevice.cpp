#include "RadioDevice/Vendor/VendorRadioDevice.h"

void VendorRadioDevice::loseSession()
{
    m_loss = Loss::Untold;
    QMetaObject::invokeMethod(this, "endLostSession", Qt::QueuedConnection);
}

void VendorRadioDevice::tell(const QString& text)
{
    if (isLost()) {
        m_loss = Loss::Told;
    }
    emit errorHappen(text);
}

void VendorRadioDevice::endLostSession()
{
    // A start that failed is over already, and another one may run.
    if (!running() || !isLost()) {
        return;
    }
    if (isLossUntold()) {
        reportNoData();
    }
    stop();
}
