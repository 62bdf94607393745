#pragma once

#include <QObject>
#include <QSharedPointer>

class AbstractRadioDevice;
class InfoRadioDevice;

/// The receiver that a server serves: a device that is made for each client and kept after its session, until
/// the next client comes. Its settings are restored when it is made, and saved by `save` or when it goes.
/// Thread:    the main one; so are the signals, of the present device alone.
/// Ownership: owns the device.
class ServedDevice : public QObject
{
    Q_OBJECT

public:
    /// `type` is a value of DefRadioDevice::Type; the settings are stored under `identificator`.
    ServedDevice(int type, const QString& identificator);
    ~ServedDevice() override;

    [[nodiscard]] int type() const;
    [[nodiscard]] const QString& identificator() const;
    /// Null before the first client, and after a device that couldn't be made.
    [[nodiscard]] AbstractRadioDevice* get() const { return m_device; }
    [[nodiscard]] bool running() const;

    /// Drops the device there is and makes another. False, with a critical record, if there can be none.
    [[nodiscard]] bool make();
    /// There has to be a device for these.
    void start();
    void stop();
    void save();

signals:
    void stopped();
    void errorHappen(const QString& text);
    void outSampleRateChanged(double outSampleRate); ///< Hz
    void noData();

private:
    void drop();
    void connectDevice();

    QSharedPointer<InfoRadioDevice> m_info;
    AbstractRadioDevice* m_device = nullptr;
    bool m_unsaved = false; // started, and its properties not saved since
};
