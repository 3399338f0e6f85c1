#include "rules/DatePresets.h"
#include "rules/RuleMatcher.h"

#include <QTest>

namespace {

QVariantMap rule(const QString& titleRule, const QString& title, const QString& dateRule = QStringLiteral("always"),
                 const QDate& from = QDate(), const QDate& to = QDate())
{
    return {
        {QStringLiteral("id"), 1},
        {QStringLiteral("app_ids"), QStringList{QStringLiteral("3"), QStringLiteral("12")}},
        {QStringLiteral("title_rule"), titleRule},
        {QStringLiteral("title"), title},
        {QStringLiteral("date_rule"), dateRule},
        {QStringLiteral("date_from"), from},
        {QStringLiteral("date_to"), to},
        {QStringLiteral("task_id"), 77},
    };
}

const QDateTime kDay(QDate(2026, 11, 16), QTime(0, 0, 0));

} // namespace

class TestRuleMatching : public QObject
{
    Q_OBJECT

private slots:
    void title_data();
    void title();
    void date_data();
    void date();
    void applicationMustBeListedExactly();
    void invalidExpressionIsLogged();
    void presets_data();
    void presets();
    void customLeavesDatesAlone();
};

void TestRuleMatching::title_data()
{
    QTest::addColumn<QString>("mode");
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<QString>("title");
    QTest::addColumn<bool>("expected");

    const QString summary = QStringLiteral("Report - Summary");
    QTest::newRow("empty pattern, and") << "and"
                                        << "" << summary << true;
    QTest::newRow("empty pattern, or") << "or"
                                       << "" << summary << true;
    QTest::newRow("empty pattern, exact") << "exact"
                                          << "" << summary << true;
    QTest::newRow("empty pattern, regexp") << "regexp"
                                           << "" << summary << true;

    QTest::newRow("and, one word ignoring case") << "and"
                                                 << "report" << summary << true;
    QTest::newRow("and, all words") << "and"
                                    << "summary REPORT" << summary << true;
    QTest::newRow("and, one word missing") << "and"
                                           << "report budget" << summary << false;
    QTest::newRow("and, word inside a word") << "and"
                                             << "port" << summary << true;
    QTest::newRow("and, blanks only") << "and"
                                      << "   " << summary << true;
    QTest::newRow("or, blanks only") << "or"
                                     << "   " << summary << false;
    QTest::newRow("or, one of two") << "or"
                                    << "budget summary" << summary << true;
    QTest::newRow("or, none") << "or"
                              << "budget plan" << summary << false;

    const QString phrase = QStringLiteral("\"big dog\" cat");
    QTest::newRow("or, quoted phrase ignoring case") << "or" << phrase << "The Big Dog barks" << true;
    QTest::newRow("or, other word") << "or" << phrase << "a cat sleeps" << true;
    QTest::newRow("or, phrase words apart") << "or" << phrase << "big red dog" << false;
    QTest::newRow("and, phrase and word") << "and" << phrase << "big dog and cat" << true;
    QTest::newRow("and, phrase words apart") << "and" << phrase << "big red dog and cat" << false;
    QTest::newRow("and, unclosed quote taken word by word") << "and"
                                                            << "\"big dog"
                                                            << "dog big" << true;

    QTest::newRow("exact, case differs") << "exact"
                                         << "report - summary" << summary << false;
    QTest::newRow("exact, part only") << "exact"
                                      << "Report" << summary << false;
    QTest::newRow("exact, whole title") << "exact" << summary << summary << true;
    QTest::newRow("exact, quote in title") << "exact"
                                           << "it's \"done\""
                                           << "it's \"done\"" << true;

    QTest::newRow("regexp, unanchored ignoring case") << "regexp"
                                                      << "sum+ary$" << summary << true;
    QTest::newRow("regexp, no match") << "regexp"
                                      << "^Summary" << summary << false;
    QTest::newRow("regexp, invalid") << "regexp"
                                     << "(unclosed"
                                     << "(unclosed" << false;

    QTest::newRow("unknown mode matches") << "nearly"
                                          << "zzz" << summary << true;
}

void TestRuleMatching::title()
{
    QFETCH(QString, mode);
    QFETCH(QString, pattern);
    QFETCH(QString, title);
    QFETCH(bool, expected);
    if (mode == QLatin1String("regexp") && pattern == QLatin1String("(unclosed")) {
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("invalid regular expression")));
    }
    QCOMPARE(ruleApplies(rule(mode, pattern), title, QStringLiteral("12"), kDay), expected);
}

void TestRuleMatching::date_data()
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

void TestRuleMatching::date()
{
    QFETCH(QString, dateRule);
    QFETCH(QDate, day);
    QFETCH(bool, expected);
    const QVariantMap r = rule(QStringLiteral("and"), QString(), dateRule, QDate(2026, 3, 3), QDate(2026, 3, 10));
    // Groups are tested at the start of their day; the last second of a day still belongs to it.
    QCOMPARE(ruleApplies(r, QStringLiteral("x"), QStringLiteral("3"), QDateTime(day, QTime(0, 0, 0))), expected);
    if (dateRule == QLatin1String("before") || dateRule == QLatin1String("between")) {
        QCOMPARE(ruleApplies(r, QStringLiteral("x"), QStringLiteral("3"), QDateTime(day, QTime(23, 59, 59))), expected);
    }
}

void TestRuleMatching::applicationMustBeListedExactly()
{
    const QVariantMap r = rule(QStringLiteral("and"), QString());
    QVERIFY(ruleApplies(r, QStringLiteral("x"), QStringLiteral("3"), kDay));
    QVERIFY(!ruleApplies(r, QStringLiteral("x"), QStringLiteral("1"), kDay));
    QVERIFY(!ruleApplies(r, QStringLiteral("x"), QStringLiteral("03"), kDay));
    QVERIFY(!ruleApplies(r, QStringLiteral("x"), QString(), kDay));
    RuleMatcher matcher(r);
    QCOMPARE(matcher.taskId(), 77);
}

void TestRuleMatching::invalidExpressionIsLogged()
{
    // Logged once when the rule is prepared, however many titles it is then tested against.
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("invalid regular expression.*\\[a-")));
    RuleMatcher matcher(rule(QStringLiteral("regexp"), QStringLiteral("[a-")));
    QVERIFY(!matcher.matches(QStringLiteral("[a-"), QStringLiteral("3"), kDay));
    QVERIFY(!matcher.matches(QStringLiteral("anything"), QStringLiteral("3"), kDay));
}

void TestRuleMatching::presets_data()
{
    QTest::addColumn<QString>("value");
    QTest::addColumn<QDate>("today");
    QTest::addColumn<QDate>("from");
    QTest::addColumn<QDate>("to");

    const QDate sunday(2026, 11, 22);
    const QDate wednesday(2026, 11, 18);
    QTest::newRow("today") << "today" << wednesday << wednesday << wednesday;
    QTest::newRow("yesterday across a month")
        << "yesterday" << QDate(2026, 3, 1) << QDate(2026, 2, 28) << QDate(2026, 2, 28);
    QTest::newRow("3 days back") << "3 days back" << wednesday << QDate(2026, 11, 15) << wednesday;
    QTest::newRow("this week on a Sunday") << "this week" << sunday << QDate(2026, 11, 16) << sunday;
    QTest::newRow("this week on a Monday") << "this week" << QDate(2026, 11, 16) << QDate(2026, 11, 16) << sunday;
    QTest::newRow("this week on a Wednesday") << "this week" << wednesday << QDate(2026, 11, 16) << sunday;
    QTest::newRow("previous week on a Sunday") << "prev week" << sunday << QDate(2026, 11, 9) << QDate(2026, 11, 15);
    QTest::newRow("previous week on a Monday")
        << "prev week" << QDate(2026, 11, 16) << QDate(2026, 11, 9) << QDate(2026, 11, 15);
    QTest::newRow("this month, February of a leap year")
        << "this month" << QDate(2028, 2, 10) << QDate(2028, 2, 1) << QDate(2028, 2, 29);
    QTest::newRow("this month, December")
        << "this month" << QDate(2026, 12, 31) << QDate(2026, 12, 1) << QDate(2026, 12, 31);
    QTest::newRow("previous month on 31 March")
        << "prev month" << QDate(2026, 3, 31) << QDate(2026, 2, 1) << QDate(2026, 2, 28);
    QTest::newRow("previous month in January")
        << "prev month" << QDate(2027, 1, 15) << QDate(2026, 12, 1) << QDate(2026, 12, 31);
}

void TestRuleMatching::presets()
{
    QFETCH(QString, value);
    QFETCH(QDate, today);
    QFETCH(QDate, from);
    QFETCH(QDate, to);
    QDate gotFrom;
    QDate gotTo;
    QVERIFY(DatePresets::range(value, today, &gotFrom, &gotTo));
    QCOMPARE(gotFrom, from);
    QCOMPARE(gotTo, to);
}

void TestRuleMatching::customLeavesDatesAlone()
{
    QDate from(2020, 1, 1);
    QDate to(2020, 1, 2);
    QVERIFY(!DatePresets::range(QStringLiteral("custom"), QDate(2026, 11, 16), &from, &to));
    QCOMPARE(from, QDate(2020, 1, 1));
    QCOMPARE(to, QDate(2020, 1, 2));
    QCOMPARE(DatePresets::presets().size(), 8);
    QCOMPARE(DatePresets::presets().last().value, QStringLiteral("custom"));
}

QTEST_GUILESS_MAIN(TestRuleMatching)
#include "TestRuleMatching.moc"
