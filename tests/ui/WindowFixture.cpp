#include "ui/WindowFixture.h"

#include "harness/IsolatedSettings.h"
#include "recording/PresentationRecovery.h"
#include "ui/SlideSourcePreview.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QQmlApplicationEngine>
#include <QQuickItem>
#include <QSGRendererInterface>
#include <QTest>

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
    const QDir dir(workDir());
    const QString name = u"recording %1"_s.arg(++m_presentationCount);
    QVERIFY(dir.mkpath(name));
    QFile xml(dir.filePath(name + "/presentation.xml"_L1));
    QVERIFY(xml.open(QIODevice::WriteOnly));
    xml.write(u"<?xml version='1.0' encoding='UTF-8'?>\n<presentation>\n    <name>%1</name>\n"
              "    <recordingStart>%2</recordingStart>\n</presentation>\n"_s
                  .arg(title.toHtmlEscaped(), recordingStart)
                  .toUtf8());
    QFile times(dir.filePath(name + "/timestamps_ms.txt"_L1));
    QVERIFY(times.open(QIODevice::WriteOnly));
    for (int i = 0; i < slideCount; ++i)
        times.write(QByteArray::number(i * 1000) + '\n');
}

void WindowFixture::markRecovered()
{
    QFile mark(u"%1/recording %2/%3"_s.arg(workDir())
                   .arg(m_presentationCount)
                   .arg(PresentationRecovery::MarkFileName));
    QVERIFY(mark.open(QIODevice::WriteOnly));
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
