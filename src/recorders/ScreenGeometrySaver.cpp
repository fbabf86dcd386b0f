#include "recorders/ScreenGeometrySaver.h"

#include "recorders/appendToTextFile.h"

#include <QDebug>
#include <QDir>

#include <utility>

ScreenGeometrySaver::ScreenGeometrySaver(const QString& path, QObject* parent)
    : QThread(parent)
    , m_path(path)
{
}

void ScreenGeometrySaver::addSnapshot(const QByteArray& json)
{
    static_cast<void>(m_queue.push(json)); // refused after a stop: the recording is over
}

void ScreenGeometrySaver::requestStop()
{
    m_queue.close();
}

void ScreenGeometrySaver::run()
{
    bool told = false;
    while (const auto json = m_queue.pop()) {
        QString error;
        if (appendToTextFile(m_path, *json, &error) || std::exchange(told, true))
            continue;
        qWarning() << "[ScreenGeometryRecorder]"
                   << "writing" << m_path << "failed:" << error;
        emit savingFailed(
            tr("The screens' geometry cannot be written to \"%1\": %2. Check that the directory "
               "exists, may be written and has free space.")
                .arg(QDir::toNativeSeparators(m_path), error));
    }
}
