#pragma once

#include <QByteArray>
#include <QString>

/// The master side of a terminal.
class PseudoTerminal
{
public:
    PseudoTerminal();
    ~PseudoTerminal() { hangUp(); }

    [[nodiscard]] QString device() const { return m_device; }
    void type(const QByteArray& bytes) const;
    void hangUp();

private:
    Q_DISABLE_COPY_MOVE(PseudoTerminal)
    int m_master;
    QString m_device;
};
