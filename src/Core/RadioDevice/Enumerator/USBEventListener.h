#pragma once

#include <QObject>

/// The seam at which a platform's notice of USB devices coming and going would enter. Silent so far.
/// Thread: that of the registry.
class USBEventListener : public QObject
{
    Q_OBJECT

public:
    explicit USBEventListener(QObject* parent);

signals:
    void update();
};
