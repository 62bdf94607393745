#include "ClientApplication/Commands/CommandTest.h"

#include "Network/Data/Base58.h"

#include <QCommandLineParser>
#include <QtTest>
#include <cstdio>
#include <unistd.h>

Captured::Captured(int descriptor)
    : m_descriptor(descriptor)
    , m_before(::dup(descriptor))
{
    if (m_file.open()) {
        ::dup2(m_file.handle(), descriptor);
    }
}

Captured::~Captured()
{
    ::dup2(m_before, m_descriptor);
    ::close(m_before);
    if (QTest::currentTestFailed()) { // what the test itself had to say is among it
        std::fputs(qPrintable(lines().join(QLatin1Char('\n'))), stderr);
    }
}

QStringList Captured::lines() const
{
    QFile file(m_file.fileName());
    return file.open(QIODevice::ReadOnly)
               ? QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts)
               : QStringList();
}

void CommandTest::init()
{
    m_log = std::make_unique<LogCapture>();
    m_server = std::make_unique<ServerDouble>();
    m_folder = std::make_unique<QTemporaryDir>();
    m_codes.clear();
}

void CommandTest::cleanup()
{
    m_server.reset();
    m_log.reset();
}

void CommandTest::launch(Command& command, const QStringList& arguments)
{
    const NodeInfo info = m_server->info();
    QCommandLineParser parser;
    command.describe(parser);
    const QString server = text("%1@127.0.0.1:%2").arg(Base58::encode(info.id.bytes())).arg(info.port);
    QVERIFY(parser.parse(
        QStringList{text("client"), server, text("--identificator"), m_server->identificator()} + arguments));
    QCOMPARE(command.read(parser), QString());
    connect(&command, &Command::finished, this, [this](ExitCode code) { m_codes.append(code); });
    command.start();
}

void CommandTest::start(Command& command, const QStringList& arguments, int rate)
{
    launch(command, arguments);
    QTRY_VERIFY(m_server->isInSession());
    m_server->call(text("outSampleRateChanged"), {{text("outSampleRate"), rate}});
}
