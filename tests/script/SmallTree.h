#pragma once

#include <QStringList>
#include <QTemporaryDir>

/// A small source tree that a script checks.
class SmallTree
{
public:
    struct Result
    {
        int exitCode;
        QString text; ///< All that the script has printed.
    };

    /// Appends the text to a file below src/, which is made if it isn't there.
    void put(const QString& name, const QByteArray& text) const;
    /// Of `script`, run on this tree.
    [[nodiscard]] Result check(const QString& script) const { return run(script, {m_root.path()}); }
    [[nodiscard]] static Result run(const QString& script, const QStringList& arguments);

private:
    QTemporaryDir m_root;
};
