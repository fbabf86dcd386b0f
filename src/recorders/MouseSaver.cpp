#include "recorders/MouseSaver.h"

#include "recorders/appendToTextFile.h"

#include <QDebug>

using namespace Qt::StringLiterals;

MouseSaver::MouseSaver(const QDir& presentationDir, QObject* parent)
    : QThread(parent)
    , m_presentationDir(presentationDir)
{
}

MouseSaver::~MouseSaver()
{
    requestStop();
    wait();
}

void MouseSaver::addPosition(qint64 time, qint64 x, qint64 y)
{
    // Refused after a stop: the recording is over.
    static_cast<void>(m_queue.push({ time, x, y }));
}

void MouseSaver::requestStop()
{
    m_queue.close();
}

void MouseSaver::run()
{
    while (const auto position = m_queue.pop())
        savePosition(*position);
    emit stopped();
}

void MouseSaver::savePosition(const Position& position)
{
    // Opened for each line, so that a crash loses no more than what is still queued.
    const QString path = m_presentationDir.absoluteFilePath(u"mouse_positions.txt"_s);
    const QByteArray line = QByteArray::number(position.time) + ' ' + QByteArray::number(position.x)
        + ' ' + QByteArray::number(position.y) + '\n';
    QString error;
    if (!appendToTextFile(path, line, &error) && !m_failureReported) {
        m_failureReported = true;
        qWarning() << "[MouseSaver]"
                   << "writing" << path << "failed:" << error;
        emit savingFailed(
            tr("The pointer positions cannot be written to \"%1\": %2. Check that the directory "
               "exists, may be written and has free space.")
                .arg(QDir::toNativeSeparators(path), error));
    }
    emit mousePositionSaved(position.time, position.x, position.y);
}
