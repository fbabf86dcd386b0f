#pragma once

#include <QHash>
#include <QImage>
#include <QSize>
#include <QString>

#include <memory>

class QScreen;
class SharedScreenMemory;

/// Takes pictures of whole screens, to the pixel what QScreen::grabWindow(0) gives. On X11 the
/// server writes them into memory shared with it, which is the picture's memory then; where that
/// does not work (remote displays, unusual visuals) and on other platforms Qt grabs.
///
/// One thread at a time, and while the QGuiApplication exists. The pictures may go to any thread
/// and outlive the grabber.
class ScreenGrabber
{
public:
    ScreenGrabber();
    ~ScreenGrabber();

    /// Null when the screen cannot be read. @p screen must stay alive meanwhile, as in
    /// ScreenRegistry::forEach().
    [[nodiscard]] QImage grab(QScreen* screen);

private:
    /// What a picture of a scaled screen was: its size in device-independent pixels is rounded.
    struct ScaledScreen
    {
        QSize logicalSize;
        QSize nativeSize;
        qreal ratio = 1;
    };

    std::shared_ptr<SharedScreenMemory> m_memory; ///< null: Qt grabs
    QHash<QString, ScaledScreen> m_scaledScreens; ///< by name
};
