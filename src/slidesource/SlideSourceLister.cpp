#include "slidesource/SlideSourceLister.h"

#include <QDebug>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <utility>

using std::chrono::milliseconds;

namespace {

// Long enough for listings that work; the end of the program waits no longer for one that hangs.
constexpr milliseconds EndTimeout(200);

} // namespace

/// What the lister and the thread of one kind share; the last of them destroys it.
struct SlideSourceLister::Shared
{
    std::mutex mutex;
    std::condition_variable changed;
    SlideSourceLister* owner = nullptr; // null once it is gone
    std::size_t kind = 0;
    bool requested = false; // until the listing has been handed over
    bool finished = false;
    Enumeration enumeration;
};

QList<SlideSourceLister::Enumeration>& SlideSourceLister::enumerations()
{
    static QList<Enumeration> enumerations{ &SlidesSourceInfo::availableSlideSourcesGeneral,
        [] {
            return SlidesSourceInfo::availableSlideSourcesWindowsDirectShow()
                + SlidesSourceInfo::availableSlideSourcesV4L2();
        },
        &SlidesSourceInfo::availableSlideSourcesNDI };
    return enumerations;
}

SlideSourceLister::SlideSourceLister() = default;

SlideSourceLister::~SlideSourceLister()
{
    const auto deadline = std::chrono::steady_clock::now() + EndTimeout;
    for (const Kind& kind : m_kinds) {
        if (!kind.shared)
            continue;
        const std::lock_guard lock(kind.shared->mutex);
        kind.shared->owner = nullptr;
        kind.shared->changed.notify_all();
    }
    for (const Kind& kind : m_kinds) {
        if (!kind.shared)
            continue;
        std::unique_lock lock(kind.shared->mutex);
        kind.shared->changed.wait_until(lock, deadline, [&kind] { return kind.shared->finished; });
    }
}

void SlideSourceLister::startThreads()
{
    for (const Enumeration& enumeration : enumerations()) {
        auto shared = std::make_shared<Shared>();
        shared->owner = this;
        shared->kind = m_kinds.size();
        shared->enumeration = enumeration;
        Kind kind;
        try {
            std::thread(serve, shared).detach();
            kind.shared = shared;
        } catch (const std::exception& error) {
            qWarning() << "[SlideSourceLister]"
                       << "starting a thread failed" << error.what();
            kind.listedOnce = true; // nothing of this kind
        }
        m_kinds.push_back(kind);
    }
}

void SlideSourceLister::request()
{
    if (m_kinds.empty())
        startThreads();
    for (Kind& kind : m_kinds) {
        if (!kind.shared)
            continue;
        if (!kind.listing.isValid()) {
            kind.listing.start();
            const std::lock_guard lock(kind.shared->mutex);
            kind.shared->requested = true;
            kind.shared->changed.notify_all();
        } else if (kind.listing.hasExpired(SlowListingMs) && !std::exchange(kind.slow, true)) {
            qWarning() << "[SlideSourceLister]"
                       << "listing slide sources takes long: a driver does not answer";
            m_partial = true;
            emitListed();
        }
    }
}

void SlideSourceLister::serve(const std::shared_ptr<Shared>& shared)
{
    std::unique_lock lock(shared->mutex);
    while (true) {
        shared->changed.wait(lock, [&] { return shared->requested || !shared->owner; });
        if (!shared->owner)
            break;
        shared->requested = false;
        lock.unlock();
        const QList<SlidesSourceInfo> sources = shared->enumeration();
        lock.lock();
        if (!shared->owner)
            break;
        // Under the lock: the owner cannot go between the test and the call.
        SlideSourceLister* owner = shared->owner;
        QMetaObject::invokeMethod(
            owner, [owner, kind = shared->kind, sources] { owner->deliver(kind, sources); },
            Qt::QueuedConnection);
    }
    shared->finished = true;
    shared->changed.notify_all();
}

void SlideSourceLister::deliver(std::size_t kind, const QList<SlidesSourceInfo>& sources)
{
    Kind& listed = m_kinds.at(kind);
    listed.sources = sources;
    listed.listedOnce = true;
    listed.listing.invalidate();
    listed.slow = false;
    emitListed();
}

void SlideSourceLister::emitListed()
{
    const bool complete = std::all_of(
        m_kinds.begin(), m_kinds.end(), [](const Kind& kind) { return kind.listedOnce; });
    if (!complete && !m_partial)
        return;
    QList<SlidesSourceInfo> sources;
    for (const Kind& kind : m_kinds)
        sources += kind.sources;
    emit listed(sources, complete);
}
