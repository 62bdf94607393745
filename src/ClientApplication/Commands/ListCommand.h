#pragma once

#include "Client/ServerFinder.h"
#include "ClientApplication/Commands/Command.h"

class QTimer;

/// Prints the servers that are heard on the local network.
/// Thread: main.
class ListCommand : public Command
{
    Q_OBJECT

public:
    ListCommand();

    void describe(QCommandLineParser& parser) const override;
    [[nodiscard]] QString read(const QCommandLineParser& parser) override;
    void start() override;
    void interrupt() override;

private:
    void show();
    [[nodiscard]] bool print() const;

    ServerFinder m_finder;
    QTimer* m_timer;
    bool m_isJson = false;
};
