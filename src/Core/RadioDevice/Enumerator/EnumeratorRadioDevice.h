#pragma once

#include "Core/RadioDevice/Enumerator/AbstractEnumerator.h"
#include "Core/RadioDevice/InfoRadioDevice.h"
#include "Core/RadioDevice/RadioDriver.h"

#include <QList>
#include <QSharedPointer>
#include <functional>

class USBEventListener;

/// The registry of receivers: one enumerator for each driver, and the records that they found.
/// Thread:    the main thread alone.
/// Ownership: shares the records; devices are none of its business.
class EnumeratorRadioDevice : public QObject
{
    Q_OBJECT

public:
    using Maker = std::function<QSharedPointer<AbstractEnumerator>(EnumeratorRadioDevice*)>;

    /// The enumerators of this program's drivers; their order decides which of two records with one
    /// identificator stays.
    static QList<Maker> drivers()
    {
        QList<Maker> makers;
        for (const RadioDriver& driver : RadioDriver::all()) {
            makers.append(driver.makeEnumerator);
        }
        return makers;
    }

    explicit EnumeratorRadioDevice(QObject* parent = nullptr, const QList<Maker>& makers = drivers());
    ~EnumeratorRadioDevice() override;

    /// Forgets all records and asks the enumerators of `types`, or all of them for an empty list.
    void refresh(const QList<DefRadioDevice::Type>& types);

    /// Called by enumerators. A record whose identificator is known already is dropped with a warning.
    void add(const QSharedPointer<InfoRadioDevice>& info);

    /// Marks this very record as in use; false if it is not in the list or in use already.
    bool acquire(const QSharedPointer<InfoRadioDevice>& info);
    void release(const QSharedPointer<InfoRadioDevice>& info);

    [[nodiscard]] QList<QSharedPointer<InfoRadioDevice>> devices() const { return m_devices; }
    [[nodiscard]] QList<QSharedPointer<AbstractEnumerator>> enumerators() const { return m_enumerators; }

signals:
    void availableChanged();
    void showToastr(QString message);

private slots:
    void onNewDevice(bool toastr);
    void onAttachUsbDevice();

private:
    QList<DefRadioDevice::Type> m_types; // the filter of the last refresh
    QList<QSharedPointer<InfoRadioDevice>> m_devices;
    QList<QSharedPointer<AbstractEnumerator>> m_enumerators;
    USBEventListener* m_usbListener;
};
