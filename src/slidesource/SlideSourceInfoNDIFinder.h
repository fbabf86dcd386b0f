#pragma once

#include "slidesource/NdiRuntime.h"
#include "slidesource/SlidesSourceInfo.h"

#include <QList>

#include <mutex>

/// Finds the NDI sources of the network: one finder for the process, from its first use until the
/// application object goes. Any thread; without a usable runtime it lists nothing, and one line in
/// the log says so.
class SlideSourceInfoNDIFinder
{
public:
    [[nodiscard]] static SlideSourceInfoNDIFinder* instance();

    /// The sources announced so far, in the runtime's order. Does not wait for announcements (those
    /// of sources that run already take seconds to arrive), but the first call loads the runtime.
    [[nodiscard]] QList<SlidesSourceInfo> availableSlideSources();

private:
    SlideSourceInfoNDIFinder() = default;
    static void shutDown();

    // Also serialises the queries: the runtime's answer is valid only until the next one.
    std::timed_mutex m_mutex;
    bool m_creationTried = false;
    NdiRuntime::Finder m_finder = nullptr;
};
