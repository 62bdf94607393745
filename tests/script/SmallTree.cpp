#include "script/SmallTree.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QtTest>

void SmallTree::put(const QString& name, const QByteArray& text) const
{
    const QString path = m_root.filePath(QStringLiteral("src/") + name);
    QVERIFY(QDir().mkpath(QFileInfo(path).path()));
    QFile file(path);
    QVERIFY(file.open(QIODevice::Append));
    QCOMPARE(file.write(text), text.size());
}

SmallTree::Result SmallTree::run(const QString& script, const QStringList& arguments)
{
    QProcess process;
    process.start(script, arguments);
    if (!process.waitForFinished()) {
        return {-1, process.errorString()};
    }
    return {process.exitCode(),
            QString::fromUtf8(process.readAllStandardOutput() + process.readAllStandardError())};
}
