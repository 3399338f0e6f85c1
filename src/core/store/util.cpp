#include "store/util.h"

#include <QList>
#include <QPair>
#include <QRegularExpression>
#include <QTimeZone>

#include <algorithm>

namespace util {

namespace {
QDate dateFromParts(const QString& text)
{
    const QStringList parts = text.split(QLatin1Char('-'));
    const int year = parts.value(0).toInt(nullptr, 10);
    const int month = parts.value(1).toInt(nullptr, 10);
    const int day = parts.value(2).toInt(nullptr, 10);
    return QDate(year, month, day);
}
} // namespace

QDateTime sql_to_datetime(const QString& text)
{
    if (text.isEmpty()) {
        return QDateTime();
    }
    const int blank = text.indexOf(QLatin1Char(' '));
    const QString datePart = blank < 0 ? text : text.left(blank);
    const QString timePart = blank < 0 ? QString() : text.mid(blank + 1);
    const QStringList hms = timePart.split(QLatin1Char(':'));
    const QTime time(hms.value(0).toInt(nullptr, 10), hms.value(1).toInt(nullptr, 10), hms.value(2).toInt(nullptr, 10),
                     0);
    return QDateTime(dateFromParts(datePart), time);
}

QDate sql_to_date(const QString& text)
{
    if (text.isEmpty()) {
        return QDate();
    }
    return dateFromParts(text);
}

QString datetime_to_sql(const QDateTime& dateTime)
{
    // Every stored stretch writes two of these. Qt's pattern formatting (like its asprintf) cost some
    // 9,000 instructions each; this costs under a thousand.
    const QDate date = dateTime.date();
    if (!dateTime.isValid() || date.year() < 1 || date.year() > 9999) {
        return dateTime.toString(QString::fromLatin1(kSqlDateTimeFormat));
    }
    const QTime time = dateTime.time();
    char text[] = "yyyy-MM-dd hh:mm:ss";
    const auto put = [&text](int at, int value, int digits) {
        for (int i = digits - 1; i >= 0; --i, value /= 10) {
            text[at + i] = char('0' + value % 10);
        }
    };
    put(0, date.year(), 4);
    put(5, date.month(), 2);
    put(8, date.day(), 2);
    put(11, time.hour(), 2);
    put(14, time.minute(), 2);
    put(17, time.second(), 2);
    return QString::fromLatin1(text, sizeof(text) - 1);
}

QString date_to_sql(const QDate& date)
{
    return date.toString(QString::fromLatin1(kSqlDateFormat));
}

QString implode(const QString& separator, const QList<QVariant>& items)
{
    QStringList texts;
    texts.reserve(items.size());
    for (const QVariant& item : items) {
        texts << item.toString();
    }
    return texts.join(separator);
}

QString implode(const QString& separator, const QStringList& items)
{
    return items.join(separator);
}

QString clock_time(qint64 seconds)
{
    return QStringLiteral("%1:%2:%3")
        .arg(seconds / 3600)
        .arg(seconds % 3600 / 60, 2, 10, QLatin1Char('0'))
        .arg(seconds % 60, 2, 10, QLatin1Char('0'));
}

QString format_time(int seconds)
{
    const int hours = seconds / 3600;
    const int rest = seconds - hours * 3600;
    const int minutes = rest / 60;
    const int secs = rest - minutes * 60;
    if (hours != 0) {
        return QStringLiteral("%1 h %2 m %3 s").arg(hours).arg(minutes).arg(secs);
    }
    if (minutes != 0) {
        return QStringLiteral("%1 m %2 s").arg(minutes).arg(secs);
    }
    return QStringLiteral("%1 s").arg(secs);
}

QStringList extractWords(const QString& pattern)
{
    static const QRegularExpression word(QStringLiteral("([^\\s\"]+)\\s|\"([^\"]+)\""),
                                         QRegularExpression::CaseInsensitiveOption);
    const QString text = pattern + QLatin1Char(' ');
    QStringList words;
    qsizetype pos = 0;
    while (pos < text.size()) {
        const QRegularExpressionMatch match = word.match(text, pos);
        if (!match.hasMatch()) {
            break;
        }
        if (!match.captured(1).isEmpty()) {
            words << match.captured(1);
        }
        if (!match.captured(2).isEmpty()) {
            words << match.captured(2);
        }
        pos = match.capturedStart() + match.capturedLength();
    }
    return words;
}

namespace {
constexpr qint64 kUnixEpochJulianDay = 2440588;
// No zone is further than 14 hours from UTC.
constexpr qint64 kMaxOffset = 14 * 3600;

// The system zone's changes of offset, as UTC seconds, read once: the day trees measure thousands
// of rows and must not ask the zone database for each one.
const QList<qint64>& zoneChanges()
{
    static const QList<qint64> changes = [] {
        QList<qint64> list;
        const QTimeZone zone = QTimeZone::systemTimeZone();
        if (!zone.hasTransitions()) {
            return list;
        }
        const auto transitions = zone.transitions(QDateTime(QDate(1970, 1, 1), QTime(0, 0), Qt::UTC),
                                                  QDateTime(QDate(2100, 1, 1), QTime(0, 0), Qt::UTC));
        for (const QTimeZone::OffsetData& data : transitions) {
            list << data.atUtc.toSecsSinceEpoch();
        }
        return list;
    }();
    return changes;
}

int offsetAt(qint64 utc)
{
    return QTimeZone::systemTimeZone().offsetFromUtc(QDateTime::fromSecsSinceEpoch(utc, Qt::UTC));
}

// The two UTC readings of a local wall-clock time given as seconds since the epoch as if it were
// UTC: equal unless the clock passed that time twice. A time in the hour skipped in spring reads
// with the offset from before the change.
QPair<qint64, qint64> readingsOfLocal(qint64 wall)
{
    const int before = offsetAt(wall - kMaxOffset - 3600);
    const int after = offsetAt(wall + kMaxOffset + 3600);
    const qint64 early = wall - before;
    const qint64 late = wall - after;
    const bool earlyFits = offsetAt(early) == before;
    const bool lateFits = offsetAt(late) == after;
    if (earlyFits && lateFits) {
        return {std::min(early, late), std::max(early, late)};
    }
    const qint64 only = lateFits ? late : early;
    return {only, only};
}
} // namespace

qint64 elapsed_seconds(qint64 startJulianDay, int startSecond, qint64 endJulianDay, int endSecond)
{
    const qint64 startWall = (startJulianDay - kUnixEpochJulianDay) * 86400 + startSecond;
    const qint64 endWall = (endJulianDay - kUnixEpochJulianDay) * 86400 + endSecond;
    const QList<qint64>& changes = zoneChanges();
    // Without a change of offset near the stretch, the wall clock difference is the real one.
    const auto near = std::lower_bound(changes.cbegin(), changes.cend(), std::min(startWall, endWall) - kMaxOffset);
    if (near == changes.cend() || *near > std::max(startWall, endWall) + kMaxOffset) {
        return std::max<qint64>(0, endWall - startWall);
    }
    const QPair<qint64, qint64> start = readingsOfLocal(startWall);
    const QPair<qint64, qint64> end = readingsOfLocal(endWall);
    // The recorder never lets a row span a change of offset, so where both ends can be read with one
    // offset, they are. Otherwise (a row written before that, or a stretch the clock went back over)
    // the shortest reading that is not negative.
    qint64 sameOffset = -1;
    qint64 shortest = -1;
    for (const qint64 from : {start.first, start.second}) {
        for (const qint64 to : {end.first, end.second}) {
            if (to < from) {
                continue;
            }
            if (sameOffset < 0 && offsetAt(from) == offsetAt(to)) {
                sameOffset = to - from;
            }
            shortest = shortest < 0 ? to - from : std::min(shortest, to - from);
        }
    }
    return sameOffset >= 0 ? sameOffset : std::max<qint64>(0, shortest);
}

qint64 elapsed_seconds(const QDateTime& start, const QDateTime& end)
{
    if (!start.isValid() || !end.isValid()) {
        return 0;
    }
    return elapsed_seconds(start.date().toJulianDay(), start.time().msecsSinceStartOfDay() / 1000,
                           end.date().toJulianDay(), end.time().msecsSinceStartOfDay() / 1000);
}

QString one_line(const QString& text)
{
    if (!text.contains(QLatin1Char('\n')) && !text.contains(QLatin1Char('\r'))) {
        return text;
    }
    QString line = text;
    line.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    line.replace(QLatin1Char('\r'), QLatin1Char('\n'));
    line.replace(QLatin1Char('\n'), QStringLiteral(" \u23CE "));
    return line;
}

QString csv_cell(const QString& text)
{
    static const QString kFormulaStarts = QStringLiteral("=+-@\t\r");
    QString cell = text;
    if (!cell.isEmpty() && kFormulaStarts.contains(cell.front())) {
        cell.prepend(QLatin1Char('\''));
    }
    const bool blankEdge = !cell.isEmpty() && (cell.front().isSpace() || cell.back().isSpace());
    if (!blankEdge && !cell.contains(QLatin1Char(',')) && !cell.contains(QLatin1Char('"')) &&
        !cell.contains(QLatin1Char('\n')) && !cell.contains(QLatin1Char('\r'))) {
        return cell;
    }
    cell.replace(QLatin1Char('"'), QStringLiteral("\"\""));
    return QLatin1Char('"') + cell + QLatin1Char('"');
}

} // namespace util
