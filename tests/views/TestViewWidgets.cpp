#include "ModalDialogHelper.h"
#include "TestKit.h"
#include "reports/TreeModel.h"
#include "views/CalendarWidget.h"
#include "views/ClickableLabel.h"
#include "views/LineEdit.h"
#include "views/ListItemDelegate.h"
#include "window/MessageBoxPrompter.h"

#include <QImage>
#include <QMessageBox>
#include <QPainter>
#include <QPushButton>
#include <QToolButton>

// The small widgets around the day trees.
class TestViewWidgets : public QObject
{
    Q_OBJECT

private slots:
    void barLength_data()
    {
        QTest::addColumn<int>("time");
        QTest::addColumn<int>("total");
        QTest::addColumn<int>("width");
        // Cell 106 wide: 100 usable inside a 3 pixel margin.
        QTest::newRow("all of the day") << 50 << 50 << 100;
        QTest::newRow("a quarter") << 25 << 100 << 25;
        QTest::newRow("nothing recorded") << 0 << 0 << 0;
        QTest::newRow("no time of its own") << 0 << 60 << 0;
    }

    void barLength()
    {
        QFETCH(int, time);
        QFETCH(int, total);
        QFETCH(int, width);
        const QRect bar = ListItemDelegate::barRect(QRect(0, 0, 106, 20), time, total);
        QCOMPARE(bar.width(), width);
        if (width > 0) {
            QCOMPARE(bar.left(), 3);
            QCOMPARE(bar.height(), 14);
        }
    }

    void barIsPaintedInTheTypeColour_data()
    {
        QTest::addColumn<QString>("type");
        QTest::addColumn<QColor>("colour");
        QTest::newRow("entry") << "entry" << QColor(207, 207, 207);
        QTest::newRow("task") << "task" << QColor(0, 94, 94);
        QTest::newRow("tasklist") << "tasklist" << QColor(37, 133, 184);
        QTest::newRow("project") << "project" << QColor(166, 55, 78);
        QTest::newRow("app") << "app" << QColor(0, 168, 0);
        QTest::newRow("hour") << "hour" << QColor(0, 168, 0);
    }

    void barIsPaintedInTheTypeColour()
    {
        QFETCH(QString, type);
        QFETCH(QColor, colour);
        TreeModel model(false);
        const QModelIndex node = model.appendRow({}, {"node", "1 m 0 s"});
        model.setHiddenData(node, "type", type);
        model.setHiddenData(node, "time", 60);
        model.updateTotalTime(120);
        QImage image(106, 20, QImage::Format_ARGB32);
        image.fill(Qt::white);
        QPainter painter(&image);
        QStyleOptionViewItem option;
        option.rect = QRect(0, 0, 106, 20);
        ListItemDelegate delegate;
        delegate.paint(&painter, option, node.siblingAtColumn(2));
        painter.end();
        QCOMPARE(image.pixelColor(10, 10), colour);
        QCOMPARE(image.pixelColor(90, 10), QColor(Qt::white)); // half the day: half the bar
    }

    void lineEditClearButton()
    {
        LineEdit edit;
        edit.resize(200, 30);
        edit.show();
        QVERIFY(QTest::qWaitForWindowExposed(&edit));
        QVERIFY(!edit.clearButton()->isVisible());
        QTest::keyClicks(&edit, "abc");
        QVERIFY(edit.clearButton()->isVisible());
        QVERIFY(edit.clearButton()->geometry().right() <= edit.width());
        QTest::mouseClick(edit.clearButton(), Qt::LeftButton);
        QCOMPARE(edit.text(), QString());
        QVERIFY(!edit.clearButton()->isVisible());
    }

    void clickableLabel()
    {
        ClickableLabel label("x");
        QSignalSpy clicked(&label, &ClickableLabel::clicked);
        QSignalSpy doubleClicked(&label, &ClickableLabel::doubleClicked);
        QTest::mouseClick(&label, Qt::LeftButton);
        QTest::mouseDClick(&label, Qt::LeftButton);
        QVERIFY(clicked.count() >= 1);
        QCOMPARE(doubleClicked.count(), 1);
    }

    void calendarMarks()
    {
        CalendarWidget calendar;
        calendar.markDays({QDate(2026, 11, 2), QDate(2026, 11, 5)});
        QVERIFY(calendar.isMarked(QDate(2026, 11, 2)));
        QCOMPARE(calendar.dateTextFormat(QDate(2026, 11, 5)).fontWeight(), int(QFont::Black));
        calendar.markDays({QDate(2026, 11, 3)});
        QVERIFY(!calendar.isMarked(QDate(2026, 11, 2)));
        QVERIFY(calendar.isMarked(QDate(2026, 11, 3)));
    }

    void questionDefaults_data()
    {
        QTest::addColumn<bool>("confirming");
        QTest::newRow("plain question: No") << false;
        QTest::newRow("confirming a chosen action: Yes") << true;
    }

    void questionDefaults()
    {
        QFETCH(bool, confirming);
        MessageBoxPrompter prompter(nullptr);
        bool defaultIsYes = !confirming;
        // Enter on the real box answers with its default button.
        onNextModal([&](QWidget* widget) {
            auto* box = qobject_cast<QMessageBox*>(widget);
            QVERIFY(box);
            defaultIsYes = box->defaultButton() == box->button(QMessageBox::Yes);
            QTest::keyClick(box, Qt::Key_Return);
        });
        const bool answer = confirming
                                ? prompter.askDefaultYes(QStringLiteral("Confirm delete"), QStringLiteral("Sure?"))
                                : prompter.ask(QStringLiteral("Question"), QStringLiteral("Sure?"));
        cancelModalHandlers();
        QCOMPARE(defaultIsYes, confirming);
        QCOMPARE(answer, confirming);
    }
};

VERRIN_TEST(TestViewWidgets)
#include "TestViewWidgets.moc"
