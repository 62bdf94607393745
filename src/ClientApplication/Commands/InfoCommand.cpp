#include "ClientApplication/Commands/InfoCommand.h"

#include "ClientApplication/Console/Options.h"
#include "ClientApplication/Console/Terminal.h"
#include "ClientApplication/Console/Text.h"
#include "Network/Data/Base58.h"
#include "Receiving/DeviceText.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace
{

QString joinHertz(const QVector<double>& values)
{
    QStringList texts;
    for (const double value : values) {
        texts.append(Text::hertz(value));
    }
    return texts.join(QStringLiteral(", "));
}

} // namespace

InfoCommand::InfoCommand(Form form, const Patience& patience)
    : SessionCommand(patience)
    , m_form(form)
{
}

void InfoCommand::describe(QCommandLineParser& parser) const
{
    SessionCommand::describe(parser);
    if (m_form == Form::ValuesAlone) {
        parser.addPositionalArgument(QStringLiteral("NAME"),
                                     QStringLiteral("Properties to print; all without any."),
                                     QStringLiteral("[NAME...]"));
    }
    parser.addOption(Options::json());
}

QString InfoCommand::read(const QCommandLineParser& parser)
{
    m_isJson = parser.isSet(Options::json());
    m_names = parser.positionalArguments().mid(1);
    if (m_form == Form::Everything && !m_names.isEmpty()) {
        return QStringLiteral("info takes one server and nothing else; \"get\" takes names");
    }
    return SessionCommand::read(parser);
}

void InfoCommand::begin()
{
    for (const QString& name : qAsConst(m_names)) {
        if (!device().contains(name)) {
            fail(ExitCode::NotTaken,
                 QStringLiteral("the receiver has no property \"%1\": \"info\" shows those it has")
                     .arg(Text::foreign(name)));
            return;
        }
    }
    const QStringList names = m_names.isEmpty() ? device().names() : m_names;
    m_isJson ? printJson(names) : printText(names);
    done(Terminal::outputCode());
}

void InfoCommand::printText(const QStringList& names)
{
    if (m_form == Form::ValuesAlone) {
        for (const QString& name : names) {
            const QString value = Text::value(device().value(name));
            Terminal::print(m_names.size() == 1 ? value
                                                : QStringLiteral("%1 %2").arg(Text::foreign(name), value));
        }
        return;
    }
    QStringList lines{
        QStringLiteral("Receiver       %1").arg(DeviceText::typeName(device().type().value_or(-1))),
        QStringLiteral("Address        %1").arg(Base58::encode(session().target().id.bytes())),
        QStringLiteral("Host           %1:%2")
            .arg(session().target().address.toString())
            .arg(session().target().port),
        QStringLiteral("Identificator  %1").arg(Text::foreign(session().target().identificator)),
        QStringLiteral("Tunes          %1").arg(bands().join(QStringLiteral(", "))),
        QStringLiteral("Sample rates   %1").arg(joinHertz(device().supportedSampleRates())),
        QString(),
    };
    for (const QString& name : names) {
        const QString value =
            QStringLiteral("%1 %2").arg(Text::value(device().value(name)), DeviceText::unit(name)).trimmed();
        lines.append(QStringLiteral("%1 %2 %3")
                         .arg(Text::foreign(name), -18)
                         .arg(value, -20)
                         .arg(DeviceText::meaning(name))
                         .trimmed());
    }
    Terminal::print(lines.join(QLatin1Char('\n')));
}

void InfoCommand::printJson(const QStringList& names)
{
    QJsonObject values;
    for (const QString& name : names) {
        values.insert(name, QJsonValue::fromVariant(device().value(name)));
    }
    QJsonObject object = values;
    if (m_form == Form::Everything) {
        QJsonArray bands;
        const QVector<RemoteDevice::FrequencyRange> ranges = device().supportedFrequencies();
        for (const RemoteDevice::FrequencyRange& range : ranges) {
            bands.append(QJsonArray{range.lowest, range.highest});
        }
        QJsonArray rates;
        const QVector<double> supported = device().supportedSampleRates();
        for (const double rate : supported) {
            rates.append(rate);
        }
        object = {
            {QStringLiteral("receiver"), DeviceText::typeName(device().type().value_or(-1))},
            {QStringLiteral("address"), Base58::encode(session().target().id.bytes())},
            {QStringLiteral("host"), session().target().address.toString()},
            {QStringLiteral("port"), session().target().port},
            {QStringLiteral("identificator"), session().target().identificator},
            {QStringLiteral("frequencies_hz"), bands},
            {QStringLiteral("sample_rates_hz"), rates},
            {QStringLiteral("properties"), values},
        };
    }
    Terminal::print(Text::json(QJsonDocument(object)));
}
