#include "app/SystemHold.h"

#include <QDebug>
#include <QSocketNotifier>
#include <QTimer>

#include <algorithm>
#include <cstring>
#include <ctime>
#include <utility>

#include <poll.h>
#include <systemd/sd-bus.h>

#include <X11/Xlib.h>
#include <X11/extensions/scrnsaver.h>

using namespace Qt::StringLiterals;

namespace {

/// One request to a service of a message bus, on a connection of its own: the request is granted
/// until this goes, since services forget what a connection was granted when it closes. Nothing
/// here waits for the bus, also not its end (Qt's own bus library waits for all of it). Main
/// thread.
class BusRequest
{
public:
    using Open = int (*)(sd_bus**);
    explicit BusRequest(Open open);
    ~BusRequest();
    BusRequest(const BusRequest&) = delete;
    BusRequest& operator=(const BusRequest&) = delete;

    /// @p arguments are strings, as many as @p types has letters.
    template <typename... Arguments>
    void send(const char* service, const char* path, const char* interface, const char* types,
        Arguments... arguments)
    {
        m_service = service;
        if (!isAlive(m_openResult))
            return;
        if (isAlive(sd_bus_call_method_async(m_bus, nullptr, service, path, interface, "Inhibit",
                &BusRequest::onReply, this, types, arguments...)))
            process();
    }

private:
    static int onReply(sd_bus_message* reply, void* request, sd_bus_error*);
    /// False, and a line in the log, for what the bus library calls an error.
    [[nodiscard]] bool isAlive(int result) const;
    void process();

    sd_bus* m_bus = nullptr;
    int m_openResult = 0;
    const char* m_service = "";
    sd_bus_message* m_reply = nullptr; ///< with the descriptor that a login service hands out
    std::unique_ptr<QSocketNotifier> m_readable;
    std::unique_ptr<QSocketNotifier> m_writable;
    QTimer m_timer; ///< what the bus library wants to do at a time: to give up
};

BusRequest::BusRequest(Open open)
{
    m_openResult = open(&m_bus);
    if (m_openResult < 0)
        return;
    const int descriptor = sd_bus_get_fd(m_bus);
    m_readable = std::make_unique<QSocketNotifier>(descriptor, QSocketNotifier::Read);
    m_writable = std::make_unique<QSocketNotifier>(descriptor, QSocketNotifier::Write);
    m_timer.setSingleShot(true);
    QObject::connect(
        m_readable.get(), &QSocketNotifier::activated, m_readable.get(), [this] { process(); });
    QObject::connect(
        m_writable.get(), &QSocketNotifier::activated, m_writable.get(), [this] { process(); });
    QObject::connect(&m_timer, &QTimer::timeout, &m_timer, [this] { process(); });
}

BusRequest::~BusRequest()
{
    sd_bus_message_unref(m_reply);
    sd_bus_close_unref(m_bus);
}

int BusRequest::onReply(sd_bus_message* reply, void* request, sd_bus_error*)
{
    auto* self = static_cast<BusRequest*>(request);
    if (const sd_bus_error* error = sd_bus_message_get_error(reply))
        qInfo() << "[SystemHold]" << self->m_service << "refuses:" << error->message;
    else
        self->m_reply = sd_bus_message_ref(reply);
    return 0;
}

bool BusRequest::isAlive(int result) const
{
    if (result < 0)
        qInfo() << "[SystemHold]" << m_service << "cannot be asked:" << std::strerror(-result);
    return result >= 0;
}

void BusRequest::process()
{
    int result = 0;
    while ((result = sd_bus_process(m_bus, nullptr)) > 0) { }
    const int events = result < 0 ? result : sd_bus_get_events(m_bus);
    if (!isAlive(events)) { // the bus has gone, or has never answered
        m_readable->setEnabled(false);
        m_writable->setEnabled(false);
        m_timer.stop();
        return;
    }
    m_writable->setEnabled((events & POLLOUT) != 0);
    std::uint64_t deadlineUs = 0;
    if (sd_bus_get_timeout(m_bus, &deadlineUs) < 0 || deadlineUs == UINT64_MAX) {
        m_timer.stop();
        return;
    }
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const qint64 nowMs = qint64(now.tv_sec) * 1000 + now.tv_nsec / 1'000'000;
    m_timer.start(int(std::max<qint64>(0, qint64(deadlineUs / 1000) + 1 - nowMs)));
}

} // namespace

struct SystemHold::Platform
{
    void suspendScreenSaver();

    std::unique_ptr<BusRequest> sleep;
    std::unique_ptr<BusRequest> screenSaver;
    std::unique_ptr<Display, int (*)(Display*)> display{ nullptr, XCloseDisplay };
};

/// The X server's own, which needs no service. It lasts as long as the connection.
void SystemHold::Platform::suspendScreenSaver()
{
    display.reset(XOpenDisplay(nullptr));
    int event = 0;
    int error = 0;
    if (!display || !XScreenSaverQueryExtension(display.get(), &event, &error)) {
        qInfo() << "[SystemHold] the display may become blank";
        return;
    }
    XScreenSaverSuspend(display.get(), True);
    XFlush(display.get());
}

SystemHold::SystemHold()
    : m_platform(std::make_unique<Platform>())
{
}

SystemHold::~SystemHold() = default;

void SystemHold::begin(QWindow*, const QString& reason)
{
    if (std::exchange(m_held, true))
        return;
    m_platform->suspendScreenSaver();

    const char* const program = "Podiumcast Recorder";
    const QByteArray why = reason.toUtf8();
    m_platform->sleep = std::make_unique<BusRequest>(&sd_bus_open_system);
    m_platform->sleep->send("org.freedesktop.login1", "/org/freedesktop/login1",
        "org.freedesktop.login1.Manager", "ssss", "sleep:idle", program, why.constData(), "block");
    m_platform->screenSaver = std::make_unique<BusRequest>(&sd_bus_open_user);
    m_platform->screenSaver->send("org.freedesktop.ScreenSaver", "/org/freedesktop/ScreenSaver",
        "org.freedesktop.ScreenSaver", "ss", program, why.constData());
}

void SystemHold::end()
{
    if (std::exchange(m_held, false))
        m_platform = std::make_unique<Platform>();
}
