#pragma once

#include "ClientApplication/Commands/SessionCommand.h"

/// Prints what the receiver is and its properties, or with names, those alone.
/// Thread: main.
class InfoCommand : public SessionCommand
{
    Q_OBJECT

public:
    enum class Form
    {
        Everything,  ///< `info`: what it is, and each property with its unit and meaning.
        ValuesAlone, ///< `get`: the values of the properties named, or of all.
    };
    explicit InfoCommand(Form form, const Patience& patience = {});

    void describe(QCommandLineParser& parser) const override;
    [[nodiscard]] QString read(const QCommandLineParser& parser) override;

protected:
    void begin() override;

private:
    void printText(const QStringList& names);
    void printJson(const QStringList& names);

    Form m_form;
    QStringList m_names;
    bool m_isJson = false;
};
