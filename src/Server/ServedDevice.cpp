#include "Server/ServedDevice.h"

#include "Core/RadioDevice/AbstractRadioDevice.h"
#include "Core/RadioDevice/FactoryRadioDevice.h"
#include "Core/RadioDevice/InfoRadioDevice.h"

#include <QPointer>

ServedDevice::ServedDevice(int type, const QString& identificator)
    : m_info(QSharedPointer<InfoRadioDevice>::create(type))
{
    m_info->identificator = identificator;
}

ServedDevice::~ServedDevice()
{
    drop();
}

int ServedDevice::type() const
{
    return m_info->type();
}

const QString& ServedDevice::identificator() const
{
    return m_info->identificator;
}

bool ServedDevice::running() const
{
    return m_device != nullptr && m_device->running();
}

bool ServedDevice::make()
{
    drop();
    m_device = FactoryRadioDevice::make(m_info);
    if (m_device == nullptr) {
        return false;
    }
    m_device->restore(identificator());
    connectDevice();
    m_device->setNoDataCallback([this] { emit noData(); });
    return true;
}

void ServedDevice::start()
{
    m_unsaved = true;
    m_device->start(false);
}

void ServedDevice::stop()
{
    m_device->stop();
}

void ServedDevice::save()
{
    m_device->save(identificator());
    m_unsaved = false;
}

void ServedDevice::drop()
{
    if (m_device == nullptr) {
        return;
    }
    m_device->disconnect();
    if (m_unsaved && !m_device->running()) {
        // It has stopped, and its `stopped` is still queued: that will find the device gone.
        save();
    }
    m_unsaved = false;
    m_device->stop();
    delete m_device;
    m_device = nullptr;
}

void ServedDevice::connectDevice()
{
    // Queued, and checked again on arrival: what a device emitted before it was replaced is not meant for the
    // session of its successor.
    const auto relay = [this](auto said, auto signal) {
        connect(
            m_device, said, this,
            [this, signal, device = QPointer<AbstractRadioDevice>(m_device)](const auto&... values) {
                if (device != nullptr && device == m_device) {
                    (this->*signal)(values...);
                }
            },
            Qt::QueuedConnection);
    };
    relay(&Worker::stopped, &ServedDevice::stopped);
    relay(&Worker::errorHappen, &ServedDevice::errorHappen);
    relay(&AbstractRadioDevice::outSampleRateChanged, &ServedDevice::outSampleRateChanged);
}
