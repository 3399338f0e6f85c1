#pragma once

#include <QHash>
#include <QString>

#include <memory>

struct DayRow;

// The rows a day's tree shows with their times of day, by entry id: the day's timeline draws them,
// and the tree counts each row's seconds once, so a stretch announced again adds only its growth.
// A day of switching windows holds tens of thousands of short rows that share a few dozen texts, so
// a row keeps its times and a shared reference to its application and title, not copies of them.
class ShownRows
{
public:
    struct Texts
    {
        QString appPath;
        QString appName;
        QString title;
        bool operator==(const Texts& other) const = default;
    };

    struct Row
    {
        int startSecond = 0; // of the row's day
        int seconds = 0;
        std::shared_ptr<const Texts> texts;
    };

    // Adds the row or replaces the one with its id.
    void insert(const DayRow& row);
    void remove(int id) { rows.remove(id); }
    bool contains(int id) const { return rows.contains(id); }
    void clear();
    qsizetype size() const { return rows.size(); }
    Row value(int id) const { return rows.value(id); }
    const QHash<int, Row>& all() const { return rows; }

private:
    QHash<int, Row> rows;
    // Every text the day's rows have used; a title comes back many times in a day.
    QHash<Texts, std::shared_ptr<const Texts>> known;
};

size_t qHash(const ShownRows::Texts& texts, size_t seed = 0);
