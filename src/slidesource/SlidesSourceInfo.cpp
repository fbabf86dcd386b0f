#include "slidesource/SlidesSourceInfo.h"

#include <QDebugStateSaver>

using namespace Qt::StringLiterals;

SlidesSourceInfo::SlidesSourceInfo(
    bool enabled, SlideSourceType type, const QByteArray& id, int index, const QString& name)
    : m_enabled(enabled)
    , m_type(type)
    , m_id(id)
    , m_index(index)
    , m_name(name)
{
}

bool SlidesSourceInfo::operator==(const SlidesSourceInfo& other) const
{
    if (!isValid() && !other.isValid())
        return false;
    return m_id == other.m_id;
}

bool SlidesSourceInfo::operator!=(const SlidesSourceInfo& other) const
{
    if (!isValid() && !other.isValid())
        return false;
    return m_id != other.m_id;
}

bool SlidesSourceInfo::sameAs(const SlidesSourceInfo& other) const
{
    return *this == other;
}

bool SlidesSourceInfo::videoInputEnabledByName(const QString& name)
{
    // It lists itself as a camera but delivers nothing to record unless its program feeds it.
    return name.toLower() != "obs virtual camera"_L1;
}

QList<SlidesSourceInfo> SlidesSourceInfo::availableSlideSources()
{
    return availableSlideSourcesGeneral() + availableSlideSourcesWindowsDirectShow()
        + availableSlideSourcesV4L2() + availableSlideSourcesNDI();
}

QList<SlidesSourceInfo> SlidesSourceInfo::availableSlideSourcesGeneral()
{
    return { SlidesSourceInfo(true, IntervalScreenCapture, "IntervalScreenCapture"_ba, -1,
        u"Interval screen capture"_s) };
}

QDebug operator<<(QDebug debug, const SlidesSourceInfo& info)
{
    const QDebugStateSaver saver(debug);
    debug << "SlidesSourceInfo"
          << "(" << int(info.type()) << "," << info.name() << ")";
    return debug;
}
