#pragma once

#include "Core/Worker/AbstractEvent.h"

#include <QString>
#include <QVariant>

/// Asks a worker to set one of its properties on its own thread.
class SetPropertyEvent : public AbstractEvent
{
public:
    SetPropertyEvent(const QString& name, const QVariant& value)
        : AbstractEvent(kSetPropertyType)
        , m_name(name)
        , m_value(value)
    {
    }

    [[nodiscard]] const QString& name() const { return m_name; }
    [[nodiscard]] const QVariant& value() const { return m_value; }

private:
    QString m_name;
    QVariant m_value;
};
