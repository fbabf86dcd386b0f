#include "ui/WindowFixture.h"

#include "harness/Files.h"
#include "harness/IsolatedSettings.h"
#include "recording/PresentationRecovery.h"
#include "ui/SlideSourcePreview.h"

#include <QQmlApplicationEngine>
#include <QQuickItem>
#include <QSGRendererInterface>
#include <QtTest>

using namespace Qt::StringLiterals;

WindowFixture::WindowFixture()
{
    keepSettingsIn(m_dir.filePath(u"config"_s));
    QCoreApplication::setOrganizationName(u"Podiumcast"_s);
    QCoreApplication::setApplicationName(u"PodiumcastRecorder"_s);
    if (QQuickWindow::graphicsApi() != QSGRendererInterface::Software)
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    QDir().mkpath(workDir());
    QCoreApplication::instance()->setProperty("workDir", workDir());
}

WindowFixture::~WindowFixture() = default;

void WindowFixture::open()
{
    m_facade = std::make_unique<MainWindow>();
    m_facade->run();
    m_facade->reloadPresentations();
    if (window())
        QVERIFY(QTest::qWaitForWindowExposed(window()));
}

QQuickWindow* WindowFixture::window() const
{
    const auto windows = QGuiApplication::topLevelWindows();
    for (QWindow* candidate : windows) {
        if (auto* quickWindow = qobject_cast<QQuickWindow*>(candidate))
            return quickWindow;
    }
    return nullptr;
}

QQuickItem* WindowFixture::item(const QString& objectName) const
{
    return window()->findChild<QQuickItem*>(objectName);
}

void WindowFixture::addPresentation(
    const QString& title, const QString& recordingStart, int slideCount)
{
    const QString directory = recording(++m_presentationCount);
    QVERIFY(QDir().mkpath(directory));
    writeFile(directory + "/presentation.xml"_L1,
        u"<presentation><name>%1</name><recordingStart>%2</recordingStart></presentation>"_s
            .arg(title.toHtmlEscaped(), recordingStart)
            .toUtf8());
    writeFile(directory + "/timestamps_ms.txt"_L1, QByteArray("1000\n").repeated(slideCount));
}

void WindowFixture::markRecovered()
{
    writeFile(recording(m_presentationCount) + u'/' + PresentationRecovery::MarkFileName, {});
}

QString WindowFixture::recording(int number) const
{
    return u"%1/recording %2"_s.arg(workDir()).arg(number);
}

void WindowFixture::waitForPreview() const
{
    const SlideSourcePreview* preview = m_facade->findSlideSourcePreview();
    if (!preview || !QTest::qWaitFor([&] { return !preview->loading(); }, 10000))
        qFatal("the preview shows nothing");
}

void WindowFixture::settle() const
{
    QCoreApplication::processEvents();
    window()->requestUpdate();
    QCoreApplication::processEvents();
}

QImage WindowFixture::grab() const
{
    settle();
    return window()->grabWindow();
}
