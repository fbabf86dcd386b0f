#include "slidesource/NewVideoCapture.h"

#include <QCoreApplication>
#include <QDebug>
#include <QDir>
#include <QFile>
#include <QLibrary>

#include <opencv2/videoio.hpp>

using namespace Qt::StringLiterals;

std::unique_ptr<cv::VideoCapture> newVideoCapture()
{
    using Function = cv::VideoCapture* (*)();
    static const Function function = [] {
        // The program's directory is one of these.
        const QStringList directories = QCoreApplication::libraryPaths();
        QString path;
        for (const QString& directory : directories) {
            path = QDir(directory).filePath(u"podiumcast-camera.so"_s);
            if (QFile::exists(path))
                break;
        }
        QLibrary module(path); // stays loaded
        const auto result = reinterpret_cast<Function>(module.resolve("podiumcastNewVideoCapture"));
        if (!result) {
            qWarning() << "[CameraDevice]"
                       << "no cameras:" << module.errorString();
        }
        return result;
    }();
    return std::unique_ptr<cv::VideoCapture>(function ? function() : nullptr);
}
