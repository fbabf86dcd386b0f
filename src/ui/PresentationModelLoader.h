#pragma once

#include <QDir>
#include <QThread>

class Presentation;

/// Scans a directory for presentations on a thread of its own, repairs those that were cut off and
/// hands each one over as soon as it is loaded. The object itself lives on its creator's thread,
/// which is also where the presentations are moved to before loadedPresentation() is emitted; the
/// receiver owns them.
///
/// requestInterruption() makes the scan end after the presentation at hand.
class PresentationModelLoader : public QThread
{
    Q_OBJECT

public:
    PresentationModelLoader(const QDir& dir, QObject* parent);

public slots:
    void startLoader();

signals:
    /// The recording in @p directory was cut off and has been repaired, or could not be. Emitted on
    /// the loader's thread, before loadedPresentation().
    void recovered(const QString& directory, const QString& title, bool repaired);
    /// Emitted on the loader's thread.
    void loadedPresentation(Presentation* presentation);

protected:
    void run() override;

private:
    const QDir m_dir;
};
