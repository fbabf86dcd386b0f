#pragma once

#include "slidesource/SlidesSourceInfo.h"

#include <QElapsedTimer>
#include <QList>
#include <QObject>

#include <functional>
#include <memory>
#include <vector>

/// Lists the slide sources, each kind on a thread of its own and one listing at a time: drivers and
/// the first start of the NDI runtime may take long. A kind that hangs holds up nobody: the others
/// go on, its own entries stay as they were last, and also the destructor does not wait; its thread
/// ends by itself when the driver returns. Main thread.
class SlideSourceLister : public QObject
{
    Q_OBJECT

public:
    using Enumeration = std::function<QList<SlidesSourceInfo>()>;
    /// One for each kind, in the order of the entries; each is called on its kind's thread. Tests
    /// replace them before their first request.
    static QList<Enumeration>& enumerations();

    SlideSourceLister();
    ~SlideSourceLister() override;

    /// Asks for a new list of every kind that is not just being listed. To be repeated: that is
    /// also how a kind is found out that takes longer than SlowListingMs.
    void request();

signals:
    /// The entries of all kinds, after one of them was listed. The first time it comes when all
    /// kinds are there, or one of them is slow: then @p complete is false, and what is there can be
    /// recorded meanwhile.
    void listed(const QList<SlidesSourceInfo>& sources, bool complete);

private:
    static constexpr int SlowListingMs = 5000;
    struct Shared;
    struct Kind
    {
        std::shared_ptr<Shared> shared; ///< with its thread; null where none could be started
        QList<SlidesSourceInfo> sources;
        bool listedOnce = false;
        QElapsedTimer listing; ///< valid while a listing is under way
        bool slow = false; ///< that was told
    };

    static void serve(const std::shared_ptr<Shared>& shared);
    void startThreads();
    void deliver(std::size_t kind, const QList<SlidesSourceInfo>& sources);
    void emitListed();

    std::vector<Kind> m_kinds;
    bool m_partial = false; ///< a kind was slow before all were there: emit what is there
};
