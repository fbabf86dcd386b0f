#include "recorders/MouseListenerPrivateX11.h"

#include <QDebug>
#include <QSocketNotifier>
#include <QTimer>

// After Qt's: X11 defines macros such as None, Bool and Status.
#include <X11/Xlib.h>
#include <X11/Xproto.h>
#include <X11/extensions/record.h>

MouseListenerPrivateX11* MouseListenerPrivateX11::m_currentInstance = nullptr;

MouseListenerPrivate* MouseListenerPrivate::create()
{
    return new MouseListenerPrivateX11;
}

/// RECORD wants two connections: one that controls the context, one that carries its data.
class MouseListenerPrivateX11::Hook
{
public:
    explicit Hook(MouseListenerPrivateX11* listener)
        : m_listener(listener)
    {
    }

    Q_DISABLE_COPY_MOVE(Hook)

    ~Hook()
    {
        m_notifier.reset();
        // The server must have carried out each step before the next, or closing the data
        // connection waits for ever.
        if (m_context) {
            XRecordDisableContext(m_control, m_context);
            XSync(m_control, False);
            XRecordFreeContext(m_control, m_context);
            XSync(m_control, False);
        }
        if (m_data)
            XCloseDisplay(m_data);
        if (m_control)
            XCloseDisplay(m_control);
    }

    [[nodiscard]] bool open()
    {
        m_control = XOpenDisplay(nullptr);
        m_data = m_control ? XOpenDisplay(nullptr) : nullptr;
        if (!m_data)
            return false;
        int major = 0;
        int minor = 0;
        XRecordRange* range = nullptr;
        if (!XRecordQueryVersion(m_control, &major, &minor) || !(range = XRecordAllocRange()))
            return false;
        range->device_events.first = MotionNotify;
        range->device_events.last = MotionNotify;
        XRecordClientSpec clients = XRecordAllClients;
        m_context = XRecordCreateContext(m_control, 0, &clients, 1, &range, 1);
        XFree(range);
        // The data connection names the context: it must exist on the server by then.
        XSync(m_control, False);
        if (!m_context
            || !XRecordEnableContextAsync(
                m_data, m_context, &Hook::receive, reinterpret_cast<XPointer>(m_listener)))
            return false;
        m_notifier
            = std::make_unique<QSocketNotifier>(ConnectionNumber(m_data), QSocketNotifier::Read);
        QObject::connect(m_notifier.get(), &QSocketNotifier::activated, m_listener,
            [this] { XRecordProcessReplies(m_data); });
        XRecordProcessReplies(m_data); // what came together with the answer wakes no notifier
        return true;
    }

private:
    static void receive(XPointer closure, XRecordInterceptData* data)
    {
        auto* listener = reinterpret_cast<MouseListenerPrivateX11*>(closure);
        if (data->category == XRecordFromServer && data->data_len * 4 >= sizeof(xEvent)) {
            const auto* event = reinterpret_cast<const xEvent*>(data->data);
            if ((event->u.u.type & 0x7f) == MotionNotify) {
                listener->emitMousePositionChanged(listener->currentMouseTime(),
                    event->u.keyButtonPointer.rootX, event->u.keyButtonPointer.rootY);
            }
        }
        XRecordFreeData(data);
    }

    MouseListenerPrivateX11* const m_listener;
    Display* m_control = nullptr;
    Display* m_data = nullptr;
    XRecordContext m_context = 0;
    std::unique_ptr<QSocketNotifier> m_notifier;
};

MouseListenerPrivateX11::MouseListenerPrivateX11() = default;

MouseListenerPrivateX11::~MouseListenerPrivateX11()
{
    m_hook.reset();
    if (m_currentInstance == this)
        m_currentInstance = nullptr;
}

void MouseListenerPrivateX11::start()
{
    if (m_currentInstance) {
        qDebug() << "[MouseListenerPrivateX11] m_currentInstance is already set.";
        return;
    }
    m_currentInstance = this;
    restartTimer();
    createHook();
}

bool MouseListenerPrivateX11::createHook()
{
    qDebug() << "[MouseListenerPrivateX11] createHook";
    m_hook = std::make_unique<Hook>(this);
    if (m_hook->open())
        return true;
    qDebug() << "[MouseListenerPrivateX11] no display with the RECORD extension.";
    m_hook.reset();
    return false;
}

void MouseListenerPrivateX11::requestStop()
{
    QTimer::singleShot(0, this, &MouseListenerPrivateX11::stop);
}

void MouseListenerPrivateX11::stop()
{
    destroyHook();
    if (m_currentInstance == this)
        m_currentInstance = nullptr;
    emit stopped();
}

void MouseListenerPrivateX11::destroyHook()
{
    qDebug() << "[MouseListenerMacOS] destroyTap";
    m_hook.reset();
}
