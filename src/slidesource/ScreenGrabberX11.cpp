#include "slidesource/ScreenGrabber.h"
#include "slidesource/SharedScreenMemoryX11.h"

#include <QPixmap>
#include <QScreen>

ScreenGrabber::ScreenGrabber()
    : m_memory(SharedScreenMemory::create())
{
}

ScreenGrabber::~ScreenGrabber()
{
    if (m_memory)
        m_memory->close();
}

QImage ScreenGrabber::grab(QScreen* screen)
{
    const QRect area = screen->geometry(); // its corner is in native pixels, always
    const qreal ratio = screen->devicePixelRatio();
    QSize size = area.size();
    if (ratio != 1) {
        const ScaledScreen& known = m_scaledScreens[screen->name()];
        size
            = known.logicalSize == area.size() && known.ratio == ratio ? known.nativeSize : QSize();
    }
    QImage image = m_memory ? m_memory->grab({ area.topLeft(), size }) : QImage();
    if (image.isNull()) {
        image = screen->grabWindow(0, 0, 0, -1, -1).toImage();
        m_scaledScreens[screen->name()] = { area.size(), image.size(), ratio };
    } else {
        image.setDevicePixelRatio(ratio);
    }
    return image;
}
