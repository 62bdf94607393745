#pragma once

#include "Core/RadioDevice/DefRadioDevice.h"

class EnumeratorRadioDevice;

/// Finds the receivers of one type.
/// Thread: that of the registry. Errors: logged; a refresh that fails adds nothing.
class AbstractEnumerator : public QObject
{
    Q_OBJECT

public:
    /// `owner` receives the records and outlives this object.
    explicit AbstractEnumerator(EnumeratorRadioDevice* owner);

    /// The one type that this enumerator finds.
    [[nodiscard]] virtual DefRadioDevice::Type type() const = 0;
    /// Adds a record to the owner for each receiver found.
    virtual void refresh() = 0;
    /// Why no receiver of this type can be found on this machine, for its user; empty if they can.
    [[nodiscard]] virtual QString hindrance() const { return {}; }
    /// The contract's last seat, empty in every enumerator.
    virtual void reserved() {}

signals:
    /// Receivers of this type came or went; `showToastr` if people are to be told.
    void newDevice(bool showToastr = true);
    void warning(QString text);

protected:
    EnumeratorRadioDevice* m_owner;
};
