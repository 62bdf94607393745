#include "ClientApplication/Commands/ListCommand.h"

#include "ClientApplication/Console/Options.h"
#include "ClientApplication/Console/Terminal.h"
#include "ClientApplication/Console/Text.h"
#include "Network/Data/Base58.h"
#include "Network/Protocol/Announcement.h"
#include "Receiving/DeviceText.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimer>
#include <algorithm>

namespace
{

constexpr double kListenTime = 3.0; // s; each server announces itself once a second

QJsonObject toJson(const ServerFinder::Server& server)
{
    const Announcement& announcement = server.announcement;
    return {
        {QStringLiteral("address"), Base58::encode(announcement.id.bytes())},
        {QStringLiteral("host"), server.address.toString()},
        {QStringLiteral("port"), announcement.port},
        {QStringLiteral("receiver"), DeviceText::typeName(announcement.deviceType)},
        {QStringLiteral("device_type"), announcement.deviceType},
        {QStringLiteral("title"), announcement.title},
        {QStringLiteral("description"), announcement.description},
        {QStringLiteral("identificator"), announcement.identificator},
        {QStringLiteral("compatible"), announcement.isCompatible()},
    };
}

} // namespace

ListCommand::ListCommand()
    : m_timer(new QTimer(this))
{
    m_timer->setSingleShot(true);
    connect(m_timer, &QTimer::timeout, this, &ListCommand::show);
}

void ListCommand::describe(QCommandLineParser& parser) const
{
    parser.addOptions({Options::listenTime(), Options::json()});
}

QString ListCommand::read(const QCommandLineParser& parser)
{
    std::optional<double> seconds;
    QString error =
        Options::number(parser, Options::listenTime(), Text::toSeconds, QStringLiteral("5"), seconds);
    m_timer->setInterval(std::min(static_cast<int>(1e3 * seconds.value_or(kListenTime)), 3'600'000));
    m_isJson = parser.isSet(Options::json());
    return error;
}

void ListCommand::start()
{
    if (!m_finder.listen()) {
        Terminal::error(QStringLiteral("can't listen for servers, %1: see what else uses UDP port %2")
                            .arg(m_finder.errorString(), QString::number(Announcement::kPort)));
        emit finished(ExitCode::Failed);
        return;
    }
    m_timer->start();
}

void ListCommand::interrupt()
{
    m_timer->stop();
    show();
}

void ListCommand::show()
{
    if (!print()) {
        emit finished(Terminal::outputCode());
    } else if (m_finder.servers().isEmpty()) {
        Terminal::error(
            QStringLiteral("no server is heard: start one on this network, or name one elsewhere as "
                           "ADDRESS@HOST:PORT; a server in use isn't heard"));
        emit finished(ExitCode::NotFound);
    } else {
        emit finished(ExitCode::Done);
    }
}

bool ListCommand::print() const
{
    const QVector<ServerFinder::Server> servers = m_finder.servers();
    if (m_isJson) {
        QJsonArray array;
        for (const ServerFinder::Server& server : servers) {
            array.append(toJson(server));
        }
        return Terminal::print(Text::json(QJsonDocument(array)));
    }
    bool isPrinted = true;
    for (const ServerFinder::Server& server : servers) {
        const Announcement& announcement = server.announcement;
        const QString receiver = QStringLiteral("%1 %2").arg(announcement.title, announcement.description);
        isPrinted = Terminal::print(QStringLiteral("%1  %2:%3  %4%5")
                                        .arg(Base58::encode(announcement.id.bytes()), -28)
                                        .arg(server.address.toString())
                                        .arg(announcement.port)
                                        .arg(Text::foreign(receiver.simplified()),
                                             announcement.isCompatible()
                                                 ? QString()
                                                 : QStringLiteral("  (speaks another version)"))) &&
                    isPrinted;
    }
    return isPrinted;
}
