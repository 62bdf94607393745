#include "Core/Worker/FactoryWorker.h"

#include "Core/Log/Log.h"
#include "Core/Worker/Worker.h"

FactoryWorker::FactoryWorker(QObject* parent)
    : QObject(parent)
{
    m_constructors.emplace("work", [] { return new Worker; });
    m_constructors.emplace("dsph", &makeDspH);
    LOG_DEBUG() << "Init worker factory" << workers();
}

QStringList FactoryWorker::workers() const
{
    QStringList names;
    for (const auto& [name, constructor] : m_constructors) {
        names.append(QString::fromStdString(name));
    }
    return names;
}

Worker* FactoryWorker::make(const QString& name) const
{
    const auto found = m_constructors.find(name.toStdString());
    if (found == m_constructors.end()) {
        LOG_WARNING() << "No found worker!";
        return nullptr;
    }
    LOG_DEBUG() << "Factory worker ..." << name;
    return found->second();
}
