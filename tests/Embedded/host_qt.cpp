#include "Embedded/HostSession.h"

#include <orvenlink/Finder.h>

#ifdef WITH_GUI
#include <QGuiApplication>
using Application = QGuiApplication;
#else
#include <QCoreApplication>
using Application = QCoreApplication;
#endif
#include <QTimer>
#include <future>
#include <iostream>
#include <thread>

namespace
{

// An application that lives as any other; its objects' events mustn't be the library's.
class Host : public Application
{
public:
    using Application::Application;

    bool notify(QObject* receiver, QEvent* event) override
    {
        m_isWrong = m_isWrong || receiver->thread() != thread();
        return Application::notify(receiver, event);
    }
    /// Runs its events while the library is used on another thread, or waits for a timer.
    std::string runBeside(const std::function<std::string()>& use)
    {
        std::string trouble;
        std::thread other([&] {
            trouble = use();
            QMetaObject::invokeMethod(this, &QCoreApplication::quit, Qt::QueuedConnection);
        });
        QTimer::singleShot(1, this, [this] { m_hasTimers = true; });
        exec();
        other.join();
        if (trouble.empty() && (m_isWrong || !m_hasTimers)) {
            trouble = "the application sees events that aren't its own, or lacks its own";
        }
        return trouble;
    }

private:
    std::atomic<bool> m_isWrong = false;
    bool m_hasTimers = false;
};

} // namespace

// A host with an application of Qt's: PLACE IDENTIFICATOR before|after|between. It is made before the library
// is used, after that, or again and again meanwhile.
int main(int argc, char** argv)
{
    if (argc != 4) {
        return 2;
    }
    const std::string place = argv[1];
    const std::string identificator = argv[2];
    const std::string when = argv[3];
    const auto use = [&] { return useLibrary(place, identificator); };
    std::string trouble;
    if (when == "before") {
        Host host(argc, argv);
        trouble = use();
        if (trouble.empty()) {
            trouble = host.runBeside(use);
        }
    } else if (when == "after") {
        // By a thread that the application is not made in.
        trouble = std::async(std::launch::async, use).get();
        Host host(argc, argv);
        if (trouble.empty()) {
            trouble = host.runBeside(use);
        }
    } else {
        const orvenlink::Finder finder; // the first to meet Qt
        auto session = std::async(std::launch::async, use);
        while (trouble.empty() && session.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
            Host host(argc, argv);
            // Applications of a short life, one after the other, for as long as the session takes.
            trouble = host.runBeside([] {
                std::this_thread::sleep_for(std::chrono::milliseconds(50));
                return std::string();
            });
        }
        if (trouble.empty()) {
            trouble = session.get();
        }
    }
    std::cerr << trouble;
    return trouble.empty() ? 0 : 1;
}
