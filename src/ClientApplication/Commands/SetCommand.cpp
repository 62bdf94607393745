#include "ClientApplication/Commands/SetCommand.h"

#include "ClientApplication/Console/Terminal.h"
#include "ClientApplication/Console/Text.h"
#include "Receiving/DeviceText.h"

#include <QCommandLineParser>
#include <cmath>

namespace
{

// JSON doesn't tell whole numbers from others, and the reader makes different types of them.
bool isNumber(const QVariant& value)
{
    const auto type = static_cast<QMetaType::Type>(value.type());
    return type == QMetaType::Double || type == QMetaType::LongLong || type == QMetaType::ULongLong;
}

// A frequency comes back corrected by the error of the receiver's clock.
bool isSame(const QVariant& wanted, const QVariant& taken, double ppm)
{
    if (!isNumber(wanted) || !isNumber(taken)) {
        return wanted == taken;
    }
    const double size = std::abs(wanted.toDouble());
    return std::abs(wanted.toDouble() - taken.toDouble()) <= size * (1e-9 + 1.01e-6 * std::abs(ppm));
}

} // namespace

SetCommand::SetCommand()
    : SessionCommand({})
{
}

void SetCommand::describe(QCommandLineParser& parser) const
{
    SessionCommand::describe(parser);
    parser.addPositionalArgument(QStringLiteral("NAME"),
                                 QStringLiteral("The property, as \"info\" shows it."));
    parser.addPositionalArgument(
        QStringLiteral("VALUE"),
        QStringLiteral(
            "A number, as 14250000 or 14.25M; true or false; or a text. Put \"--\" before a negative "
            "number."));
}

QString SetCommand::read(const QCommandLineParser& parser)
{
    const QStringList arguments = parser.positionalArguments();
    if (arguments.size() != 3) {
        return QStringLiteral("set takes a server, a name and a value");
    }
    m_name = arguments.at(1);
    m_text = arguments.at(2);
    return SessionCommand::read(parser);
}

QVariant SetCommand::toValue(const QString& text, const QVariant& present)
{
    if (isNumber(present)) {
        const std::optional<double> number = Text::toHertz(text);
        return number ? QVariant(*number) : QVariant();
    }
    if (present.type() == QVariant::String) {
        return text;
    }
    if (present.type() != QVariant::Bool) {
        return {};
    }
    if (text == QLatin1String("true") || text == QLatin1String("on") || text == QLatin1String("1")) {
        return true;
    }
    if (text == QLatin1String("false") || text == QLatin1String("off") || text == QLatin1String("0")) {
        return false;
    }
    return {};
}

void SetCommand::begin()
{
    if (!device().contains(m_name)) {
        fail(ExitCode::NotTaken,
             QStringLiteral("the receiver has no property \"%1\": \"info\" shows those it has")
                 .arg(Text::foreign(m_name)));
        return;
    }
    const QVariant present = device().value(m_name);
    m_wanted = toValue(m_text, present);
    if (!m_wanted.isValid()) {
        fail(ExitCode::Usage,
             QStringLiteral("\"%1\" is no value for %2, which is now %3: give one of that kind")
                 .arg(Text::foreign(m_text), m_name, Text::value(present)));
        return;
    }
    // What the receiver has made of it is seen in a new set.
    connect(&device(), &RemoteDevice::synchronized, this, &SetCommand::compare);
    connect(&device(), &RemoteDevice::synchronizationFailed, this, [this] {
        fail(ExitCode::SessionLost, QStringLiteral("the server doesn't tell what it has taken: try again"));
    });
    if (!device().write(m_name, m_wanted) || !device().refresh()) {
        fail(ExitCode::SessionLost, QStringLiteral("the session has ended: try again"));
    }
}

void SetCommand::compare()
{
    const QVariant taken = device().value(m_name);
    const QString shown = QStringLiteral("%1 %2").arg(Text::value(taken), DeviceText::unit(m_name)).trimmed();
    const bool isTuning = m_name == QLatin1String("frequency");
    if (isSame(m_wanted, taken, isTuning ? device().ppmCorrection().value_or(0) : 0)) {
        Terminal::print(shown);
        const QString effect = correctionAtStart();
        if ((isTuning || m_name == QLatin1String("ppmCorrection")) && !effect.isEmpty()) {
            Terminal::note(effect);
        }
        done(Terminal::outputCode());
    } else {
        fail(ExitCode::NotTaken,
             QStringLiteral("the receiver has not taken %1, %2 is %3: \"info\" shows what it can")
                 .arg(Text::foreign(m_text), m_name, shown));
    }
}
