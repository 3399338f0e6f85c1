#include "store/CalendarMarks.h"
#include "store/Database.h"
#include "views/CalendarWidget.h"
#include "views/LineEdit.h"

#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>
#include <QTextCharFormat>
#include <QToolButton>

// Calendar marks straight from a real database, and the two small widgets around the trees.
class TestCalendarFields : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir dir;
    Database db;

    static int addApp(const QString& path, const QString& name)
    {
        QSqlQuery q;
        q.prepare(QStringLiteral("INSERT INTO applications (path, name) VALUES (:path, :name)"));
        q.bindValue(QStringLiteral(":path"), path);
        q.bindValue(QStringLiteral(":name"), name);
        q.exec();
        return q.lastInsertId().toInt();
    }

    static void addEntry(int app, const QString& start, const QString& end, bool linked = false)
    {
        QSqlQuery q;
        q.prepare(QStringLiteral("INSERT INTO entries (title, application_id, start_time, end_time, ext_task_id) "
                                 "VALUES ('t', :app, :start, :end, :task)"));
        q.bindValue(QStringLiteral(":app"), app);
        q.bindValue(QStringLiteral(":start"), start);
        q.bindValue(QStringLiteral(":end"), end);
        q.bindValue(QStringLiteral(":task"), linked ? QVariant(7) : QVariant());
        q.exec();
    }

private slots:
    void initTestCase()
    {
        QString error;
        QVERIFY2(db.open(dir.filePath(QStringLiteral("v.sqlite")), &error), qPrintable(error));
        const int editor = addApp(QStringLiteral("/usr/share/applications/editor.desktop"), QStringLiteral("Editor"));
        const int quoted = addApp(QStringLiteral("/opt/it's/app"), QStringLiteral("Quoted"));
        const int other = addApp(QStringLiteral("/usr/bin/other"), QStringLiteral("Other"));
        addEntry(editor, QStringLiteral("2026-11-02 09:00:00"), QStringLiteral("2026-11-02 10:00:00"));
        addEntry(quoted, QStringLiteral("2026-11-03 09:00:00"), QStringLiteral("2026-11-03 09:30:00"));
        addEntry(other, QStringLiteral("2026-11-04 09:00:00"), QStringLiteral("2026-11-04 09:30:00"), true);
        // Spans midnight: belongs to the day it started.
        addEntry(editor, QStringLiteral("2026-11-05 23:30:00"), QStringLiteral("2026-11-06 00:30:00"));
        addEntry(editor, QStringLiteral("2025-01-01 09:00:00"), QStringLiteral("2025-01-01 10:00:00"));
    }

    void marks_data()
    {
        QTest::addColumn<QStringList>("ignored");
        QTest::addColumn<QList<QDate>>("expected");
        const QDate d2(2026, 11, 2), d3(2026, 11, 3), d5(2026, 11, 5);
        QTest::newRow("nothing excluded") << QStringList{} << QList<QDate>{d2, d3, d5};
        QTest::newRow("path with a quote excluded") << QStringList{"/opt/it's/app"} << QList<QDate>{d2, d5};
        QTest::newRow("unknown path excluded") << QStringList{"/nowhere"} << QList<QDate>{d2, d3, d5};
        QTest::newRow("everything excluded")
            << QStringList{"/opt/it's/app", "/usr/share/applications/editor.desktop"} << QList<QDate>{};
    }

    void marks()
    {
        QFETCH(QStringList, ignored);
        QFETCH(QList<QDate>, expected);
        QList<QDate> got = CalendarMarks::datesWithUnlinkedTime(ignored, QDate(2026, 10, 25), QDate(2026, 12, 14));
        std::sort(got.begin(), got.end());
        QCOMPARE(got, expected);
    }

    void marksStayInsideTheRange()
    {
        QCOMPARE(CalendarMarks::datesWithUnlinkedTime({}, QDate(2026, 11, 3), QDate(2026, 11, 3)),
                 QList<QDate>{QDate(2026, 11, 3)});
        QCOMPARE(CalendarMarks::datesWithUnlinkedTime({}, QDate(2024, 12, 31), QDate(2025, 1, 1)),
                 QList<QDate>{QDate(2025, 1, 1)});
    }

    void calendarShowsMarksAndForgetsOldOnes()
    {
        CalendarWidget calendar;
        QCOMPARE(calendar.getCurrentDate(), QDate::currentDate());
        QCOMPARE(calendar.getColor(), QColor(Qt::red));
        calendar.markDates({QDate(2026, 11, 2)});
        QCOMPARE(calendar.dateTextFormat(QDate(2026, 11, 2)).fontWeight(), int(QFont::Black));
        QVERIFY(calendar.dateTextFormat(QDate(2026, 11, 2)).fontUnderline());
        calendar.markDates({QDate(2026, 11, 3)});
        QVERIFY(!calendar.dateTextFormat(QDate(2026, 11, 2)).fontUnderline());
        QVERIFY(calendar.dateTextFormat(QDate(2026, 11, 3)).fontUnderline());
    }

    void clearButtonFollowsTheText()
    {
        LineEdit edit;
        edit.resize(200, edit.sizeHint().height());
        edit.show();
        QVERIFY(QTest::qWaitForWindowExposed(&edit));
        QToolButton* clear = edit.clearButton();
        QVERIFY(clear->isHidden());
        QTest::keyClicks(&edit, QStringLiteral("ab"));
        QVERIFY(!clear->isHidden());
        // The button sits at the right end, inside the field.
        QVERIFY(clear->geometry().right() <= edit.width());
        QVERIFY(clear->geometry().left() > edit.width() / 2);
        QTest::mouseClick(clear, Qt::LeftButton);
        QCOMPARE(edit.text(), QString());
        QVERIFY(clear->isHidden());
    }
};

QTEST_MAIN(TestCalendarFields)
#include "TestCalendarFields.moc"
