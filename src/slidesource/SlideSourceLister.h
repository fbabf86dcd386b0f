#pragma once

#include "slidesource/SlidesSourceInfo.h"

#include <QList>
#include <QObject>
#include <QTimer>

#include <functional>
#include <memory>

/// Lists the slide sources on a thread of its own, one listing at a time: drivers and the first
/// start of the NDI runtime may take long. A listing that hangs holds up nobody, also not the
/// destructor; its thread ends by itself when the driver returns. Main thread.
class SlideSourceLister : public QObject
{
    Q_OBJECT

public:
    using Enumeration = std::function<QList<SlidesSourceInfo>()>;
    /// What is called for every listing, on the lister's thread; tests replace it before their
    /// first request.
    static Enumeration& enumeration();

    SlideSourceLister();
    ~SlideSourceLister() override;

    /// Asks for a listing; does nothing while one is under way.
    void request();

signals:
    /// A listing is there. When the first of all takes longer than SlowListingMs, this comes with
    /// the sources that need no driver, so that the operator can record the screens meanwhile.
    /// @p complete is false for what is known before the devices have answered.
    void listed(const QList<SlidesSourceInfo>& sources, bool complete);

private:
    static constexpr int SlowListingMs = 5000;
    struct Shared;
    static void serve(const std::shared_ptr<Shared>& shared);
    void deliver(const QList<SlidesSourceInfo>& sources);
    void reportSlowListing();

    std::shared_ptr<Shared> m_shared;
    QTimer m_slowTimer;
    bool m_listedOnce = false;
};
