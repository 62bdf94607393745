#pragma once

#include <QObject>
#include <QStringList>
#include <functional>
#include <map>
#include <string>

class Worker;

/// Makes workers by name: "work" a plain Worker, "dsph" a DspH.
/// Thread: that of its owner.
class FactoryWorker : public QObject
{
    Q_OBJECT

public:
    explicit FactoryWorker(QObject* parent = nullptr);

    /// The names, in byte order.
    [[nodiscard]] QStringList workers() const;

    /// A new worker without a parent, the caller's to delete; null, with a warning, for an unknown name.
    /// Names compare byte for byte.
    [[nodiscard]] Worker* make(const QString& name) const;

private:
    /// Defined where DspH is: its folder is built on this one.
    static Worker* makeDspH();

    std::map<std::string, std::function<Worker*()>> m_constructors;
};
