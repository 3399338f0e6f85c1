#include "DayFixture.h"
#include "TestKit.h"
#include "views/TimestampsDialog.h"

#include <QLabel>
#include <QTreeView>

// The intervals behind a node, with titles and paths that hold quotes.
class TestTimestampsDialog : public QObject
{
    Q_OBJECT

private slots:
    void listsTheIntervalsOfANode_data()
    {
        QTest::addColumn<QString>("title"); // empty: the application node
        QTest::addColumn<QStringList>("rows");
        const QString quoted = "it's \"done\"";
        const QString twoLines = QStringLiteral("two \u23CE lines|14:00:00|14:00:01|1 s");
        QTest::newRow("an entry whose title holds quotes")
            << quoted << QStringList{quoted + "|09:00:00|09:01:00|1 m 0 s", quoted + "|23:59:00|00:01:05|2 m 5 s"};
        QTest::newRow("an application: every title")
            << QString()
            << QStringList{quoted + "|09:00:00|09:01:00|1 m 0 s", "other|10:00:00|10:00:05|5 s", twoLines,
                           quoted + "|23:59:00|00:01:05|2 m 5 s"};
        QTest::newRow("a title with a line break shows it as a mark") << "two\nlines" << QStringList{twoLines};
        QTest::newRow("nothing of that title") << "missing" << QStringList{};
    }

    void listsTheIntervalsOfANode()
    {
        QFETCH(QString, title);
        QFETCH(QStringList, rows);
        DayFixture fixture;
        QVERIFY(fixture.open());
        const int app = DayFixture::addApp("/it's/app", "App");
        const int other = DayFixture::addApp("/other", "Other");
        const QString quoted = "it's \"done\"";
        DayFixture::addEntry(app, quoted, "2026-11-15 23:59:00", "2026-11-16 00:01:05");
        DayFixture::addEntry(app, quoted, "2026-11-15 09:00:00", "2026-11-15 09:01:00");
        DayFixture::addEntry(app, "other", "2026-11-15 10:00:00", "2026-11-15 10:00:05");
        DayFixture::addEntry(app, "two\nlines", "2026-11-15 14:00:00", "2026-11-15 14:00:01");
        DayFixture::addEntry(other, quoted, "2026-11-15 11:00:00", "2026-11-15 11:00:05");
        DayFixture::addEntry(app, quoted, "2026-11-16 09:00:00", "2026-11-16 09:01:00");
        const int linked = DayFixture::addEntry(app, quoted, "2026-11-15 12:00:00", "2026-11-15 12:01:00");
        DayFixture::link(linked, 1, 2, 3);

        TimestampsDialog dialog;
        dialog.setDate(QDate(2026, 11, 15));
        dialog.setAppPath("/it's/app");
        dialog.setTitle(title);
        dialog.PopulateData();
        QStringList got;
        const QAbstractItemModel* model = dialog.list()->model();
        for (int row = 0; row < model->rowCount(); ++row) {
            QStringList cells;
            for (int column = 0; column < 4; ++column) {
                cells << model->index(row, column).data().toString();
            }
            got << cells.join("|");
        }
        QCOMPARE(got, rows);
        QVERIFY(!dialog.dateLabel()->text().isEmpty());
        fixture.close();
    }
};

VERRIN_TEST(TestTimestampsDialog)
#include "TestTimestampsDialog.moc"
