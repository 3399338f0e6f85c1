#include "TestKit.h"
#include "rules/DatePresets.h"
#include "rules/RuleMatcher.h"

namespace {

QVariantMap rule(const QString& titleRule, const QString& title, const QString& dateRule = QStringLiteral("always"),
                 const QDate& from = QDate(), const QDate& to = QDate())
{
    return {{"id", 1},
            {"app_ids", QStringList{"3", "12"}},
            {"title_rule", titleRule},
            {"title", title},
            {"date_rule", dateRule},
            {"date_from", from},
            {"date_to", to},
            {"task_id", 77}};
}

const QDateTime kDay(QDate(2026, 11, 16), QTime(0, 0, 0));

} // namespace

class TestRuleMatching : public QObject
{
    Q_OBJECT

private slots:
    void title_data()
    {
        QTest::addColumn<QString>("mode");
        QTest::addColumn<QString>("pattern");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("app");
        QTest::addColumn<bool>("expected");
        const auto row = [](const char* tag, const QString& mode, const QString& pattern, const QString& title,
                            bool expected, const QString& app = QStringLiteral("12")) {
            QTest::newRow(tag) << mode << pattern << title << app << expected;
        };
        const QString summary = QStringLiteral("Report - Summary");
        for (const char* mode : {"and", "or", "exact", "regexp"}) {
            row(qPrintable(QStringLiteral("empty pattern, ") + mode), mode, "", summary, true);
        }
        row("and, one word ignoring case", "and", "report", summary, true);
        row("and, all words", "and", "summary REPORT", summary, true);
        row("and, one word missing", "and", "report budget", summary, false);
        row("and, word inside a word", "and", "port", summary, true);
        row("and, blanks only", "and", "   ", summary, true);
        row("or, blanks only", "or", "   ", summary, false);
        row("or, one of two", "or", "budget summary", summary, true);
        row("or, none", "or", "budget plan", summary, false);

        const QString phrase = QStringLiteral("\"big dog\" cat");
        row("or, quoted phrase ignoring case", "or", phrase, "The Big Dog barks", true);
        row("or, other word", "or", phrase, "a cat sleeps", true);
        row("or, phrase words apart", "or", phrase, "big red dog", false);
        row("and, phrase and word", "and", phrase, "big dog and cat", true);
        row("and, phrase words apart", "and", phrase, "big red dog and cat", false);
        row("and, unclosed quote taken word by word", "and", "\"big dog", "dog big", true);

        row("exact, case differs", "exact", "report - summary", summary, false);
        row("exact, part only", "exact", "Report", summary, false);
        row("exact, whole title", "exact", summary, summary, true);
        row("exact, quote in title", "exact", "it's \"done\"", "it's \"done\"", true);
        row("regexp, unanchored ignoring case", "regexp", "sum+ary$", summary, true);
        row("regexp, no match", "regexp", "^Summary", summary, false);
        row("regexp, invalid", "regexp", "(unclosed", "(unclosed", false);
        row("unknown mode matches", "nearly", "zzz", summary, true);

        // The application must be one of the rule's, compared as the exact id text.
        row("other application", "and", "", summary, false, "1");
        row("application id with a leading zero", "and", "", summary, false, "03");
        row("no application", "and", "", summary, false, "");
    }

    void title()
    {
        QFETCH(QString, mode);
        QFETCH(QString, pattern);
        QFETCH(QString, title);
        QFETCH(QString, app);
        QFETCH(bool, expected);
        if (pattern == QLatin1String("(unclosed")) {
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("invalid regular expression")));
        }
        QCOMPARE(ruleApplies(rule(mode, pattern), title, app, kDay), expected);
    }

    void date_data()
    {
        QTest::addColumn<QString>("dateRule");
        QTest::addColumn<QDate>("day");
        QTest::addColumn<bool>("expected");
        // The rule's dates are the 3rd and the 10th.
        QTest::newRow("after, day before") << "after" << QDate(2026, 3, 2) << false;
        QTest::newRow("after, first day") << "after" << QDate(2026, 3, 3) << true;
        QTest::newRow("after, much later") << "after" << QDate(2027, 1, 1) << true;
        QTest::newRow("before, last day") << "before" << QDate(2026, 3, 10) << true;
        QTest::newRow("before, day after") << "before" << QDate(2026, 3, 11) << false;
        QTest::newRow("before, ignores date_from") << "before" << QDate(2026, 3, 5) << true;
        QTest::newRow("between, day before") << "between" << QDate(2026, 3, 2) << false;
        QTest::newRow("between, first day") << "between" << QDate(2026, 3, 3) << true;
        QTest::newRow("between, middle") << "between" << QDate(2026, 3, 7) << true;
        QTest::newRow("between, last day") << "between" << QDate(2026, 3, 10) << true;
        QTest::newRow("between, day after") << "between" << QDate(2026, 3, 11) << false;
        QTest::newRow("always, long ago") << "always" << QDate(1999, 1, 1) << true;
        QTest::newRow("unknown, any day") << "sometimes" << QDate(1999, 1, 1) << true;
    }

    void date()
    {
        QFETCH(QString, dateRule);
        QFETCH(QDate, day);
        QFETCH(bool, expected);
        const QVariantMap r = rule(QStringLiteral("and"), QString(), dateRule, QDate(2026, 3, 3), QDate(2026, 3, 10));
        // Groups are tested at the start of their day; the last second of a day still belongs to it.
        QCOMPARE(ruleApplies(r, QStringLiteral("x"), QStringLiteral("3"), QDateTime(day, QTime(0, 0, 0))), expected);
        QCOMPARE(ruleApplies(r, QStringLiteral("x"), QStringLiteral("3"), QDateTime(day, QTime(23, 59, 59))), expected);
    }

    void invalidExpressionIsLoggedOnce()
    {
        // Logged once when the rule is prepared, however many titles it is then tested against.
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("invalid regular expression.*\\[a-")));
        RuleMatcher matcher(rule(QStringLiteral("regexp"), QStringLiteral("[a-")));
        QVERIFY(!matcher.matches(QStringLiteral("[a-"), QStringLiteral("3"), kDay));
        QVERIFY(!matcher.matches(QStringLiteral("anything"), QStringLiteral("3"), kDay));
    }

    void presets_data()
    {
        QTest::addColumn<QString>("value");
        QTest::addColumn<QDate>("today");
        QTest::addColumn<QDate>("from");
        QTest::addColumn<QDate>("to");
        const QDate sunday(2026, 11, 22);
        const QDate monday(2026, 11, 16);
        const QDate wednesday(2026, 11, 18);
        const auto row = [](const char* tag, const char* value, QDate today, QDate from, QDate to) {
            QTest::newRow(tag) << QString::fromLatin1(value) << today << from << to;
        };
        row("today", "today", wednesday, wednesday, wednesday);
        row("yesterday across a month", "yesterday", QDate(2026, 3, 1), QDate(2026, 2, 28), QDate(2026, 2, 28));
        row("3 days back", "3 days back", wednesday, QDate(2026, 11, 15), wednesday);
        row("this week on a Sunday", "this week", sunday, monday, sunday);
        row("this week on a Monday", "this week", monday, monday, sunday);
        row("this week on a Wednesday", "this week", wednesday, monday, sunday);
        row("previous week on a Sunday", "prev week", sunday, QDate(2026, 11, 9), QDate(2026, 11, 15));
        row("previous week on a Monday", "prev week", monday, QDate(2026, 11, 9), QDate(2026, 11, 15));
        row("this month, leap February", "this month", QDate(2028, 2, 10), QDate(2028, 2, 1), QDate(2028, 2, 29));
        row("this month, December", "this month", QDate(2026, 12, 31), QDate(2026, 12, 1), QDate(2026, 12, 31));
        row("previous month on 31 March", "prev month", QDate(2026, 3, 31), QDate(2026, 2, 1), QDate(2026, 2, 28));
        row("previous month in January", "prev month", QDate(2027, 1, 15), QDate(2026, 12, 1), QDate(2026, 12, 31));
        // "custom" is no range: the dates stay as they were.
        row("custom", "custom", wednesday, QDate(2020, 1, 1), QDate(2020, 1, 2));
    }

    void presets()
    {
        QFETCH(QString, value);
        QFETCH(QDate, today);
        QFETCH(QDate, from);
        QFETCH(QDate, to);
        QDate gotFrom(2020, 1, 1);
        QDate gotTo(2020, 1, 2);
        QCOMPARE(DatePresets::range(value, today, &gotFrom, &gotTo), value != QLatin1String("custom"));
        QCOMPARE(gotFrom, from);
        QCOMPARE(gotTo, to);
    }
};

VERRIN_TEST(TestRuleMatching)
#include "TestRuleMatching.moc"
