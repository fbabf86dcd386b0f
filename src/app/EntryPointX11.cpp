#include "app/Application.h"
#include "app/qMain.h"
#include "processing/WorkerEnd.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QSocketNotifier>

#include <csignal>
#include <cstdlib>
#include <malloc.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

int signalSockets[2] = { -1, -1 };

// A session's end comes as SIGTERM and at once SIGHUP, a terminal's as SIGHUP twice. That is one
// request to quit; a second one gives up what is left to do.
constexpr qint64 SameRequestMs = 2000;

// Only async-signal-safe calls here: the byte wakes the event loop, which does the work.
void onSignal(int)
{
    const char byte = 1;
    const ssize_t written = write(signalSockets[0], &byte, sizeof byte);
    static_cast<void>(written);
}

// A session that ends, or "kill", ends the program like a closed window: a recording under way is
// finished first.
void quitOnSignals()
{
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, signalSockets) != 0)
        return;
    auto* notifier = new QSocketNotifier(
        signalSockets[1], QSocketNotifier::Read, QCoreApplication::instance());
    QObject::connect(
        notifier, &QSocketNotifier::activated, notifier, [request = QElapsedTimer()]() mutable {
            char byte = 0;
            if (read(signalSockets[1], &byte, sizeof byte) != sizeof byte)
                return;
            if (request.isValid() && request.elapsed() < SameRequestMs)
                return;
            request.start();
            if (Application::instance())
                Application::instance()->requestQuit();
        });

    struct sigaction action = {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (const int number : { SIGTERM, SIGINT, SIGHUP }) {
        struct sigaction inherited = {};
        // What whoever started us has ignored stays so: "nohup" outlives its terminal.
        if (sigaction(number, nullptr, &inherited) == 0 && inherited.sa_handler != SIG_IGN)
            sigaction(number, &action, nullptr);
    }
}

// Left to itself, glibc soon takes the memory of all frames from the heaps of the threads that make
// them, which keep it. With a fixed threshold, the system gets the memory of pictures of 1920x1080
// (8 MB) and above back at once. Lower, each second's matrix (6 MB) would be new memory, too, and
// its page faults a tenth of what a recording costs.
void returnMemoryOfPictures()
{
#ifdef __GLIBC__
    mallopt(M_MMAP_THRESHOLD, 8'000'000);
    mallopt(M_TRIM_THRESHOLD, 16'000'000);
#endif
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(quitOnSignals)

int main(int argc, char** argv)
{
    // What is recorded, logged and set is its owner's business; on Windows the profile's own access
    // rights see to that.
    umask(S_IRWXG | S_IRWXO);
    returnMemoryOfPictures();
    const int result = qMain(argc, argv);
    // A thread in a call that never returns still holds what the destructors of static objects
    // would take from it, or wait for. Everything else is finished.
    if (WorkerEnd::anyLeftAlone())
        std::_Exit(result);
    return result;
}
