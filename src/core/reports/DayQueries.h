#pragma once

#include <QDate>
#include <QDateTime>
#include <QHash>
#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>

#include <functional>

// One row of a day as the trees use it: an entry with its application and, for linked rows, the
// service's ids and the names stored at link time.
struct DayRow
{
    int id = 0;
    int appId = 0;
    QString appPath;
    QString appName;
    QString title;
    // Start day and hour, and the real seconds from start to end (a daylight-saving change between
    // them counts as it happened).
    QDate day;
    int hour = 0;
    int startSecond = 0; // of the start day
    int seconds = 0;
    QString taskId;
    QString projectId;
    QString tasklistId;
    QString taskName;
    QString projectName;
    QString tasklistName;

    void setTimes(const QDateTime& start, const QDateTime& end);
    // From the stored texts "yyyy-MM-dd hh:mm:ss", without building date-time objects (the day
    // trees read thousands of rows, and local date-times are costly to make).
    void setTimes(const QString& start, const QString& end);
    void setTimes(QByteArrayView start, QByteArrayView end);
};

// One recorded interval as the timestamps dialog lists it.
class QSqlQuery;

struct Interval
{
    QString title;
    QString appPath;
    QDateTime start;
    QDateTime end;
    int seconds = 0;
};

// The statements behind the day trees, on the default connection. Titles, paths, filter words and
// dates are always bound; only id lists built from integers are pasted into the text.
class DayQueries
{
public:
    // Calls `each` for every row of the day, in the order the database returns them. With a
    // threshold only titles whose day total for their application reaches it are read.
    static bool readDay(const QDate& date, bool linked, int hideUnder, const QString& filter,
                        const std::function<void(const DayRow&)>& each, QString* error);
    // Real seconds of the rows a query selected, its first two columns being start and end texts.
    static qint64 sumOfRows(QSqlQuery& query);
    static int totalTimeForTitle(const QDate& date, const QString& title, int appId, bool linked,
                                 const QString& filter);
    // The application's rows with that title on that day (id, times and link columns; no names of
    // the application, which the caller knows).
    static QList<DayRow> rowsWithTitle(const QDate& date, const QString& title, int appId, bool linked);
    static bool readEntry(int entryId, DayRow* row);
    // The unlinked intervals of a day in start order, limited to an application path and a title
    // when they are not empty. Both are bound, so quotes in them are harmless.
    static QList<Interval> timestamps(const QDate& date, const QString& appPath, const QString& title, bool* ok);
    // Path and name of every application by id.
    static QHash<int, QPair<QString, QString>> applications();
    static bool updateEntriesTitle(const QStringList& ids, const QString& title);
    static bool deleteEntries(const QStringList& ids);
    // "1,2,3" from the texts that are whole numbers; anything else is left out.
    static QString idList(const QStringList& ids);
    // Wall-clock seconds from start to end, the way the database sums them.
    static int seconds(const QDateTime& start, const QDateTime& end);
};
