#pragma once

#include "ui/MainWindow.h"

#include <QByteArray>
#include <QImage>
#include <QQuickWindow>
#include <QString>
#include <QTemporaryDir>

#include <memory>

class QQuickItem;

/// The real window on settings and a work directory of its own. Make one before anything else
/// touches the settings.
class WindowFixture
{
public:
    WindowFixture();
    ~WindowFixture();

    /// Creates the façade and loads the screens.
    void open();

    MainWindow& facade() { return *m_facade; }
    QQuickWindow* window() const;
    QQuickItem* item(const QString& objectName) const;
    QString workDir() const { return m_dir.filePath(QStringLiteral("Presentations")); }

    /// A recording on disk, as the recorder leaves it.
    void addPresentation(const QString& title, const QString& recordingStart, int slideCount);
    /// The recording added last was cut off once.
    void markRecovered();

    /// Waits until the preview shows frames; ends the program when it does not.
    void waitForPreview() const;

    /// Waits until the window has drawn what is due.
    void settle() const;
    QImage grab() const;

private:
    QString recording(int number) const;

    QTemporaryDir m_dir;
    int m_presentationCount = 0;
    std::unique_ptr<MainWindow> m_facade;
};
