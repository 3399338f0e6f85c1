#include "TestKit.h"
#include "store/Database.h"
#include "store/util.h"

namespace {
QStringList schemaRows()
{
    QStringList rows;
    QSqlQuery query(QStringLiteral("SELECT type || '|' || name || '|' || sql FROM sqlite_master WHERE name NOT LIKE "
                                   "'sqlite_%' ORDER BY type, name"));
    while (query.next()) {
        rows << query.value(0).toString();
    }
    return rows;
}

QString firstValue(const QString& sql)
{
    QSqlQuery query(sql);
    return query.next() ? query.value(0).toString() : QStringLiteral("(no row)");
}
} // namespace

// The stored texts of times and the small text helpers every query and export leans on.
class TestStore : public QObject
{
    Q_OBJECT

private slots:
    void sqlTimes()
    {
        // What is written is what is read back, to the second.
        for (const char* text : {"2026-01-01 00:00:00", "2026-11-15 08:05:09", "2026-12-31 23:59:59"}) {
            const QDateTime read = util::sql_to_datetime(QString::fromLatin1(text));
            QCOMPARE(read.time().msec(), 0);
            QCOMPARE(util::datetime_to_sql(read), QString::fromLatin1(text));
        }
        QCOMPARE(util::sql_to_datetime(QStringLiteral("2026-11-15 08:05:09")),
                 QDateTime(QDate(2026, 11, 15), QTime(8, 5, 9)));
        QCOMPARE(util::sql_to_date(QStringLiteral("2026-11-15")), QDate(2026, 11, 15));
        QVERIFY(util::sql_to_datetime(QString()).isNull());
        QVERIFY(util::sql_to_date(QString()).isNull());
        // Garbage gives an invalid value, never a crash.
        QVERIFY(!util::sql_to_date(QStringLiteral("not a date")).isValid());
        QVERIFY(!util::sql_to_datetime(QStringLiteral("2026-13-45 99:99")).isValid());
    }

    void formatTime()
    {
        const QList<QPair<int, const char*>> cases = {{0, "0 s"},
                                                      {59, "59 s"},
                                                      {60, "1 m 0 s"},
                                                      {3599, "59 m 59 s"},
                                                      {3600, "1 h 0 m 0 s"},
                                                      {3725, "1 h 2 m 5 s"},
                                                      {100000, "27 h 46 m 40 s"}};
        for (const auto& [seconds, text] : cases) {
            QCOMPARE(util::format_time(seconds), QString::fromLatin1(text));
        }
    }

    void implode()
    {
        QCOMPARE(util::implode(QStringLiteral(","), QList<QVariant>{1, 22, 333}), QStringLiteral("1,22,333"));
        QCOMPARE(util::implode(QStringLiteral(", "), QStringList{QStringLiteral("a")}), QStringLiteral("a"));
        QCOMPARE(util::implode(QStringLiteral(","), QStringList{}), QString());
    }

    void extractWords_data()
    {
        QTest::addColumn<QString>("pattern");
        QTest::addColumn<QStringList>("words");
        QTest::newRow("words and a phrase") << "red \"big dog\" cat" << QStringList{"red", "big dog", "cat"};
        QTest::newRow("blanks and tabs") << "  a \t  b  " << QStringList{"a", "b"};
        QTest::newRow("empty") << "" << QStringList{};
        QTest::newRow("blank") << "   " << QStringList{};
        QTest::newRow("unclosed quote") << "\"big dog cat" << QStringList{"big", "dog", "cat"};
        QTest::newRow("quote inside a word") << "it's \"x" << QStringList{"it's", "x"};
        QTest::newRow("unicode") << QStringLiteral("Größe 東京")
                                 << QStringList{QStringLiteral("Größe"), QStringLiteral("東京")};
    }

    void extractWords()
    {
        QFETCH(QString, pattern);
        QFETCH(QStringList, words);
        QCOMPARE(util::extractWords(pattern), words);
    }

    void csvCell()
    {
        // Cells are quoted when they hold a separator, quote, line break or edge blank; a leading formula
        // sign is disarmed with an apostrophe so a spreadsheet never runs it.
        const QList<QPair<QString, QString>> cases = {
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
            {"a=b", "a=b"},
        };
        for (const auto& [text, cell] : cases) {
            QCOMPARE(util::csv_cell(text), cell);
        }
    }

    void schemaIsCreatedOnceAndExactly()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("verrinplus.sqlite"));
        QStringList first;
        {
            Database db;
            QString error;
            QVERIFY2(db.open(path, &error), qPrintable(error));
            first = schemaRows();
            QCOMPARE(firstValue(QStringLiteral("PRAGMA journal_mode")), QStringLiteral("wal"));
            QCOMPARE(first.filter(QRegularExpression(QStringLiteral("^index\\|(start|end)_idx\\|"))).size(), 2);
            // The five tables every version has, and the link journal's two.
            QCOMPARE(first.filter(QRegularExpression(QStringLiteral("^table\\|"))).size(), 7);
            QSqlQuery insert;
            QVERIFY(insert.exec(QStringLiteral("INSERT INTO rules (name) VALUES ('r')")));
            // The defaults a rule row gets when only its name is given.
            QCOMPARE(firstValue(QStringLiteral("SELECT title_rule || ' ' || date_rule || ' ' || seq || ' ' || active "
                                               "FROM rules")),
                     QStringLiteral("and after 0 1"));
        }
        Database db;
        QString error;
        QVERIFY(db.open(path, &error));
        QCOMPARE(schemaRows(), first);
        QCOMPARE(firstValue(QStringLiteral("SELECT COUNT(*) FROM rules")), QStringLiteral("1"));
        db.close();

        QVERIFY(!db.open(dir.filePath(QStringLiteral("missing/folder/verrinplus.sqlite")), &error));
        QVERIFY(!error.isEmpty());
        QVERIFY(!db.isOpen());
    }
};

QTEST_GUILESS_MAIN(TestStore)
#include "TestStore.moc"
