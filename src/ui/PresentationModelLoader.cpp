#include "ui/PresentationModelLoader.h"

#include "recording/Presentation.h"
#include "recording/PresentationRecovery.h"

PresentationModelLoader::PresentationModelLoader(const QDir& dir, QObject* parent)
    : QThread(parent)
    , m_dir(dir)
{
}

void PresentationModelLoader::startLoader()
{
    start(QThread::InheritPriority);
}

void PresentationModelLoader::run()
{
    const QStringList names
        = m_dir.entryList(QDir::AllDirs | QDir::NoDot | QDir::NoDotDot, QDir::NoSort);
    for (const QString& name : names) {
        if (isInterruptionRequested())
            return;
        const QDir dir(m_dir.absoluteFilePath(name));
        const PresentationRecovery::Result result = PresentationRecovery::recover(dir);
        Presentation* presentation = Presentation::load(dir);
        if (!presentation)
            continue;
        if (result != PresentationRecovery::Untouched)
            emit recovered(dir.absolutePath(), presentation->title(),
                result == PresentationRecovery::Recovered);
        // Only the owning thread may move an object, so it happens here and not at the receiver.
        presentation->moveToThread(thread());
        emit loadedPresentation(presentation);
    }
}
