#include "slidesource/SlideSourceLister.h"

#include <QDebug>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

using std::chrono::milliseconds;

namespace {

// Long enough for a listing that works; the end of the program waits no longer for one that hangs.
constexpr milliseconds EndTimeout(200);

} // namespace

/// What the lister and its thread share; the last of them destroys it.
struct SlideSourceLister::Shared
{
    std::mutex mutex;
    std::condition_variable changed;
    SlideSourceLister* owner = nullptr; // null once it is gone
    bool requested = false; // until the listing has been handed over
    bool finished = false;
    Enumeration enumeration;
};

SlideSourceLister::Enumeration& SlideSourceLister::enumeration()
{
    static Enumeration enumeration = &SlidesSourceInfo::availableSlideSources;
    return enumeration;
}

SlideSourceLister::SlideSourceLister()
{
    m_slowTimer.setSingleShot(true);
    m_slowTimer.setInterval(SlowListingMs);
    connect(&m_slowTimer, &QTimer::timeout, this, &SlideSourceLister::reportSlowListing);
}

SlideSourceLister::~SlideSourceLister()
{
    if (!m_shared)
        return;
    std::unique_lock lock(m_shared->mutex);
    m_shared->owner = nullptr;
    m_shared->changed.notify_all();
    m_shared->changed.wait_for(lock, EndTimeout, [this] { return m_shared->finished; });
}

void SlideSourceLister::request()
{
    if (!m_shared) {
        auto shared = std::make_shared<Shared>();
        shared->owner = this;
        shared->enumeration = enumeration();
        try {
            std::thread(serve, shared).detach();
        } catch (const std::exception& error) {
            qWarning() << "[SlideSourceLister]"
                       << "starting a thread failed" << error.what();
            return;
        }
        m_shared = shared;
    }
    const std::lock_guard lock(m_shared->mutex);
    if (m_shared->requested)
        return;
    m_shared->requested = true;
    m_shared->changed.notify_all();
    m_slowTimer.start();
}

void SlideSourceLister::serve(const std::shared_ptr<Shared>& shared)
{
    std::unique_lock lock(shared->mutex);
    while (true) {
        shared->changed.wait(lock, [&] { return shared->requested || !shared->owner; });
        if (!shared->owner)
            break;
        lock.unlock();
        const QList<SlidesSourceInfo> sources = shared->enumeration();
        lock.lock();
        if (!shared->owner)
            break;
        shared->requested = false;
        // Under the lock: the owner cannot go between the test and the call.
        SlideSourceLister* owner = shared->owner;
        QMetaObject::invokeMethod(
            owner, [owner, sources] { owner->deliver(sources); }, Qt::QueuedConnection);
    }
    shared->finished = true;
    shared->changed.notify_all();
}

void SlideSourceLister::deliver(const QList<SlidesSourceInfo>& sources)
{
    m_slowTimer.stop();
    m_listedOnce = true;
    emit listed(sources, true);
}

void SlideSourceLister::reportSlowListing()
{
    qWarning() << "[SlideSourceLister]"
               << "listing the slide sources takes long: a driver does not answer";
    if (!m_listedOnce)
        emit listed(SlidesSourceInfo::availableSlideSourcesGeneral(), false);
}
