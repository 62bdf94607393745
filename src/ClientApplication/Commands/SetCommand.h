#pragma once

#include "ClientApplication/Commands/SessionCommand.h"

/// Writes one property of the receiver and prints what it has taken.
/// Thread: main.
class SetCommand : public SessionCommand
{
    Q_OBJECT

public:
    SetCommand();

    void describe(QCommandLineParser& parser) const override;
    [[nodiscard]] QString read(const QCommandLineParser& parser) override;

    /// `text` as a value of the type that `present` has; invalid if it is none.
    [[nodiscard]] static QVariant toValue(const QString& text, const QVariant& present);

protected:
    void begin() override;

private:
    void compare();

    QString m_name;
    QString m_text;
    QVariant m_wanted;
};
