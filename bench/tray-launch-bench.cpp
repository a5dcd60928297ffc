// Launch to tray icon: starts a program and prints how many milliseconds pass from the spawn
// until one of its windows is viewable inside the tray (an XEmbed icon reparented into the tray's
// window), and the CPU time the program used until then, then stops the program.
//
//   wisp-bench-tray-launch TIMEOUT_MS PROGRAM [ARGUMENTS...]
//
// The tray must already run on $DISPLAY. Prints "<wall ms> <CPU ms>" on stdout and exits 0, or
// exits 1 when the icon never shows. The CPU time barely depends on the machine's load.
#include <X11/Xatom.h>
#include <X11/Xlib.h>

#include <chrono>
#include <cstdio>
#include <dirent.h>
#include <fstream>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

extern char** environ;

namespace {

using Clock = std::chrono::steady_clock;

// Windows come and go while the tree is walked.
int ignoreErrors(Display*, XErrorEvent*)
{
    return 0;
}

pid_t windowPid(Display* display, Window window, Atom pidAtom)
{
    Atom type = None;
    int format = 0;
    unsigned long count = 0;
    unsigned long remaining = 0;
    unsigned char* data = nullptr;
    pid_t pid = 0;
    if (XGetWindowProperty(display, window, pidAtom, 0, 1, False, XA_CARDINAL, &type, &format,
                           &count, &remaining, &data) == Success &&
        data) {
        if (type == XA_CARDINAL && format == 32 && count == 1) {
            pid = static_cast<pid_t>(*reinterpret_cast<unsigned long*>(data));
        }
        XFree(data);
    }
    return pid;
}

// Walks the tree below `window`, watching every window for new children, maps and reparents.
// True once a viewable window of `pid` is found below one of the root's children.
bool scan(Display* display, Window window, int depth, pid_t pid, Atom pidAtom)
{
    XSelectInput(display, window, SubstructureNotifyMask);
    if (depth >= 2 && windowPid(display, window, pidAtom) == pid) {
        XWindowAttributes attributes;
        if (XGetWindowAttributes(display, window, &attributes) &&
            attributes.map_state == IsViewable) {
            return true;
        }
    }
    Window root = None;
    Window parent = None;
    Window* children = nullptr;
    unsigned int count = 0;
    if (!XQueryTree(display, window, &root, &parent, &children, &count)) {
        return false;
    }
    bool found = false;
    for (unsigned int index = 0; index < count && !found; ++index) {
        found = scan(display, children[index], depth + 1, pid, pidAtom);
    }
    if (children) {
        XFree(children);
    }
    return found;
}

// CPU time of all the process's threads, from the scheduler's nanosecond run times.
double cpuMilliseconds(pid_t pid)
{
    const std::string tasks = "/proc/" + std::to_string(pid) + "/task";
    double total = 0;
    if (DIR* folder = opendir(tasks.c_str())) {
        while (const dirent* entry = readdir(folder)) {
            if (entry->d_name[0] == '.') {
                continue;
            }
            std::ifstream stat(tasks + "/" + entry->d_name + "/schedstat");
            unsigned long long nanoseconds = 0;
            if (stat >> nanoseconds) {
                total += static_cast<double>(nanoseconds) / 1e6;
            }
        }
        closedir(folder);
    }
    return total;
}

void stop(pid_t child)
{
    kill(child, SIGTERM);
    for (int attempt = 0; attempt < 500; ++attempt) {
        if (waitpid(child, nullptr, WNOHANG) == child) {
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 3) {
        std::fprintf(stderr, "usage: %s TIMEOUT_MS PROGRAM [ARGUMENTS...]\n", argv[0]);
        return 2;
    }
    const auto timeout = std::chrono::milliseconds(std::atoi(argv[1]));
    Display* display = XOpenDisplay(nullptr);
    if (!display) {
        std::fprintf(stderr, "cannot open display\n");
        return 2;
    }
    XSetErrorHandler(ignoreErrors);
    const Atom pidAtom = XInternAtom(display, "_NET_WM_PID", False);
    const Window root = DefaultRootWindow(display);
    // Watching starts before the spawn, so that no change is missed.
    scan(display, root, 0, -1, pidAtom);
    XSync(display, False);

    const Clock::time_point start = Clock::now();
    pid_t child = 0;
    if (posix_spawnp(&child, argv[2], nullptr, nullptr, argv + 2, environ) != 0) {
        std::perror("posix_spawnp");
        return 2;
    }

    // Every burst of events, and every 5 ms without one, looks at the tree again.
    bool shown = false;
    pollfd connection{ConnectionNumber(display), POLLIN, 0};
    while (Clock::now() - start < timeout) {
        while (XPending(display) > 0) {
            XEvent event;
            XNextEvent(display, &event);
        }
        if (scan(display, root, 0, child, pidAtom)) {
            shown = true;
            break;
        }
        if (waitpid(child, nullptr, WNOHANG) == child) {
            std::fprintf(stderr, "%s exited before its icon showed\n", argv[2]);
            return 1;
        }
        XFlush(display);
        poll(&connection, 1, 5);
    }
    const double elapsed = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
    const double cpu = cpuMilliseconds(child);
    stop(child);
    XCloseDisplay(display);
    if (!shown) {
        std::fprintf(stderr, "no tray icon of %s within %s ms\n", argv[2], argv[1]);
        return 1;
    }
    std::printf("%.2f %.2f\n", elapsed, cpu);
    return 0;
}
