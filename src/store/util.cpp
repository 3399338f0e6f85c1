#include "store/util.h"

#include <QRegularExpression>

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
    return dateTime.toString(QString::fromLatin1(kSqlDateTimeFormat));
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

} // namespace util
