#pragma once

#include <QMap>
#include <QProcessEnvironment>
#include <QStringList>
#include <QTemporaryDir>

/// A test's hold on the fake libraries (tests/fakes): writes their script and reads their log. Those of this
/// process follow it, and those of a child that gets `environment()`. One at a time; made first of all, since
/// it sets this process's environment.
class FakeVendor
{
public:
    FakeVendor();
    ~FakeVendor();

    /// The script without a key but a new `epoch`, and an empty log.
    void reset();
    /// Sets a key of the script (fakes/common/FakeScript.h); the fakes see it at their next question.
    void set(const QString& key, const QString& value);
    void set(const QString& key, double value) { set(key, QString::number(value, 'g', 15)); }
    void setBytes(const QString& key, const QByteArray& value);
    void remove(const QString& key);

    /// The calls written down since the last reset or clear, in order. With a prefix, those that begin so.
    [[nodiscard]] QStringList calls(const QString& prefix = QString()) const;
    /// Forgets the calls, and keeps the script.
    void clearCalls() const;

    /// What a child process needs on top of `base` to follow this script; its LD_LIBRARY_PATH is the present
    /// process's own.
    [[nodiscard]] QProcessEnvironment
    environment(QProcessEnvironment base = QProcessEnvironment::systemEnvironment()) const;

private:
    Q_DISABLE_COPY_MOVE(FakeVendor)
    void write() const;
    [[nodiscard]] QString scriptName() const;
    [[nodiscard]] QString logName() const;

    QTemporaryDir m_folder;
    QMap<QString, QByteArray> m_script;
    int m_epoch = 0;
};
