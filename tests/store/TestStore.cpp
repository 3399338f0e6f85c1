#include "store/Database.h"
#include "store/util.h"

#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>

namespace {
QStringList schemaRows()
{
    QStringList rows;
    QSqlQuery query(QStringLiteral("SELECT type, name, sql FROM sqlite_master WHERE name NOT LIKE 'sqlite_%' "
                                   "ORDER BY type, name"));
    while (query.next()) {
        rows << query.value(0).toString() + QLatin1Char('|') + query.value(1).toString() + QLatin1Char('|') +
                    query.value(2).toString();
    }
    return rows;
}
} // namespace

class TestStore : public QObject
{
    Q_OBJECT

private slots:
    void sqlToDateTime_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QDateTime>("expected");
        QTest::newRow("ordinary") << "2026-11-15 08:05:09" << QDateTime(QDate(2026, 11, 15), QTime(8, 5, 9));
        QTest::newRow("midnight") << "2026-01-01 00:00:00" << QDateTime(QDate(2026, 1, 1), QTime(0, 0, 0));
        QTest::newRow("last second") << "2026-12-31 23:59:59" << QDateTime(QDate(2026, 12, 31), QTime(23, 59, 59));
        QTest::newRow("empty is null") << "" << QDateTime();
    }

    void sqlToDateTime()
    {
        QFETCH(QString, text);
        QFETCH(QDateTime, expected);
        const QDateTime got = util::sql_to_datetime(text);
        QCOMPARE(got.isNull(), expected.isNull());
        if (!expected.isNull()) {
            QCOMPARE(got, expected);
            QCOMPARE(got.time().msec(), 0);
            // What we write is what we read back.
            QCOMPARE(util::datetime_to_sql(got), text);
        }
    }

    void sqlToDate()
    {
        QCOMPARE(util::sql_to_date(QStringLiteral("2026-11-15")), QDate(2026, 11, 15));
        QVERIFY(util::sql_to_date(QString()).isNull());
        // Garbage gives an invalid value, never a crash.
        QVERIFY(!util::sql_to_date(QStringLiteral("not a date")).isValid());
        QVERIFY(!util::sql_to_datetime(QStringLiteral("2026-13-45 99:99")).isValid());
    }

    void formatTime_data()
    {
        QTest::addColumn<int>("seconds");
        QTest::addColumn<QString>("expected");
        QTest::newRow("zero") << 0 << "0 s";
        QTest::newRow("59") << 59 << "59 s";
        QTest::newRow("60") << 60 << "1 m 0 s";
        QTest::newRow("3599") << 3599 << "59 m 59 s";
        QTest::newRow("3600") << 3600 << "1 h 0 m 0 s";
        QTest::newRow("3725") << 3725 << "1 h 2 m 5 s";
        QTest::newRow("a long day") << 100000 << "27 h 46 m 40 s";
    }

    void formatTime()
    {
        QFETCH(int, seconds);
        QFETCH(QString, expected);
        QCOMPARE(util::format_time(seconds), expected);
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
        QTest::newRow("one word") << "report" << QStringList{"report"};
        QTest::newRow("extra blanks") << "  a   b  " << QStringList{"a", "b"};
        QTest::newRow("tabs") << "a\tb" << QStringList{"a", "b"};
        QTest::newRow("empty") << "" << QStringList{};
        QTest::newRow("blank") << "   " << QStringList{};
        QTest::newRow("unclosed quote") << "\"big dog cat" << QStringList{"big", "dog", "cat"};
        QTest::newRow("quote inside a word") << "it's \"x" << QStringList{"it's", "x"};
        QTest::newRow("sql quote kept") << "O'Brien" << QStringList{"O'Brien"};
        QTest::newRow("unicode") << QStringLiteral("Größe 東京")
                                 << QStringList{QStringLiteral("Größe"), QStringLiteral("東京")};
    }

    void extractWords()
    {
        QFETCH(QString, pattern);
        QFETCH(QStringList, words);
        QCOMPARE(util::extractWords(pattern), words);
    }

    void csvCell_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("cell");
        QTest::newRow("plain") << "Editor"
                               << "Editor";
        QTest::newRow("empty") << ""
                               << "";
        QTest::newRow("comma") << "a,b"
                               << "\"a,b\"";
        QTest::newRow("quote") << "say \"hi\""
                               << "\"say \"\"hi\"\"\"";
        QTest::newRow("line break") << "a\nb"
                                    << "\"a\nb\"";
        QTest::newRow("leading blank") << " a"
                                       << "\" a\"";
        QTest::newRow("trailing blank") << "a "
                                        << "\"a \"";
        QTest::newRow("formula") << "=HYPERLINK(\"http://x\",\"y\")"
                                 << "\"'=HYPERLINK(\"\"http://x\"\",\"\"y\"\")\"";
        QTest::newRow("plus") << "+1"
                              << "'+1";
        QTest::newRow("minus") << "-2+3"
                               << "'-2+3";
        QTest::newRow("at") << "@SUM(A1)"
                            << "'@SUM(A1)";
        QTest::newRow("tab") << "\t=1"
                             << "'\t=1";
        QTest::newRow("carriage return") << "\r=1"
                                         << "\"'\r=1\"";
        QTest::newRow("formula sign inside") << "a=b"
                                             << "a=b";
    }

    void csvCell()
    {
        QFETCH(QString, text);
        QFETCH(QString, cell);
        QCOMPARE(util::csv_cell(text), cell);
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
            QSqlQuery mode(QStringLiteral("PRAGMA journal_mode"));
            QVERIFY(mode.next());
            QCOMPARE(mode.value(0).toString(), QStringLiteral("wal"));

            QVERIFY(first.filter(QStringLiteral("index|start_idx|")).size() == 1);
            QVERIFY(first.filter(QStringLiteral("index|end_idx|")).size() == 1);
            // The five tables every version has, and the link journal's two.
            QCOMPARE(first.filter(QRegularExpression(QStringLiteral("^table\\|"))).size(), 7);
            QSqlQuery insert;
            QVERIFY(insert.exec(QStringLiteral("INSERT INTO rules (name) VALUES ('r')")));
            // The defaults a rule row gets when only its name is given.
            QSqlQuery defaults(QStringLiteral("SELECT title_rule || ' ' || date_rule || ' ' || seq || ' ' || active "
                                              "FROM rules"));
            QVERIFY(defaults.next());
            QCOMPARE(defaults.value(0).toString(), QStringLiteral("and after 0 1"));
        }
        {
            Database db;
            QString error;
            QVERIFY(db.open(path, &error));
            QCOMPARE(schemaRows(), first);
            QSqlQuery count(QStringLiteral("SELECT COUNT(*) FROM rules"));
            QVERIFY(count.next());
            QCOMPARE(count.value(0).toInt(), 1);
        }
    }

    void unopenableFileReportsTheDriverText()
    {
        QTemporaryDir dir;
        Database db;
        QString error;
        QVERIFY(!db.open(dir.filePath(QStringLiteral("missing/folder/verrinplus.sqlite")), &error));
        QVERIFY(!error.isEmpty());
        QVERIFY(!db.isOpen());
    }
};

QTEST_GUILESS_MAIN(TestStore)
#include "TestStore.moc"
