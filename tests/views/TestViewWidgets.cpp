#include "ModalDialogHelper.h"
#include "TestKit.h"
#include "reports/TreeModel.h"
#include "views/CalendarWidget.h"
#include "views/ListItemDelegate.h"
#include "window/MessageBoxPrompter.h"

#include <QImage>
#include <QMessageBox>
#include <QPainter>
#include <QPushButton>

// The small widgets around the day trees.
class TestViewWidgets : public QObject
{
    Q_OBJECT

private slots:
    void barLength()
    {
        // Cell 106 wide: 100 usable inside a 3 pixel margin.
        const struct
        {
            int time, total, width;
        } lengths[] = {{50, 50, 100}, {25, 100, 25}, {0, 0, 0}, {0, 60, 0}};
        for (const auto& c : lengths) {
            const QRect bar = ListItemDelegate::barRect(QRect(0, 0, 106, 20), c.time, c.total);
            QCOMPARE(bar.width(), c.width);
            QVERIFY(c.width == 0 || (bar.left() == 3 && bar.height() == 14));
        }
        // Painted from the node's time and the day's total: half the day, half the bar.
        TreeModel model(false);
        const QModelIndex node = model.appendRow({}, {"node", "1 m 0 s"});
        model.setHiddenData(node, "time", 60);
        model.updateTotalTime(120);
        QImage image(106, 20, QImage::Format_ARGB32);
        image.fill(Qt::white);
        QPainter painter(&image);
        QStyleOptionViewItem option;
        option.rect = QRect(0, 0, 106, 20);
        ListItemDelegate().paint(&painter, option, node.siblingAtColumn(2));
        painter.end();
        QVERIFY(image.pixelColor(50, 10) != QColor(Qt::white));
        QCOMPARE(image.pixelColor(56, 10), QColor(Qt::white));
    }

    void calendarMarks()
    {
        CalendarWidget calendar;
        calendar.markDays({QDate(2026, 11, 2), QDate(2026, 11, 5)});
        QVERIFY(calendar.isMarked(QDate(2026, 11, 2)));
        calendar.markDays({QDate(2026, 11, 3)});
        QVERIFY(!calendar.isMarked(QDate(2026, 11, 2)));
        QVERIFY(calendar.isMarked(QDate(2026, 11, 3)));
    }

    void questionDefaults()
    {
        // Enter on the real box answers with its default button: No for a plain question, Yes to confirm.
        MessageBoxPrompter prompter(nullptr);
        for (bool confirming : {false, true}) {
            bool defaultIsYes = !confirming;
            onNextModal([&](QWidget* widget) {
                auto* box = qobject_cast<QMessageBox*>(widget);
                QVERIFY(box);
                defaultIsYes = box->defaultButton() == box->button(QMessageBox::Yes);
                QTest::keyClick(box, Qt::Key_Return);
            });
            const bool answer =
                confirming ? prompter.askDefaultYes("Confirm delete", "Sure?") : prompter.ask("Question", "Sure?");
            cancelModalHandlers();
            QCOMPARE(defaultIsYes, confirming);
            QCOMPARE(answer, confirming);
        }
    }
};

VERRIN_TEST(TestViewWidgets)
#include "TestViewWidgets.moc"
