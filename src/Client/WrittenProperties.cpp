#include "Client/WrittenProperties.h"

#include <utility>

void WrittenProperties::note(const QString& name)
{
    m_names.removeAll(name);
    m_names.append(name);
    m_kept.remove(name);
}

void WrittenProperties::keep(const QVariantMap& values)
{
    for (const QString& name : qAsConst(m_names)) {
        if (!m_kept.contains(name)) {
            m_kept.insert(name, values.value(name));
        }
    }
}

WrittenProperties::Values WrittenProperties::take()
{
    const QVariantMap kept = std::exchange(m_kept, {});
    Values values;
    for (const QString& name : qAsConst(m_names)) {
        if (const QVariant value = kept.value(name); value.isValid()) {
            values.append({name, value});
        }
    }
    return values;
}

void WrittenProperties::clear()
{
    m_names.clear();
    m_kept.clear();
}
