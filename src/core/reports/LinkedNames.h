#pragma once

#include <QString>
#include <QVariantMap>

// Names and parents of the service's projects, task lists and tasks, from the catalogue maps in the
// registry. When a names map is empty (catalogue not loaded) the names stored with the entry are
// used; when it is filled, its value is used, and an id it lacks gives an empty name.
class LinkedNames
{
public:
    static LinkedNames fromRegistry();

    QString projectName(const QString& id, const QString& stored) const { return pick(projects, id, stored); }
    QString tasklistName(const QString& id, const QString& stored) const { return pick(tasklists, id, stored); }
    QString taskName(const QString& id, const QString& stored) const { return pick(tasks, id, stored); }
    // The parents of a task from the catalogue, else the ids stored with the entry.
    QString parentProject(const QString& taskId, const QString& stored) const;
    QString parentTasklist(const QString& taskId, const QString& stored) const;

private:
    static QString pick(const QVariantMap& map, const QString& id, const QString& stored);

    QVariantMap projects;
    QVariantMap tasklists;
    QVariantMap tasks;
    QVariantMap parentProjects;
    QVariantMap parentTasklists;
};
