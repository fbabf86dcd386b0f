// Walks every page and screen of the window as someone does who has no pointer, or who listens.

#include "harness/Files.h"
#include "settings/LiveStreamSettings.h"
#include "settings/LoginSettings.h"
#include "settings/RecorderSettings.h"
#include "slidesource/SlideSourceLister.h"
#include "ui/WindowFixture.h"

#include <QAccessible>
#include <QDesktopServices>
#include <QQuickItem>
#include <QtTest>

#include <atomic>
#include <filesystem>

using namespace Qt::StringLiterals;

namespace {

bool isButton(const QQuickItem* item)
{
    return item->inherits("QQuickAbstractButton");
}

bool isControl(const QQuickItem* item)
{
    return isButton(item) || item->inherits("QQuickTextInput") || item->inherits("QQuickListView");
}

/// The controls below @p item that can be used now, in the order of the tree.
QList<QQuickItem*> usableControls(QQuickItem* item)
{
    QList<QQuickItem*> controls;
    if (!item->isVisible() || !item->isEnabled())
        return controls;
    if (isControl(item))
        controls.append(item);
    const auto children = item->childItems();
    for (QQuickItem* child : children)
        controls += usableControls(child);
    return controls;
}

const QString foreign = u"<img src='http://[::1]:9/'><b>foreign</b>\n\nlines"_s;
std::atomic<bool> foreignSources = false;
std::atomic<bool> cameraPlugged = false;

QList<SlidesSourceInfo> listSources()
{
    const SlidesSourceInfo camera(true, SlidesSourceInfo::VideoInput, "c"_ba, 0, u"Camera"_s);
    if (cameraPlugged)
        return QList{ camera } + SlidesSourceInfo::availableSlideSources();
    if (!foreignSources)
        return SlidesSourceInfo::availableSlideSources();
    return { { true, SlidesSourceInfo::VideoInput, "camera", 99, foreign },
        { true, SlidesSourceInfo::NDISource, "ndi", -1, foreign } };
}

/// All texts below @p item, seen or not.
QList<QQuickItem*> texts(QQuickItem* item)
{
    QList<QQuickItem*> found;
    if (item->inherits("QQuickText"))
        found.append(item);
    const auto children = item->childItems();
    for (QQuickItem* child : children)
        found += texts(child);
    return found;
}

QString describe(const QQuickItem* item)
{
    const auto* interface = QAccessible::queryAccessibleInterface(const_cast<QQuickItem*>(item));
    return u"%1 \"%2\" (%3)"_s.arg(QString::fromLatin1(item->metaObject()->className()),
        interface ? interface->text(QAccessible::Name) : QString(), item->objectName());
}

} // namespace

class TestScreens : public QObject
{
    Q_OBJECT

public slots:
    void recordUrl(const QUrl& url) { m_openedUrls.append(url); }

private slots:
    void initTestCase()
    {
        SlideSourceLister::enumerations() = { listSources };
        for (const QString& scheme : { u"file"_s, u"https"_s, u"http"_s })
            QDesktopServices::setUrlHandler(scheme, this, "recordUrl");
    }
    void init()
    {
        m_openedUrls.clear();
        // What the engine has to say about the screens is always a mistake.
        QTest::failOnWarning(QRegularExpression(u"qrc:/"_s));
        m_fixture = std::make_unique<WindowFixture>();
        m_fixture->addPresentation(u"Talk"_s, u"2026-11-20T09:00:00"_s, 48);
        m_fixture->addPresentation(u"Another talk"_s, u"2026-11-21T09:00:00"_s, 2);
        RecorderSettings::instance()->refreshAvailableSlideSources();
        m_fixture->open();
        QVERIFY(m_fixture->window());
        m_fixture->window()->requestActivate();
        QVERIFY(QTest::qWaitForWindowActive(m_fixture->window()));
        QTRY_COMPARE(m_fixture->item(u"presentations"_s)->property("count").toInt(), 2);
        m_fixture->waitForPreview();
    }
    void cleanup() { m_fixture.reset(); }

    void walkWithTheKeyboard_data()
    {
        QTest::addColumn<QString>("page");
        QTest::addColumn<int>("count"); // at least; a page that does not load has fewer
        QTest::newRow("list") << u"presentationList"_s << 7;
        QTest::newRow("settings") << u"settings"_s << 14;
        QTest::newRow("live stream") << u"liveStream"_s << 10;
        QTest::newRow("recording") << QString() << 3;
    }

    /// Every control has a name and a role, is reached by the Tab key, scrolled into view, and, if
    /// it is a button, pressed by Space and Enter.
    void walkWithTheKeyboard()
    {
        QFETCH(QString, page);
        showPage(page);
        const QList<QQuickItem*> controls = usableControls(m_fixture->window()->contentItem());
        QFETCH(int, count);
        QVERIFY2(controls.size() >= count, qPrintable(QString::number(controls.size())));

        QSet<QQuickItem*> reached;
        for (int i = 0; i < 3 * controls.size(); ++i) {
            QTest::keyClick(m_fixture->window(), Qt::Key_Tab);
            QQuickItem* focused = m_fixture->window()->activeFocusItem();
            QVERIFY(focused);
            const QRectF place
                = focused->mapRectToScene({ 0, 0, focused->width(), focused->height() });
            QVERIFY2(QRectF({}, m_fixture->window()->size()).contains(place),
                qPrintable(describe(focused)));
            reached.insert(focused);
        }
        for (QQuickItem* control :
            controls + QList<QQuickItem*>(reached.cbegin(), reached.cend())) {
            const auto* interface = QAccessible::queryAccessibleInterface(control);
            QVERIFY2(interface, qPrintable(describe(control)));
            QVERIFY2(!interface->text(QAccessible::Name).isEmpty(), qPrintable(describe(control)));
            const QAccessible::Role role = interface->role();
            QVERIFY2(role != QAccessible::NoRole && role != QAccessible::Client,
                qPrintable(describe(control)));
            // In a list Tab stops at the current row; the arrow keys reach the others.
            const QQuickItem* list = m_fixture->item(u"presentations"_s);
            if (list->isAncestorOf(control))
                continue;
            const bool byRow = control == list
                && std::any_of(reached.cbegin(), reached.cend(),
                    [&](const QQuickItem* item) { return list->isAncestorOf(item); });
            QVERIFY2(reached.contains(control) || byRow, qPrintable(describe(control)));
        }

        for (qsizetype i = 0; i < controls.size(); ++i) {
            for (Qt::Key key : { Qt::Key_Space, Qt::Key_Return, Qt::Key_Enter }) {
                showPage(page); // the press before may have led elsewhere
                QQuickItem* control = usableControls(m_fixture->window()->contentItem()).value(i);
                QVERIFY(control);
                if (!isButton(control))
                    continue;
                QSignalSpy clicked(control, SIGNAL(clicked()));
                control->forceActiveFocus(Qt::TabFocusReason);
                const QString description = describe(control);
                QTest::keyClick(m_fixture->window(), key);
                QVERIFY2(clicked.count() == 1, qPrintable(description));
            }
        }
    }

    void listByKeyboard()
    {
        QQuickItem* list = m_fixture->item(u"presentations"_s);
        QSignalSpy opened(list, SIGNAL(openRequested(QString)));
        list->forceActiveFocus(Qt::TabFocusReason);
        QTest::keyClick(m_fixture->window(), Qt::Key_Down);
        QTest::keyClick(m_fixture->window(), Qt::Key_Return);
        QTest::keyClick(m_fixture->window(), Qt::Key_Home);
        QTest::keyClick(m_fixture->window(), Qt::Key_Space);
        QCOMPARE(opened.count(), 2);
        QVERIFY(opened.at(0).at(0).toString().endsWith("recording 2"_L1));
        QVERIFY(opened.at(1).at(0).toString().endsWith("recording 1"_L1));
    }

    void focusStaysOnItsChoice()
    {
        showPage(u"settings"_s);
        QQuickItem* choices = m_fixture->item(u"slideSources"_s);
        const auto focused = [this] {
            const QQuickItem* item = m_fixture->window()->activeFocusItem();
            return item ? item->property("text").toString() : QString();
        };
        const QString screens = RecorderSettings::instance()->selectedSlideSource().name();
        const auto plug = [choices](bool plugged) {
            const qsizetype count = choices->childItems().size();
            cameraPlugged = plugged;
            RecorderSettings::instance()->refreshAvailableSlideSources();
            QTRY_VERIFY(choices->childItems().size() != count);
        };
        choices->childItems().first()->forceActiveFocus(Qt::TabFocusReason);
        QCOMPARE(focused(), screens);
        plug(true);
        QCOMPARE(focused(), screens);
        QTest::keyClick(m_fixture->window(), Qt::Key_Tab, Qt::ShiftModifier);
        QCOMPARE(focused(), u"Camera"_s);
        plug(false);
        QTRY_COMPARE(focused(), screens);
    }

    void lettersInPlaceOfNumbers()
    {
        LiveStreamSettings::instance()->setVMixApiPollInterval(2500);
        showPage(u"settings"_s);
        for (const QString& field : { u"slideWidth"_s, u"vMixInterval"_s }) {
            QQuickItem* edit = m_fixture->item(field);
            edit->forceActiveFocus(Qt::TabFocusReason);
            QVERIFY(QMetaObject::invokeMethod(edit, "selectAll"));
            type(u"wide"_s);
            QTest::keyClick(m_fixture->window(), Qt::Key_Tab);
            QCOMPARE(
                edit->property("text").toString(), field == "slideWidth"_L1 ? u"0"_s : u"2500"_s);
        }
        QCOMPARE(RecorderSettings::instance()->slideWidth(), 0);
        QCOMPARE(LiveStreamSettings::instance()->vMixApiPollInterval(), 2500);
    }

    void errorsAccumulateUntilTheRecordingEnds()
    {
        MainWindow& facade = m_fixture->facade();
        showPage({});
        emit facade.errorMessage(u"first <b>error</b>"_s);
        emit facade.errorMessage(u"second"_s);
        const QQuickItem* label = m_fixture->item(u"errorLabel"_s);
        QCOMPARE(label->property("text").toString(), u"first <b>error</b>\nsecond"_s);
        for (int i = 0; i < 30; ++i)
            emit facade.errorMessage(
                u"a message that is so long that it wraps, "_s.repeated(5) + QString::number(i));
        emit facade.errorMessage(u"newest"_s);
        m_fixture->settle();
        // The newest is in sight, and the buttons are still below.
        QQuickItem* errors = m_fixture->item(u"errors"_s);
        const qreal bottomOfText = label->mapToScene({ 0, label->height() }).y();
        const qreal bottomOfLog = errors->mapToScene({ 0, errors->height() }).y();
        QVERIFY(bottomOfText <= bottomOfLog && bottomOfText > bottomOfLog - 20);
        QVERIFY(m_fixture->item(u"stopRecording"_s)->mapToScene({}).y() > bottomOfLog);
        m_fixture->item(u"errorScroll"_s)->forceActiveFocus(Qt::TabFocusReason);
        QTest::keyClick(m_fixture->window(), Qt::Key_Home);
        QTest::keyClick(m_fixture->window(), Qt::Key_Down);
        const qreal above = errors->mapToScene({}).y() - label->mapToScene({}).y();
        QVERIFY2(above > 0 && above <= 13, qPrintable(QString::number(above)));
        emit facade.errorMessage(u"newer"_s); // wants to be seen
        m_fixture->settle();
        QVERIFY(label->mapToScene({ 0, label->height() }).y() <= bottomOfLog);
        facade.setRecording(false);
        QVERIFY(label->property("text").toString().isEmpty());
    }

    void loginAndLiveStream()
    {
        MainWindow& facade = m_fixture->facade();
        showPage(u"liveStream"_s);
        LoginSettings::instance()->setLiveStreamPresentationId(u" 7f3a91 "_s);
        QSignalSpy live(&facade, &MainWindow::startLiveStream);
        QQuickItem* password = m_fixture->item(u"password"_s);
        password->forceActiveFocus(Qt::TabFocusReason);
        type(u"secret"_s);
        QCOMPARE(password->property("displayText").toString(), u"******"_s);
        QTest::keyClick(m_fixture->window(), Qt::Key_Return);
        const QQuickItem* status = m_fixture->item(u"loginStatus"_s);
        facade.loginFailed();
        QVERIFY(status->property("text").toString().startsWith("Login failed.<br>"_L1));
        facade.showLiveStreamStartFailed(u"<b>no</b>"_s);
        QCOMPARE(status->property("text").toString(), u"<b>no</b>"_s);
        QCOMPARE(status->property("textFormat").toInt(), 0); // plain

        facade.loginSuccessful();
        QVERIFY(password->property("text").toString().isEmpty());
        facade.loginSuccessful(); // late, while the stream starts
        QCOMPARE(live.count(), 1);
        QCOMPARE(live.at(0), QVariantList({ true, u"7f3a91"_s }));
    }

    /// Whatever service, files and devices call themselves is shown as the characters that it is.
    void foreignTextsArePlain()
    {
        foreignSources = true;
        RecorderSettings* settings = RecorderSettings::instance();
        QTRY_VERIFY((settings->refreshAvailableSlideSources(), // one may be under way
            settings->availableSlideSources().size() == 2));
        foreignSources = false;
        settings->setSelectedSlideSource(settings->availableSlideSources().first());

        MainWindow& facade = m_fixture->facade();
        m_fixture->addPresentation(foreign, u"2026-11-22T09:00:00"_s, 1);
        facade.reloadPresentations();
        QTRY_COMPARE(m_fixture->item(u"presentations"_s)->property("count").toInt(), 3);
        QSet<QString> places;
        for (const QString& page :
            { u"presentationList"_s, u"settings"_s, u"liveStream"_s, QString(), u"loading"_s }) {
            facade.setRecording(page.isEmpty());
            facade.setLoading(page == "loading"_L1);
            m_fixture->item(u"menu"_s)->setProperty("selected", page);
            facade.showLiveStreamStartFailed(foreign);
            facade.setLiveStream(page.isEmpty());
            facade.setLiveStreamDetails(foreign, foreign);
            facade.setLastSlideInfoWebErrorString(foreign);
            emit facade.errorMessage(foreign);
            m_fixture->settle();
            int number = 0;
            const QList<QQuickItem*> all = texts(m_fixture->window()->contentItem());
            for (const QQuickItem* text : all) {
                if (!text->property("text").toString().contains(foreign))
                    continue;
                places.insert(page + QString::number(++number) + text->objectName());
                const bool mayWrap = text->property("wrapMode").toInt() != 0;
                QVERIFY2(text->property("textFormat").toInt() == Qt::PlainText // the same numbers
                        && (mayWrap || text->property("lineCount").toInt() == 1),
                    qPrintable(page + u' ' + text->property("text").toString()));
            }
        }
        QVERIFY2(places.size() >= 50, qPrintable(QStringList(places.values()).join(u'\n')));
    }

    /// What the window hands to other programs.
    void opensOnlyPresentationsAndWebLinks()
    {
        const MainWindow& facade = m_fixture->facade();
        const QDir dir(m_fixture->workDir());
        for (const QString& name : { u"Talk #1 of 3"_s, u"../outside"_s, u"../Presentations2"_s })
            QVERIFY(dir.mkpath(name));
        writeFile(dir.filePath(u"program"_s), {});
        // Where links cannot be made (Windows without the right to), the name leads nowhere.
        std::error_code refused;
        std::filesystem::create_directory_symlink(
            dir.filesystemPath() / ".." / "outside", dir.filesystemPath() / "link", refused);
        for (const QString& path : { u"nowhere"_s, u"."_s, u"Talk #1 of 3/../../outside"_s,
                 u"link"_s, u"../Presentations2"_s, u"program"_s })
            QVERIFY2(!facade.qml_openDirectory(dir.filePath(path)), qPrintable(path));
        for (const QString& url : { u"file:///etc/passwd"_s, u"javascript:alert(1)"_s, QString() })
            QVERIFY2(!facade.qml_openLink(QUrl(url)), qPrintable(url));
        QVERIFY(m_openedUrls.isEmpty());
        QMetaObject::invokeMethod(
            m_fixture->item(u"presentations"_s), "openRequested", Q_ARG(QString, u"nowhere"_s));
        QVERIFY(
            m_fixture->item(u"errorLabel"_s)->property("text").toString().contains(u"nowhere"_s));

        QVERIFY(facade.qml_openDirectory(dir.filePath(u"Talk #1 of 3"_s)));
        const QString encoded = m_openedUrls.takeFirst().toString(QUrl::FullyEncoded);
        QVERIFY2(encoded.startsWith("file:///"_L1), qPrintable(encoded));
        QVERIFY2(encoded.endsWith("/Talk%20%231%20of%203/"_L1), qPrintable(encoded));
        const QString page = u"/-/edit/live"_s;
        QVERIFY(facade.qml_openLink(facade.qml_presentationUrl(u"../a?b#c%2F@d"_s, page)));
        QCOMPARE(m_openedUrls.first().toString(QUrl::FullyEncoded),
            facade.qml_serviceUrl({}).toString() + u"/..%2Fa%3Fb%23c%252F%40d"_s + page);
        for (const QString& id : { QString(), u"."_s, u".."_s })
            QVERIFY2(!facade.qml_openLink(facade.qml_presentationUrl(id, page)), qPrintable(id));
    }

private:
    void type(const QString& text)
    {
        for (const QChar character : text)
            QTest::keyClick(m_fixture->window(), character.toLatin1());
    }

    void showPage(const QString& page)
    {
        MainWindow& facade = m_fixture->facade();
        facade.setRecording(page.isEmpty());
        facade.setLoading(false);
        if (!page.isEmpty())
            m_fixture->item(u"menu"_s)->setProperty("selected", page);
        RecorderSettings::instance()->setUseNativeSlideSourceResolution(false);
        LoginSettings::instance()->setLiveStreamResume(true);
        if (!page.isEmpty())
            m_fixture->waitForPreview(); // before the first frame the preview cannot be pressed
        m_fixture->settle();
    }

    std::unique_ptr<WindowFixture> m_fixture;
    QList<QUrl> m_openedUrls;
};

QTEST_MAIN(TestScreens)
#include "tst_screens.moc"
