#include "slidesource/ScreenGrabber.h"

#include <QPixmap>
#include <QScreen>

class SharedScreenMemory
{
};

ScreenGrabber::ScreenGrabber() = default;

ScreenGrabber::~ScreenGrabber() = default;

QImage ScreenGrabber::grab(QScreen* screen)
{
    return screen->grabWindow(0, 0, 0, -1, -1).toImage();
}
