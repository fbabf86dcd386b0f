#include "recording/Presentation.h"
#include "ui/MainWindow.h"
#include "ui/PresentationModel.h"
#include "ui/WindowFixture.h"

#include <QQuickItem>
#include <QtTest>

using namespace Qt::StringLiterals;

class TestPresentationModel : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QLoggingCategory::setFilterRules(u"default.debug=false"_s); }

    void reloadedTwiceInARow()
    {
        WindowFixture fixture;
        for (int i = 0; i < 50; ++i)
            fixture.addPresentation(u"Talk %1"_s.arg(i), u"2024-03-05T09:07:00"_s, 1);
        PresentationModel model(nullptr);
        const QAbstractItemModelTester tester(&model);
        QSignalSpy inserted(&model, &QAbstractItemModel::rowsInserted);
        model.reload();
        // In the middle of the first scan, and again before the second one has begun.
        QTRY_VERIFY(!inserted.isEmpty() || model.rowCount() > 0);
        model.reload();
        model.reload();
        QTRY_COMPARE(model.rowCount(), 50);
        // A stray delivery of an earlier scan would come before the last scan's thread is gone.
        QTRY_VERIFY(model.findChildren<QThread*>().isEmpty());
        QSet<QString> titles;
        for (int row = 0; row < model.rowCount(); ++row)
            titles.insert(model.index(row, 0).data(PresentationModel::TitleRole).toString());
        QCOMPARE(titles.size(), 50);
        QCOMPARE(model.rowCount(), 50);
        // Destroyed in the midst of a scan: what leaks or crashes is found by the sanitizers.
        for (int round = 0; round < 10; ++round) {
            PresentationModel shortLived(nullptr);
            shortLived.reload();
            for (int turn = 0; turn < round; ++turn)
                QCoreApplication::processEvents();
        }
    }

    void windowWithThousandsOfPresentations()
    {
        constexpr int Count = 2000;
        WindowFixture fixture;
        for (int i = 0; i < Count; ++i)
            fixture.addPresentation(u"Talk %1"_s.arg((i * 7919) % Count, 4, 10, QChar(u'0')),
                u"2024-03-05T09:07:00"_s, i % 3);
        fixture.open();
        QQuickItem* list = fixture.item(u"presentations"_s);
        QVERIFY(list);

        // The longest time for which the event loop answers nobody while the list fills.
        qint64 longestTurn = 0;
        QElapsedTimer turn;
        QVERIFY(QTest::qWaitFor(
            [&] {
                if (turn.isValid())
                    longestTurn = std::max(longestTurn, turn.elapsed());
                turn.start();
                return list->property("count").toInt() == Count;
            },
            60000));
        QVERIFY2(longestTurn < 500, qPrintable(QString::number(longestTurn)));

        const auto titleOfRow = [&](int row) {
            QQuickItem* item = nullptr;
            QMetaObject::invokeMethod(
                list, "itemAtIndex", Q_RETURN_ARG(QQuickItem*, item), Q_ARG(int, row));
            return item ? item->property("title").toString() : QString();
        };
        QTRY_COMPARE(titleOfRow(0), u"Talk 1999"_s);
        QCOMPARE(titleOfRow(1), u"Talk 1998"_s);

        // A title that changes is shown and sorted anew.
        auto* model = qvariant_cast<QAbstractItemModel*>(list->property("model"));
        QVERIFY(model);
        auto* presentation = model->index(1, 0).data(257).value<Presentation*>();
        QVERIFY(presentation);
        presentation->setTitle(u"Zebra <i>crossing</i>"_s);
        QTRY_COMPARE(titleOfRow(0), u"Zebra <i>crossing</i>"_s);
    }
};

QTEST_MAIN(TestPresentationModel)
#include "tst_presentationmodel.moc"
