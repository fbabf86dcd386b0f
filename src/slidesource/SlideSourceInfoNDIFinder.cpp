#include "slidesource/SlideSourceInfoNDIFinder.h"

#include <QCoreApplication>
#include <QDebug>

#include <chrono>

using namespace Qt::StringLiterals;

SlideSourceInfoNDIFinder* SlideSourceInfoNDIFinder::instance()
{
    // Never destroyed, so that a late enumeration at the end of the process finds it whole; the
    // runtime's finder itself is destroyed by shutDown().
    static auto* finder = new SlideSourceInfoNDIFinder;
    return finder;
}

QList<SlidesSourceInfo> SlideSourceInfoNDIFinder::availableSlideSources()
{
    const std::lock_guard lock(m_mutex);
    const NdiRuntime* runtime = NdiRuntime::instance();
    if (!m_creationTried) {
        m_creationTried = true;
        if (runtime)
            m_finder = runtime->findCreate(nullptr);
        if (m_finder)
            qAddPostRoutine(shutDown);
        else
            qWarning().noquote() << "[SlideSourceInfoNDIFinder]"
                                 << "failed to create NDI finder" << NdiRuntime::errorString();
    }
    if (!m_finder)
        return {};

    std::uint32_t count = 0;
    const NdiRuntime::Source* sources = runtime->findGetCurrentSources(m_finder, &count);
    QList<SlidesSourceInfo> infos;
    for (std::uint32_t i = 0; sources && i < count; ++i) {
        const QByteArray url(sources[i].url);
        SlidesSourceInfo info(
            true, SlidesSourceInfo::NDISource, url, int(i), QString::fromUtf8(sources[i].name));
        info.setData(u"ndiUrlAddress"_s, QString::fromUtf8(url));
        infos.append(info);
    }
    return infos;
}

// When the application object goes, on the main thread. An enumeration that hangs inside the
// runtime keeps the finder: the process ends without it.
void SlideSourceInfoNDIFinder::shutDown()
{
    SlideSourceInfoNDIFinder* self = instance();
    const std::unique_lock lock(self->m_mutex, std::chrono::milliseconds(200));
    if (!lock.owns_lock() || !self->m_finder)
        return;
    NdiRuntime::instance()->findDestroy(self->m_finder);
    self->m_finder = nullptr;
}

QList<SlidesSourceInfo> SlidesSourceInfo::availableSlideSourcesNDI()
{
    return SlideSourceInfoNDIFinder::instance()->availableSlideSources();
}
