#pragma once

#include "TempDataFolder.h"
#include "app/Registry.h"
#include "reports/TreeModel.h"
#include "store/Database.h"

#include <QSqlQuery>
#include <QTest>
#include <QVariant>
#include <QWidget>

#include <algorithm>
#include <memory>

// A real SQLite file in a temporary data folder, with helpers to write rows the way the recorder
// and the linking code leave them.
struct DayFixture
{
    std::unique_ptr<TempDataFolder> folder;
    std::unique_ptr<Database> database;

    bool open()
    {
        folder = std::make_unique<TempDataFolder>();
        database = std::make_unique<Database>();
        QString error;
        return database->open(folder->path() + QStringLiteral("/verrinplus.sqlite"), &error);
    }

    void close()
    {
        database.reset();
        folder.reset();
        Registry::drop();
    }

    // Runs a statement with its values bound in order; the id of an inserted row.
    static int exec(const QString& sql, const QVariantList& values)
    {
        QSqlQuery query;
        query.prepare(sql);
        for (const QVariant& value : values) {
            query.addBindValue(value);
        }
        query.exec();
        return query.lastInsertId().toInt();
    }

    static int addApp(const QString& path, const QString& name)
    {
        return exec(QStringLiteral("INSERT INTO applications (path, name) VALUES (?, ?)"), {path, name});
    }

    static int addEntry(int appId, const QString& title, const QString& start, const QString& end)
    {
        return exec(
            QStringLiteral("INSERT INTO entries (title, application_id, start_time, end_time) VALUES (?, ?, ?, ?)"),
            {title, appId, start, end});
    }

    static void setEnd(int entryId, const QString& end)
    {
        exec(QStringLiteral("UPDATE entries SET end_time = ? WHERE id = ?"), {end, entryId});
    }

    static void link(int entryId, int taskId, int projectId, int tasklistId, const QString& taskName = QString(),
                     const QString& projectName = QString(), const QString& tasklistName = QString())
    {
        exec(QStringLiteral(
                 "UPDATE entries SET ext_task_id = ?, ext_entry_id = 1, ext_project_id = ?, ext_tasklist_id = ?, "
                 "ext_task_name = ?, ext_project_name = ?, ext_tasklist_name = ? WHERE id = ?"),
             {taskId, projectId, tasklistId, taskName, projectName, tasklistName, entryId});
    }

    // Shows a widget at a size and waits until it is on screen.
    static bool shown(QWidget* widget, int width, int height)
    {
        widget->resize(width, height);
        widget->show();
        return QTest::qWaitForWindowExposed(widget);
    }

    // The rows under parent, each as the texts of its first columns joined by '|'.
    static QStringList rows(const QAbstractItemModel* model, int columns = 1, const QModelIndex& parent = {})
    {
        QStringList list;
        for (int row = 0; row < model->rowCount(parent); ++row) {
            QStringList cells;
            for (int column = 0; column < columns; ++column) {
                cells << model->index(row, column, parent).data().toString();
            }
            list << cells.join(QLatin1Char('|'));
        }
        return list;
    }

    // A compact picture of a tree: "name=seconds[children]" with siblings sorted by name (the
    // database does not promise an order), entries as "title=seconds#ids".
    static QString outline(const TreeItem* parent)
    {
        QStringList nodes;
        for (int i = 0; i < parent->childCount(); ++i) {
            const TreeItem* item = parent->child(i);
            QString text =
                item->data(0).toString() + QLatin1Char('=') + item->hiddenData(QStringLiteral("time")).toString();
            if (item->hiddenData(QStringLiteral("type")).toString() == QLatin1String("entry")) {
                QStringList ids = item->entryIdTexts();
                std::sort(ids.begin(), ids.end(),
                          [](const QString& a, const QString& b) { return a.toInt() < b.toInt(); });
                text += QLatin1Char('#') + ids.join(QLatin1Char(','));
            }
            if (item->childCount() > 0) {
                text += QLatin1Char('[') + outline(item) + QLatin1Char(']');
            }
            nodes << text;
        }
        std::sort(nodes.begin(), nodes.end());
        return nodes.join(QStringLiteral("; "));
    }
};
