#include "processing/SlideSaver.h"
#include "processing/PngEncoder.h"
#include "recording/DiskAccess.h"

#include <QDebug>
#include <QElapsedTimer>
#include <QFile>
#include <QSaveFile>

#include <utility>

using namespace Qt::StringLiterals;

namespace {

// Slides come once a second at most, so the disk is this many seconds late. A pause of a drive that
// wakes up is shorter.
constexpr qsizetype ManyWaiting = 5;

} // namespace

SlideSaver::SlideSaver(const QDir& directory)
    : m_directory(directory)
{
    qRegisterMetaType<QList<SlideSaver::SavedSlide>>("QList<SavedSlide>");
}

SlideSaver::~SlideSaver()
{
    requestStop();
    wait();
}

void SlideSaver::addSlides(qint64 time, const QList<SlideImage>& slides)
{
    const auto encoder = std::make_shared<PngEncoder>(slides);
    deleteMatrices(slides); // we are the last owner, and write the images
    const bool hasToWait = m_isSaving || m_queue.size() > 0;
    if (!m_queue.push({ time, encoder }))
        return;
    if (hasToWait)
        encoder->encodeInBackground();
    // Said here, because a disk that hangs keeps the worker from saying anything.
    const qsizetype waiting = m_queue.size();
    if (waiting >= ManyWaiting && !m_waitingTold.exchange(true))
        emit slidesWaiting(
            tr("The disk is too slow: %1 slides wait in memory to be written. None is lost as long "
               "as the recorder runs; freeze the slides for a while, and use a faster disk for the "
               "next recording.")
                .arg(waiting));
}

void SlideSaver::requestStop()
{
    m_queue.close();
}

void SlideSaver::run()
{
    emit savedSlideCountChanged();
    qsizetype remaining = 0;
    while (const auto slide = m_queue.pop(&remaining)) {
        m_isSaving = true;
        qDebug() << "[SlideSaver]" << remaining << "slides in queue";
        if (remaining == 0)
            m_waitingTold = false;
        saveQueued(*slide);
        m_isSaving = false;
    }
    emit stopped();
}

void SlideSaver::saveSlides(qint64 time, const QList<SlideImage>& slides)
{
    saveQueued({ time, std::make_shared<PngEncoder>(slides) });
    deleteMatrices(slides);
}

void SlideSaver::saveQueued(const SlidesToSave& slide)
{
    const qint64 number = m_savedSlideCount + 1;
    QElapsedTimer timer;
    timer.start();
    m_slideFailed = false;
    QList<SavedSlide> savedSlides;
    savedSlides.reserve(slide.slides->size());
    slide.slides->recruitHelpers();
    for (qsizetype screen = 0; screen < slide.slides->size(); ++screen)
        savedSlides.append(saveEncoded(number, screen, slide.time, slide.slides->take(screen)));
    if (!appendTimestamp(number, slide.time)) {
        reportError(
            tr("The time of slide %1 could not be written to %2. Check that the disk is not "
               "full and that the directory exists and may be written.")
                .arg(number)
                .arg(QDir::toNativeSeparators(
                    m_directory.absoluteFilePath(u"timestamps_ms.txt"_s))));
    }
    if (const QString error = std::exchange(m_syncError, {}); !error.isEmpty()) {
        qWarning() << "[SlideSaver]"
                   << "bringing slide" << number << "to the disk failed" << error;
        reportError(
            tr("The disk could not store slide %1: %2. It may be lost or damaged. Check the "
               "disk and its free space; if this comes again, use another disk.")
                .arg(number)
                .arg(error));
    }
    qDebug() << "[SlideSaver]"
             << "slides" << number << "saved in" << timer.elapsed() << "ms";
    ++m_savedSlideCount;
    emit savedSlideCountChanged();
    emit slidesSaved(savedSlides);
    if (m_failing && !m_slideFailed) {
        m_failing = false;
        emit slideSavingRecovered();
    }
}

SlideSaver::SavedSlide SlideSaver::saveSlide(
    qint64 number, qint64 screen, qint64 time, const SlideImage& slide)
{
    return saveEncoded(number, screen, time, PngEncoder::encode(slide.image));
}

SlideSaver::SavedSlide SlideSaver::saveEncoded(
    qint64 number, qint64 screen, qint64 time, const QByteArray& png)
{
    const QString name = u"%1-%2"_s.arg(screen).arg(number, 4, 10, '0'_L1);
    const QString pngFilePath = m_directory.absoluteFilePath(name + u".png"_s);
    if (const QString error = writePng(png, pngFilePath); !error.isEmpty()) {
        qWarning() << "[SlideSaver]"
                   << "saving" << pngFilePath << "failed";
        qWarning() << "[SlideSaver]" << error;
        reportError(tr("Saving slide %1 in PNG format failed.").arg(name));
    }
    emit slideSaved(int(screen), time, name, pngFilePath);
    return { time, name, pngFilePath };
}

// Returns what went wrong, for the log; empty: nothing.
QString SlideSaver::writePng(const QByteArray& png, const QString& path)
{
    if (png.isEmpty())
        return u"the image cannot be encoded"_s;
    // Under a temporary name until it is complete: a reader never meets half a picture.
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(png) != png.size() || !file.flush())
        return file.errorString();
    // What cannot be brought to the disk still is a picture that can be read now.
    DiskAccess::syncToDisk(file, &m_syncError);
    return file.commit() ? QString() : file.errorString();
}

bool SlideSaver::appendTimestamp(qint64 number, qint64 time)
{
    QFile file(m_directory.absoluteFilePath(u"timestamps_ms.txt"_s));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Text)) {
        qWarning() << "[SlideSaver]"
                   << "opening" << file.fileName() << "failed" << file.errorString();
        return false;
    }
    const qint64 sizeBefore = file.size();
    const QByteArray line = QByteArray::number(number) + ' ' + QByteArray::number(time) + '\n';
    // Buffered and flushed, so that the line reaches the file in one piece and a full disk shows.
    if (file.write(line) == line.size() && file.flush()) {
        // The pictures' bytes are on the disk already, their names and this line now, too: should
        // the power fail, the slide is there.
        DiskAccess::syncToDisk(file, &m_syncError);
        DiskAccess::syncToDisk(m_directory.absolutePath(), &m_syncError);
        return true;
    }
    qWarning() << "[SlideSaver]"
               << "writing" << file.fileName() << "failed" << file.errorString();
    // Half a line would swallow the next one.
    file.close();
    QFile::resize(file.fileName(), sizeBefore);
    return false;
}

void SlideSaver::reportError(const QString& message)
{
    m_slideFailed = true;
    m_failing = true;
    emit slideSavingError(message);
}
