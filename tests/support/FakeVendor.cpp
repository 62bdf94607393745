#include "support/FakeVendor.h"

#include <QFile>
#include <cstdio>

FakeVendor::FakeVendor()
{
    qputenv("FAKE_SCRIPT", scriptName().toLocal8Bit());
    qputenv("FAKE_LOG", logName().toLocal8Bit());
    reset();
}

FakeVendor::~FakeVendor()
{
    qunsetenv("FAKE_SCRIPT");
    qunsetenv("FAKE_LOG");
}

void FakeVendor::reset()
{
    m_script.clear();
    ++m_epoch;
    write();
    clearCalls();
}

void FakeVendor::set(const QString& key, const QString& value)
{
    setBytes(key, value.toUtf8());
}

void FakeVendor::setBytes(const QString& key, const QByteArray& value)
{
    m_script.insert(key, value);
    write();
}

void FakeVendor::remove(const QString& key)
{
    m_script.remove(key);
    write();
}

QStringList FakeVendor::calls(const QString& prefix) const
{
    QFile file(logName());
    if (!file.open(QIODevice::ReadOnly)) {
        return {};
    }
    QStringList result;
    for (const QString& line : QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'))) {
        if (!line.isEmpty() && line.startsWith(prefix)) {
            result.append(line);
        }
    }
    return result;
}

void FakeVendor::clearCalls() const
{
    QFile::remove(logName());
}

QProcessEnvironment FakeVendor::environment(QProcessEnvironment base) const
{
    base.insert(QStringLiteral("FAKE_SCRIPT"), scriptName());
    base.insert(QStringLiteral("FAKE_LOG"), logName());
    base.insert(QStringLiteral("LD_LIBRARY_PATH"), qEnvironmentVariable("LD_LIBRARY_PATH"));
    return base;
}

void FakeVendor::write() const
{
    // Renamed into place: the fakes read either the old script or the new one.
    QFile file(scriptName() + QStringLiteral(".new"));
    if (!file.open(QIODevice::WriteOnly)) {
        qFatal("No script for the fakes");
    }
    file.write("epoch = " + QByteArray::number(m_epoch) + "\n");
    for (auto it = m_script.cbegin(); it != m_script.cend(); ++it) {
        file.write(it.key().toUtf8() + " = " + it.value() + '\n');
    }
    file.close();
    if (std::rename(file.fileName().toLocal8Bit().constData(), scriptName().toLocal8Bit().constData()) != 0) {
        qFatal("No script for the fakes");
    }
}

QString FakeVendor::scriptName() const
{
    return m_folder.filePath(QStringLiteral("script"));
}

QString FakeVendor::logName() const
{
    return m_folder.filePath(QStringLiteral("calls"));
}
