// Shows pictures over all screens at once, for the demonstration and the tests. Commands
// come on standard input, one a line, and each is answered when it has taken effect:
//   show PATH   answers "shown T0 T1": the picture came up between T0 and T1 (ms since the epoch)
//   hide        answers "hidden T0 T1"
// A picture is centred on black, pixel by pixel; one that is larger than the screen is scaled down.
// The window takes neither focus nor input: the pointer and the keyboard reach what lies under it.

#include <QBackingStore>
#include <QDateTime>
#include <QExposeEvent>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QScreen>
#include <QWindow>

#include <cstdio>
#include <iostream>
#include <string>
#include <thread>
#include <utility>

using namespace Qt::StringLiterals;

class DeckPlayer : public QWindow
{
public:
    DeckPlayer()
        : m_store(this)
    {
        setFlags(Qt::FramelessWindowHint | Qt::BypassWindowManagerHint
            | Qt::WindowTransparentForInput | Qt::WindowDoesNotAcceptFocus);
        setProperty("_q_showWithoutActivating", true); // what Windows goes by
        setTitle(u"Slides"_s);
    }

    /// Shows the picture and returns whether it could be read. Answers when it is on the screen.
    [[nodiscard]] bool showPicture(const QString& path)
    {
        QImage picture(path);
        if (picture.isNull()) {
            return false;
        }
        // Now and not at the start: monitors may have come since.
        if (!isExposed()) {
            setGeometry(screen()->virtualGeometry());
        }
        if (picture.width() > width() || picture.height() > height()) {
            picture = picture.scaled(size(), Qt::KeepAspectRatio, Qt::SmoothTransformation);
        }
        m_frame = QImage(size(), QImage::Format_RGB32);
        m_frame.fill(Qt::black);
        QPainter(&m_frame).drawImage(
            (width() - picture.width()) / 2, (height() - picture.height()) / 2, picture);
        m_changing = true;
        m_changedAt = QDateTime::currentMSecsSinceEpoch();
        if (isExposed()) {
            paint();
        } else {
            show();
        }
        return true;
    }

    void hidePicture()
    {
        m_changedAt = QDateTime::currentMSecsSinceEpoch();
        hide();
        answer("hidden");
    }

    void obey(const std::string& line)
    {
        if (line == "hide") {
            hidePicture();
        } else if (line.rfind("show ", 0) != 0
            || !showPicture(QString::fromStdString(line.substr(5)))) {
            std::printf("failed\n");
            std::fflush(stdout);
        }
    }

protected:
    void exposeEvent(QExposeEvent*) override
    {
        if (isExposed()) {
            paint();
        }
    }

private:
    void paint()
    {
        if (m_store.size() != size()) {
            m_store.resize(size());
        }
        const QRect everything(QPoint(0, 0), size());
        m_store.beginPaint(everything);
        QPainter(m_store.paintDevice()).drawImage(0, 0, m_frame);
        m_store.endPaint();
        m_store.flush(everything);
        if (std::exchange(m_changing, false)) {
            answer("shown");
        }
    }

    /// QGuiApplication::sync() returns when the X server has done all that was asked of it.
    void answer(const char* what)
    {
        QGuiApplication::sync();
        std::printf("%s %lld %lld\n", what, static_cast<long long>(m_changedAt),
            static_cast<long long>(QDateTime::currentMSecsSinceEpoch()));
        std::fflush(stdout);
    }

    QBackingStore m_store;
    QImage m_frame;
    qint64 m_changedAt = 0;
    bool m_changing = false;
};

int main(int argc, char** argv)
{
    qputenv("QT_ENABLE_HIGHDPI_SCALING", "0");
    QGuiApplication app(argc, argv);
    QGuiApplication::setQuitOnLastWindowClosed(false);
    DeckPlayer player;
    // A thread reads the commands: waiting for a pipe is not portable otherwise.
    std::thread commands([&player] {
        for (std::string line; std::getline(std::cin, line);)
            QMetaObject::invokeMethod(&player, [&player, line] { player.obey(line); });
        QMetaObject::invokeMethod(qApp, &QCoreApplication::quit);
    });
    const int result = QCoreApplication::exec();
    commands.join();
    return result;
}
