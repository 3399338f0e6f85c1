#include "RecordedRows.h"
#include "TestKit.h"
#include "store/Database.h"
#include "store/util.h"

// The stored texts of times and the small text helpers every query and export leans on.
class TestStore : public QObject
{
    Q_OBJECT

private slots:
    void texts()
    {
        QStringList times;
        for (int seconds : {0, 59, 60, 3599, 3600, 3725, 100000}) {
            times << util::format_time(seconds);
        }
        QCOMPARE(times.join(" | "), "0 s | 59 s | 1 m 0 s | 59 m 59 s | 1 h 0 m 0 s | 1 h 2 m 5 s | 27 h 46 m 40 s");
        QStringList words; // the words of each pattern, joined by "/"
        for (const char* pattern :
             {"red \"big dog\" cat", "  a \t  b  ", "", "   ", "\"big dog cat", "it's \"x", "Größe 東京"}) {
            words << util::extractWords(QString::fromUtf8(pattern)).join(QLatin1Char('/'));
        }
        QCOMPARE(words, (QStringList{"red/big dog/cat", "a/b", "", "", "big/dog/cat", "it's/x", "Größe/東京"}));
        // Quoted when holding a separator, quote, line break or edge blank; a leading formula sign is
        // disarmed with an apostrophe so a spreadsheet never runs it.
        const QList<QPair<QString, QString>> cells = {
            {"Editor", "Editor"},
            {"", ""},
            {"a,b", "\"a,b\""},
            {"say \"hi\"", "\"say \"\"hi\"\"\""},
            {"a\nb", "\"a\nb\""},
            {" a", "\" a\""},
            {"a ", "\"a \""},
            {"=HYPERLINK(\"http://x\",\"y\")", "\"'=HYPERLINK(\"\"http://x\"\",\"\"y\"\")\""},
            {"+1", "'+1"},
            {"-2+3", "'-2+3"},
            {"@SUM(A1)", "'@SUM(A1)"},
            {"\t=1", "'\t=1"},
            {"\r=1", "\"'\r=1\""},
            {"a=b", "a=b"}};
        for (const auto& [text, cell] : cells) {
            QCOMPARE(util::csv_cell(text), cell);
        }
    }

    // Reopening a database made earlier is done by every command-line run on a folder the test filled.
    void schemaIsCreatedExactly()
    {
        QTemporaryDir dir;
        QString error;
        Database db;
        QVERIFY2(db.open(dir.filePath(QStringLiteral("verrinplus.sqlite")), &error), qPrintable(error));
        using RecordedRows::column;
        QCOMPARE(column(QStringLiteral("PRAGMA journal_mode")), QStringList{"wal"});
        QCOMPARE(column(QStringLiteral("SELECT name FROM sqlite_master WHERE type = 'index' AND name IN ('start_idx', "
                                       "'end_idx') ORDER BY name")),
                 (QStringList{"end_idx", "start_idx"}));
        // The five tables every version has, and the link journal's two.
        QCOMPARE(column(QStringLiteral("SELECT COUNT(*) FROM sqlite_master WHERE type = 'table' AND name NOT LIKE "
                                       "'sqlite_%'")),
                 QStringList{"7"});
        db.close();
        QVERIFY(!db.open(dir.filePath(QStringLiteral("missing/folder/verrinplus.sqlite")), &error));
        QVERIFY(!error.isEmpty());
        QVERIFY(!db.isOpen());
    }
};

QTEST_GUILESS_MAIN(TestStore)
#include "TestStore.moc"
