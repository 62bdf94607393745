#include "Core/RadioDevice/Enumerator/EnumeratorRadioDevice.h"

#include "Core/Log/Log.h"
#include "Core/RadioDevice/Enumerator/USBEventListener.h"

#include <algorithm>

namespace
{

QString typeName(const QSharedPointer<InfoRadioDevice>& info)
{
    return DefRadioDevice::toString(static_cast<DefRadioDevice::Type>(info->type()));
}

} // namespace

EnumeratorRadioDevice::EnumeratorRadioDevice(QObject* parent, const QList<Maker>& makers)
    : QObject(parent)
    , m_usbListener(new USBEventListener(this))
{
    for (const Maker& make : makers) {
        m_enumerators.append(make(this));
        const AbstractEnumerator* enumerator = m_enumerators.constLast().data();
        connect(enumerator, &AbstractEnumerator::newDevice, this, &EnumeratorRadioDevice::onNewDevice);
        connect(enumerator, &AbstractEnumerator::warning, this, &EnumeratorRadioDevice::showToastr);
    }
    connect(m_usbListener, &USBEventListener::update, this, &EnumeratorRadioDevice::onAttachUsbDevice);
}

EnumeratorRadioDevice::~EnumeratorRadioDevice()
{
    LOG_DEBUG() << QStringLiteral("Destruct class .. %1").arg(QLatin1String(staticMetaObject.className()));
}

void EnumeratorRadioDevice::refresh(const QList<DefRadioDevice::Type>& types)
{
    if (types != m_types) {
        m_types = types;
    }
    QList<QSharedPointer<InfoRadioDevice>>().swap(m_devices);
    emit availableChanged();
    for (const QSharedPointer<AbstractEnumerator>& enumerator : m_enumerators) {
        if (m_types.isEmpty() || m_types.contains(enumerator->type())) {
            enumerator->refresh();
        }
    }
}

void EnumeratorRadioDevice::add(const QSharedPointer<InfoRadioDevice>& info)
{
    const bool known = std::any_of(m_devices.cbegin(), m_devices.cend(), [&info](const auto& device) {
        return device->identificator == info->identificator;
    });
    if (known) {
        LOG_WARNING() << "Error add deviceInfo - not unique identificator!" << typeName(info)
                      << info->identificator;
        return;
    }
    m_devices.append(info);
    emit availableChanged();
}

bool EnumeratorRadioDevice::acquire(const QSharedPointer<InfoRadioDevice>& info)
{
    LOG_DEBUG() << "acquire radio device" << typeName(info) << info->identificator;
    if (!m_devices.contains(info) || info->acquired) {
        return false;
    }
    info->acquired = true;
    emit availableChanged();
    return true;
}

void EnumeratorRadioDevice::release(const QSharedPointer<InfoRadioDevice>& info)
{
    LOG_DEBUG() << "release radio device" << typeName(info) << info->identificator;
    if (m_devices.contains(info)) {
        info->acquired = false;
        emit availableChanged();
    }
}

void EnumeratorRadioDevice::onNewDevice(bool toastr)
{
    const auto* enumerator = qobject_cast<AbstractEnumerator*>(sender());
    // Without a filter nobody has said which arrivals count.
    if (enumerator == nullptr || !m_types.contains(enumerator->type())) {
        return;
    }
    refresh(m_types);
    if (toastr) {
        emit showToastr(QStringLiteral("Detected Radio Device: ") +
                        DefRadioDevice::toString(enumerator->type()));
    }
}

void EnumeratorRadioDevice::onAttachUsbDevice()
{
    // The drivers here find arrivals by themselves, if at all.
}
