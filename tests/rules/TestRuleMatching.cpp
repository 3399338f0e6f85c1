#include "TestKit.h"
#include "rules/DatePresets.h"
#include "rules/RuleMatcher.h"

namespace {

QVariantMap rule(const QString& titleRule, const QString& title, const QString& dateRule = QStringLiteral("always"),
                 const QDate& from = QDate(), const QDate& to = QDate())
{
    return {{"app_ids", QStringList{"3", "12"}},
            {"title_rule", titleRule},
            {"title", title},
            {"date_rule", dateRule},
            {"date_from", from},
            {"date_to", to}};
}

const QDateTime kDay(QDate(2026, 11, 16), QTime(0, 0, 0));

struct TitleCase
{
    QString mode;
    QString pattern;
    QString title;
    bool expected;
    QString app = QStringLiteral("12");
};

} // namespace

Q_DECLARE_METATYPE(TitleCase)

class TestRuleMatching : public QObject
{
    Q_OBJECT

private slots:
    void title_data()
    {
        QTest::addColumn<TitleCase>("c");
        const auto row = [](const char* tag, const TitleCase& c) { QTest::newRow(tag) << c; };
        const QString summary = QStringLiteral("Report - Summary");
        row("empty pattern matches in any mode", {"or", "", summary, true});
        row("and, all words", {"and", "summary REPORT", summary, true});
        row("and, one word missing", {"and", "report budget", summary, false});
        row("and, blanks only", {"and", "   ", summary, true});
        row("or, blanks only", {"or", "   ", summary, false});
        row("or, one of two", {"or", "budget summary", summary, true});
        row("or, none", {"or", "budget plan", summary, false});
        row("and, quoted phrase words apart", {"and", "\"big dog\" cat", "big red dog and cat", false});
        row("exact, case differs", {"exact", "report - summary", summary, false});
        row("exact, part only", {"exact", "Report", summary, false});
        row("exact, whole title", {"exact", summary, summary, true});
        row("regexp, unanchored ignoring case", {"regexp", "sum+ary$", summary, true});
        row("regexp, no match", {"regexp", "^Summary", summary, false});
        row("regexp, invalid", {"regexp", "(unclosed", "(unclosed", false});
        row("unknown mode matches", {"nearly", "zzz", summary, true});
        // The application must be one of the rule's, compared as the exact id text.
        row("other application", {"and", "", summary, false, "1"});
        row("application id with a leading zero", {"and", "", summary, false, "03"});
    }

    void title()
    {
        QFETCH(TitleCase, c);
        QCOMPARE(ruleApplies(rule(c.mode, c.pattern), c.title, c.app, kDay), c.expected);
    }

    void date()
    {
        // Each date rule against these days, with the rule's dates the 3rd and the 10th of March: "+" applies.
        const QList<QDate> days{QDate(1999, 1, 1),  QDate(2026, 3, 2),  QDate(2026, 3, 3), QDate(2026, 3, 7),
                                QDate(2026, 3, 10), QDate(2026, 3, 11), QDate(2027, 1, 1)};
        const QList<QPair<QString, QString>> rows{
            {"after", "--+++++"}, {"before", "+++++--"}, {"between", "--+++--"}, {"always", "+++++++"}};
        for (const auto& [dateRule, expected] : rows) {
            const QVariantMap r =
                rule(QStringLiteral("and"), QString(), dateRule, QDate(2026, 3, 3), QDate(2026, 3, 10));
            // Groups are tested at the start of their day; the last second of a day still belongs to it.
            for (const QTime& time : {QTime(0, 0, 0), QTime(23, 59, 59)}) {
                QString got;
                for (const QDate& day : days) {
                    got += ruleApplies(r, QStringLiteral("x"), QStringLiteral("3"), QDateTime(day, time)) ? '+' : '-';
                }
                QCOMPARE(dateRule + ' ' + got, dateRule + ' ' + expected);
            }
        }
    }

    void presets()
    {
        const QDate sunday(2026, 11, 22);
        const QDate monday(2026, 11, 16);
        const QDate wednesday(2026, 11, 18);
        const struct
        {
            const char* value;
            QDate today;
            QDate from;
            QDate to;
        } rows[] = {
            {"today", wednesday, wednesday, wednesday},
            {"yesterday", QDate(2026, 3, 1), QDate(2026, 2, 28), QDate(2026, 2, 28)},
            {"3 days back", wednesday, QDate(2026, 11, 15), wednesday},
            {"this week", sunday, monday, sunday},
            {"this week", monday, monday, sunday},
            {"prev week", sunday, QDate(2026, 11, 9), QDate(2026, 11, 15)},
            {"this month", QDate(2028, 2, 10), QDate(2028, 2, 1), QDate(2028, 2, 29)},
            {"prev month", QDate(2026, 3, 31), QDate(2026, 2, 1), QDate(2026, 2, 28)},
            {"prev month", QDate(2027, 1, 15), QDate(2026, 12, 1), QDate(2026, 12, 31)},
            {"custom", wednesday, QDate(2020, 1, 1), QDate(2020, 1, 2)}, // no range: the dates stay
        };
        for (const auto& r : rows) {
            QDate from(2020, 1, 1);
            QDate to(2020, 1, 2);
            const bool isRange = DatePresets::range(QString::fromLatin1(r.value), r.today, &from, &to);
            const QString what = QStringLiteral("%1 on %2").arg(QLatin1String(r.value), r.today.toString(Qt::ISODate));
            QVERIFY2(isRange == (QLatin1String(r.value) != QLatin1String("custom")), qPrintable(what));
            QVERIFY2(from == r.from && to == r.to, qPrintable(what + ": " + from.toString() + " - " + to.toString()));
        }
    }
};

VERRIN_TEST(TestRuleMatching)
#include "TestRuleMatching.moc"
