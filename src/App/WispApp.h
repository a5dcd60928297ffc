#pragma once

#include <QObject>

#include <chrono>
#include <memory>
#include <optional>

class AppDelegate;
class ReopenEvents;
class SingleInstance;

// The application: a tray-only QApplication (no main window, no Dock icon on macOS) whose
// delegate does the real work. A second launch hands over to the running instance and ends.
class WispApp : public QObject
{
    Q_OBJECT
public:
    // The whole program: checks for a display, creates the QApplication and runs it.
    static int main(int argc, char** argv);

    WispApp();
    ~WispApp() override;

    // With the QApplication in place: hands over to a running instance (returns 0 at once), or
    // launches the delegate and runs the event loop until quit.
    int run();

    static AppDelegate* appDelegate() { return _appDelegate; }

    // How often the server is watched when the command line asks for it (tests only).
    std::optional<std::chrono::milliseconds> pollingInterval;

private:
    static void setWindowIcon();

    // Created at launch and deliberately never destroyed, as an application delegate on macOS
    // is never deallocated: destroying it would destroy the ServerManager, which sends SIGTERM
    // to the server it tracks, and quitting must leave development servers running. Held in
    // static storage, so that it stays reachable to the end and leak checkers do not count it.
    static inline AppDelegate* _appDelegate = nullptr;
    std::unique_ptr<SingleInstance> singleInstance;
    std::unique_ptr<ReopenEvents> reopenEvents;
};
