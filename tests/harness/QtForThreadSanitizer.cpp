// Tells the thread sanitizer how Qt hands work from one thread to another. Qt's libraries are built
// without it: it sees neither the locks inside them nor their reference counts, and would report
// whatever one thread prepares and another uses. Linked into every program of the sanitizer's
// build.
//
// Whoever hands something over releases an address, whoever gets it acquires that address:
//
//   hand-over                    released                             acquired
//   a signal, queued             its sender, when it is emitted       when the event is delivered
//   a function for another       the function, when it is handed in   before it is called
//   the end of such a call       the function, after it               before it is destroyed
//   deleteLater()                the object                           when the event is delivered
//   the end of a QThread         the thread, by its finished()        wait()
//   a task of a QThreadPool      the task, when it is handed in       before it runs
//   the end of a pool's tasks    the pool, after each task            waitForDone()
//   a QRecursiveMutex            the mutex, unlock()                  tryLock(), which lock() calls
//
// QMutex tells the sanitizer itself, in its header, and pthread_create() is seen. An address stands
// for all that went over it before: who gets a first signal may count as having seen what its
// sender did until a second one. Such a race is not reported, nor one inside Qt's copying of a
// queued signal's arguments, which comes after the release.

#include <private/qobject_p.h>

#include <QDeadlineTimer>
#include <QRecursiveMutex>
#include <QRunnable>
#include <QThread>
#include <QThreadPool>
#include <QTimer>

#include <sanitizer/tsan_interface.h>

#include <dlfcn.h>
#include <pthread.h>
#include <sched.h>

#include <cstdarg>
#include <functional>
#include <memory>
#include <utility>

// The linker (--wrap) sends calls of the mangled name here and has Qt's own function as __real_….
// Aligned, because a pointer to a member function is taken for a virtual one when it is odd.
#define WRAPPED(result, name, ...)                                                                 \
    extern "C" result __real_##name(__VA_ARGS__);                                                  \
    extern "C" __attribute__((aligned(16))) result __wrap_##name(__VA_ARGS__);                     \
    extern "C" result __wrap_##name(__VA_ARGS__)

extern "C" void AnnotateIgnoreReadsBegin(const char* file, int line);
extern "C" void AnnotateIgnoreReadsEnd(const char* file, int line);
extern "C" void AnnotateIgnoreWritesBegin(const char* file, int line);
extern "C" void AnnotateIgnoreWritesEnd(const char* file, int line);

namespace {

void release(const void* address)
{
    __tsan_release(const_cast<void*>(address));
}

void acquire(const void* address)
{
    __tsan_acquire(const_cast<void*>(address));
}

// In the thread that emits, before any slot is called or any event posted.
void signalBegins(QObject* sender, int, void**)
{
    release(sender);
}

// The copies of the arguments that the sender's thread has made become copies of this thread's.
void takeOver(QMetaCallEvent* call)
{
    QMetaType* const types = call->types();
    void** const arguments = call->args();
    const auto count = reinterpret_cast<void**>(types) - arguments; // where the types begin
    AnnotateIgnoreReadsBegin(__FILE__, __LINE__);
    AnnotateIgnoreWritesBegin(__FILE__, __LINE__);
    for (qsizetype i = 1; i < count; ++i) { // the first is for a result
        void* copy = types[i].create(arguments[i]);
        types[i].destroy(std::exchange(arguments[i], copy));
    }
    AnnotateIgnoreWritesEnd(__FILE__, __LINE__);
    AnnotateIgnoreReadsEnd(__FILE__, __LINE__);
}

// In the thread that delivers an event, before its receiver gets it.
bool eventArrives(void** receiverAndEvent)
{
    acquire(receiverAndEvent[0]);
    auto* event = static_cast<QEvent*>(receiverAndEvent[1]);
    if (event->type() == QEvent::MetaCall) {
        if (auto* call = dynamic_cast<QMetaCallEvent*>(event)) {
            acquire(call->sender());
            takeOver(call);
        }
    }
    return false;
}

QSignalSpyCallbackSet signalSpies{ signalBegins, nullptr, nullptr, nullptr };
[[maybe_unused]] const bool registered = [] {
    qt_signal_spy_callback_set.storeRelease(&signalSpies);
    return QInternal::registerCallback(QInternal::EventNotifyCallback, eventArrives);
}();

/// In the place of what invokeMethod() or QTimer::singleShot() is to call: its references are
/// counted inside Qt, and whoever drops the last one destroys it.
class Call : public QtPrivate::QSlotObjectBase
{
public:
    explicit Call(QtPrivate::QSlotObjectBase* function)
        : QSlotObjectBase(run)
        , m_function(function)
    {
        release(this);
    }

private:
    static void run(int which, QSlotObjectBase* self, QObject* receiver, void** arguments, bool*)
    {
        if (which != QSlotObjectBase::Call && which != Destroy)
            return;
        acquire(self);
        QSlotObjectBase* function = static_cast<Call*>(self)->m_function;
        if (which == QSlotObjectBase::Call) {
            function->call(receiver, arguments);
            release(self);
        } else {
            function->destroyIfLastRef();
            delete static_cast<Call*>(self);
        }
    }

    QSlotObjectBase* const m_function;
};

/// In a task's place in a pool.
class Task : public QRunnable
{
public:
    Task(QThreadPool* pool, QRunnable* task)
        : m_pool(pool)
        , m_task(task)
    {
        release(this);
    }

    void run() override
    {
        acquire(this);
        const bool autoDelete = m_task->autoDelete();
        m_task->run();
        if (autoDelete)
            delete m_task;
        release(m_pool);
    }

private:
    QThreadPool* const m_pool;
    QRunnable* const m_task;
};

} // namespace

// QtTest asks for callbacks of its own, and for none when its tests are over.
void qt_register_signal_spy_callbacks(QSignalSpyCallbackSet*) { }

WRAPPED(bool, _ZN7QThread4waitE14QDeadlineTimer, QThread* thread, QDeadlineTimer deadline)
{
    const bool ended = __real__ZN7QThread4waitE14QDeadlineTimer(thread, deadline);
    if (ended)
        acquire(thread);
    return ended;
}

WRAPPED(void, _ZN7QObject11deleteLaterEv, QObject* object)
{
    release(object);
    __real__ZN7QObject11deleteLaterEv(object);
}

WRAPPED(bool,
    _ZN11QMetaObject16invokeMethodImplEP7QObjectPN9QtPrivate15QSlotObjectBaseEN2Qt14ConnectionTypeEPv,
    QObject* object, QtPrivate::QSlotObjectBase* function, Qt::ConnectionType type, void* result)
{
    return __real__ZN11QMetaObject16invokeMethodImplEP7QObjectPN9QtPrivate15QSlotObjectBaseEN2Qt14ConnectionTypeEPv(
        object, new Call(function), type, result);
}

WRAPPED(void, _ZN6QTimer14singleShotImplEiN2Qt9TimerTypeEPK7QObjectPN9QtPrivate15QSlotObjectBaseE,
    int milliseconds, Qt::TimerType type, const QObject* object,
    QtPrivate::QSlotObjectBase* function)
{
    __real__ZN6QTimer14singleShotImplEiN2Qt9TimerTypeEPK7QObjectPN9QtPrivate15QSlotObjectBaseE(
        milliseconds, type, object, new Call(function));
}

WRAPPED(void, _ZN11QThreadPool5startEP9QRunnablei, QThreadPool* pool, QRunnable* task, int priority)
{
    __real__ZN11QThreadPool5startEP9QRunnablei(pool, new Task(pool, task), priority);
}

WRAPPED(void, _ZN11QThreadPool5startESt8functionIFvvEEi, QThreadPool* pool,
    std::function<void()> task, int priority)
{
    pool->start(QRunnable::create(std::move(task)), priority);
}

WRAPPED(bool, _ZN11QThreadPool8tryStartEP9QRunnable, QThreadPool* pool, QRunnable* task)
{
    auto handedOver = std::make_unique<Task>(pool, task);
    if (!__real__ZN11QThreadPool8tryStartEP9QRunnable(pool, handedOver.get()))
        return false;
    handedOver.release(); // the pool deletes it
    return true;
}

WRAPPED(bool, _ZN11QThreadPool11waitForDoneEi, QThreadPool* pool, int milliseconds)
{
    const bool done = __real__ZN11QThreadPool11waitForDoneEi(pool, milliseconds);
    if (done)
        acquire(pool);
    return done;
}

WRAPPED(bool, _ZN15QRecursiveMutex7tryLockEi, QRecursiveMutex* mutex, int milliseconds)
{
    const bool locked = __real__ZN15QRecursiveMutex7tryLockEi(mutex, milliseconds);
    if (locked)
        acquire(mutex);
    return locked;
}

WRAPPED(void, _ZN15QRecursiveMutex6unlockEv, QRecursiveMutex* mutex)
{
    release(mutex);
    __real__ZN15QRecursiveMutex6unlockEv(mutex);
}

// What std::timed_mutex is locked with; this version of the sanitizer does not know it.
WRAPPED(
    int, pthread_mutex_clocklock, pthread_mutex_t* mutex, clockid_t clock, const timespec* until)
{
    __tsan_mutex_pre_lock(mutex, __tsan_mutex_try_lock);
    const int error = __real_pthread_mutex_clocklock(mutex, clock, until);
    __tsan_mutex_post_lock(
        mutex, __tsan_mutex_try_lock | (error ? __tsan_mutex_try_lock_failed : 0), 0);
    return error;
}

// QProcess begins its child with clone() in our own memory. The sanitizer takes that for a fork,
// and the child, which it leaves unwatched, would end the watch over the thread that began it: so
// let it fork.
extern "C" int clone(int (*child)(void*), void* stack, int flags, void* argument, ...)
{
    static const auto next = reinterpret_cast<decltype(&clone)>(dlsym(RTLD_NEXT, "clone"));
    va_list more;
    va_start(more, argument);
    auto* parentId = va_arg(more, pid_t*);
    auto* threadArea = va_arg(more, void*);
    auto* childId = va_arg(more, pid_t*);
    va_end(more);
    return next(child, stack, flags & ~CLONE_VM, argument, parentId, threadArea, childId);
}
