#include "app/qMain.h"

#include "BuildConfig.h"
#include "app/Application.h"
#include "app/Logging.h"
#include "app/SingleInstance.h"
#include "processing/WorkerEnd.h"
#include "slidesource/SlideImage.h"

#include <QGuiApplication>
#include <QMetaType>
#include <QQuickWindow>
#include <QScopeGuard>
#include <QTimer>

#include <aws/core/Aws.h>

#include <chrono>

using namespace Qt::StringLiterals;

namespace {

// A disk that has not taken the log's last lines by then will not.
constexpr std::chrono::seconds LogTimeout(1);

} // namespace

int qMain(int argc, char** argv)
{
    // Of OpenCV's capture back-ends DirectShow first: its device order is the one that is listed.
    qputenv("OPENCV_VIDEOIO_PRIORITY_LIST", "DSHOW,MSMF");
    qInstallMessageHandler(messageHandler);
    // The last of all: the process may end without the destructors of static objects.
    const auto log = qScopeGuard([] { Logging::instance()->waitUntilWritten(LogTimeout); });

    QCoreApplication::setApplicationName(u"PodiumcastRecorder"_s);
    QCoreApplication::setApplicationVersion(QStringLiteral(PODIUMCAST_VERSION));
    QCoreApplication::setOrganizationName(u"Podiumcast"_s);
    QCoreApplication::setOrganizationDomain(QStringLiteral(PODIUMCAST_SERVICE_HOST));

    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    qRegisterMetaType<cv::Mat>("cv::Mat");
    qRegisterMetaType<QList<SlideImage>>("QList<SlideImage>");

    // Our credentials come from the service. Left to itself the SDK asks the network for those of a
    // cloud machine whenever a client is made, which would hold up the window.
    if (!qEnvironmentVariableIsSet("AWS_EC2_METADATA_DISABLED"))
        qputenv("AWS_EC2_METADATA_DISABLED", "true");
    Aws::SDKOptions awsOptions;
    Aws::InitAPI(awsOptions);

    QGuiApplication guiApplication(argc, argv);
    SingleInstance instance;
    if (!instance.begin()) {
        Aws::ShutdownAPI(awsOptions);
        return 0;
    }
    Application application(nullptr);
    QObject::connect(&instance, &SingleInstance::startedAgain, &application, &Application::show);
    QTimer::singleShot(0, &application, &Application::run);
    const int result = QGuiApplication::exec();
    // No upload runs any more: each ends, or is given up, when the application is about to quit.
    // One that reads from a disk which hangs is left alone, and the SDK with it.
    if (!WorkerEnd::anyLeftAlone())
        Aws::ShutdownAPI(awsOptions);
    return result;
}
