#include "ServiceStore.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QRandomGenerator>
#include <QSqlError>
#include <QSqlQuery>
#include <QUuid>

namespace {

const char* const schema[] = {
    "CREATE TABLE IF NOT EXISTS users (id INTEGER PRIMARY KEY, email TEXT NOT NULL UNIQUE, "
    "password TEXT NOT NULL, username TEXT NOT NULL, realname TEXT, api_key TEXT NOT NULL)",
    "CREATE TABLE IF NOT EXISTS tokens (token TEXT PRIMARY KEY, user_id INTEGER NOT NULL, expires TEXT NOT NULL)",
    "CREATE TABLE IF NOT EXISTS clients (id INTEGER PRIMARY KEY, name TEXT NOT NULL, user_id INTEGER NOT NULL)",
    "CREATE TABLE IF NOT EXISTS projects (id INTEGER PRIMARY KEY, name TEXT NOT NULL, client_id INTEGER NOT NULL)",
    "CREATE TABLE IF NOT EXISTS task_lists (id INTEGER PRIMARY KEY, name TEXT NOT NULL, project_id INTEGER NOT NULL)",
    "CREATE TABLE IF NOT EXISTS tasks (id INTEGER PRIMARY KEY, name TEXT NOT NULL, project_id INTEGER NOT NULL, "
    "tasklist_id INTEGER NOT NULL, complete INTEGER NOT NULL DEFAULT 0, billable INTEGER NOT NULL DEFAULT 0, "
    "description TEXT, price_per_hour TEXT, due_date TEXT)",
    // AUTOINCREMENT: a deleted entry's id is never handed out again, also after a restart, so a row
    // that still points at a deleted entry can never reach somebody else's time.
    "CREATE TABLE IF NOT EXISTS entries (id INTEGER PRIMARY KEY AUTOINCREMENT, user_id INTEGER NOT NULL, task_id "
    "INTEGER NOT NULL, "
    "date TEXT, duration TEXT, description TEXT, start TEXT, end_time TEXT, updated TEXT)",
};

const QString timeFormat = QStringLiteral("yyyy-MM-dd hh:mm:ss");

QVariant optionalId(const QJsonObject& object)
{
    // A seed may leave ids out; SQLite then numbers the rows itself.
    return object.contains(QStringLiteral("id")) ? QVariant(object.value(QStringLiteral("id")).toInteger())
                                                 : QVariant(QMetaType(QMetaType::LongLong));
}

bool requireText(const QJsonObject& object, const QString& key, const QString& where, QString* value, QString* error)
{
    const QJsonValue v = object.value(key);
    if (!v.isString() || v.toString().isEmpty()) {
        *error = QStringLiteral("%1: \"%2\" must be a non-empty text").arg(where, key);
        return false;
    }
    *value = v.toString();
    return true;
}

QString flag(const QJsonValue& v)
{
    if (v.isBool())
        return v.toBool() ? QStringLiteral("1") : QStringLiteral("0");
    return v.toInt() ? QStringLiteral("1") : QStringLiteral("0");
}

QString textOf(const QJsonValue& v)
{
    return v.isDouble() ? QString::number(v.toDouble()) : v.toString();
}

} // namespace

ServiceStore::ServiceStore()
    : connectionName(QStringLiteral("verrin-service-") + QUuid::createUuid().toString(QUuid::WithoutBraces))
{
}

ServiceStore::~ServiceStore()
{
    {
        QSqlDatabase db = QSqlDatabase::database(connectionName, false);
        if (db.isValid())
            db.close();
    }
    QSqlDatabase::removeDatabase(connectionName);
}

bool ServiceStore::open(const QString& path, QString* error)
{
    QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), connectionName);
    db.setDatabaseName(path.isEmpty() ? QStringLiteral(":memory:") : path);
    if (!db.open()) {
        *error = QStringLiteral("cannot open database %1: %2").arg(path, db.lastError().text());
        return false;
    }
    for (const char* statement : schema) {
        if (!exec(QString::fromLatin1(statement), {}, error))
            return false;
    }
    return true;
}

bool ServiceStore::exec(const QString& statement, const QVariantList& values, QString* error) const
{
    QSqlQuery query(QSqlDatabase::database(connectionName));
    query.prepare(statement);
    for (const QVariant& value : values)
        query.addBindValue(value);
    if (query.exec())
        return true;
    if (error)
        *error = query.lastError().text();
    qWarning("verrin-service: db error: %s", qPrintable(query.lastError().text()));
    return false;
}

bool ServiceStore::isEmpty() const
{
    QSqlQuery query(QSqlDatabase::database(connectionName));
    return query.exec(QStringLiteral("SELECT COUNT(*) FROM users")) && query.next() && query.value(0).toInt() == 0;
}

bool ServiceStore::readSeedFile(const QString& fileName, QJsonObject* seed, QString* error)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly)) {
        *error = QStringLiteral("cannot read seed file %1: %2").arg(fileName, file.errorString());
        return false;
    }
    QJsonParseError parseError;
    const QJsonDocument doc = QJsonDocument::fromJson(file.readAll(), &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        *error = QStringLiteral("seed file %1 is not valid JSON (offset %2): %3")
                     .arg(fileName)
                     .arg(parseError.offset)
                     .arg(parseError.errorString());
        return false;
    }
    if (!doc.isObject() || !doc.object().value(QStringLiteral("users")).isArray()) {
        *error = QStringLiteral("seed file %1 must be a JSON object with a \"users\" array").arg(fileName);
        return false;
    }
    *seed = doc.object();
    return true;
}

bool ServiceStore::loadSeed(const QJsonObject& seed, QString* error)
{
    QSqlDatabase db = QSqlDatabase::database(connectionName);
    db.transaction();
    const QJsonArray users = seed.value(QStringLiteral("users")).toArray();
    for (qsizetype u = 0; u < users.size(); ++u) {
        const QJsonObject user = users.at(u).toObject();
        const QString where = QStringLiteral("users[%1]").arg(u);
        QString email, password, apiKey;
        if (!requireText(user, QStringLiteral("email"), where, &email, error) ||
            !requireText(user, QStringLiteral("password"), where, &password, error) ||
            !requireText(user, QStringLiteral("api_key"), where, &apiKey, error)) {
            db.rollback();
            return false;
        }
        QSqlQuery query(db);
        query.prepare(QStringLiteral(
            "INSERT INTO users (id, email, password, username, realname, api_key) VALUES (?, ?, ?, ?, ?, ?)"));
        query.addBindValue(optionalId(user));
        query.addBindValue(email);
        query.addBindValue(password);
        query.addBindValue(user.value(QStringLiteral("username")).toString(email));
        query.addBindValue(user.value(QStringLiteral("realname")).toString());
        query.addBindValue(apiKey);
        if (!query.exec()) {
            *error = QStringLiteral("%1: %2").arg(where, query.lastError().text());
            db.rollback();
            return false;
        }
        const qint64 userId = query.lastInsertId().toLongLong();
        for (const QJsonValue& t : user.value(QStringLiteral("tokens")).toArray()) {
            const QJsonObject token = t.toObject();
            exec(QStringLiteral("INSERT INTO tokens (token, user_id, expires) VALUES (?, ?, ?)"),
                 {token.value(QStringLiteral("token")).toString(), userId,
                  token.value(QStringLiteral("expires")).toString(QStringLiteral("2999-12-31 23:59:59"))});
        }
        const QJsonArray clients = user.value(QStringLiteral("clients")).toArray();
        for (qsizetype c = 0; c < clients.size(); ++c) {
            if (!loadClient(clients.at(c).toObject(), userId, error)) {
                error->prepend(QStringLiteral("%1.clients[%2]").arg(where).arg(c));
                db.rollback();
                return false;
            }
        }
        for (const QJsonValue& e : user.value(QStringLiteral("entries")).toArray()) {
            const QJsonObject entry = e.toObject();
            Entry row;
            row.userId = userId;
            row.taskId = entry.value(QStringLiteral("task_id")).toInteger();
            row.date = entry.value(QStringLiteral("date")).toString();
            row.duration = textOf(entry.value(QStringLiteral("duration")));
            row.description = entry.value(QStringLiteral("description")).toString();
            row.start = entry.value(QStringLiteral("start")).toString();
            row.end = entry.value(QStringLiteral("end")).toString();
            row.id = entry.value(QStringLiteral("id")).toInteger();
            addEntry(row);
        }
    }
    return db.commit();
}

bool ServiceStore::loadClient(const QJsonObject& client, qint64 userId, QString* error)
{
    QString name;
    if (!requireText(client, QStringLiteral("name"), QString(), &name, error))
        return false;
    QSqlQuery query(QSqlDatabase::database(connectionName));
    query.prepare(QStringLiteral("INSERT INTO clients (id, name, user_id) VALUES (?, ?, ?)"));
    query.addBindValue(optionalId(client));
    query.addBindValue(name);
    query.addBindValue(userId);
    if (!query.exec()) {
        *error = QStringLiteral(": ") + query.lastError().text();
        return false;
    }
    const qint64 clientId = query.lastInsertId().toLongLong();
    const QJsonArray projects = client.value(QStringLiteral("projects")).toArray();
    for (qsizetype p = 0; p < projects.size(); ++p) {
        const QJsonObject project = projects.at(p).toObject();
        const QString where = QStringLiteral(".projects[%1]").arg(p);
        if (!requireText(project, QStringLiteral("name"), where, &name, error))
            return false;
        query.prepare(QStringLiteral("INSERT INTO projects (id, name, client_id) VALUES (?, ?, ?)"));
        query.addBindValue(optionalId(project));
        query.addBindValue(name);
        query.addBindValue(clientId);
        if (!query.exec()) {
            *error = where + QStringLiteral(": ") + query.lastError().text();
            return false;
        }
        const qint64 projectId = query.lastInsertId().toLongLong();
        const QJsonArray lists = project.value(QStringLiteral("task_lists")).toArray();
        for (qsizetype l = 0; l < lists.size(); ++l) {
            const QJsonObject list = lists.at(l).toObject();
            const QString listWhere = where + QStringLiteral(".task_lists[%1]").arg(l);
            if (!requireText(list, QStringLiteral("name"), listWhere, &name, error))
                return false;
            query.prepare(QStringLiteral("INSERT INTO task_lists (id, name, project_id) VALUES (?, ?, ?)"));
            query.addBindValue(optionalId(list));
            query.addBindValue(name);
            query.addBindValue(projectId);
            if (!query.exec()) {
                *error = listWhere + QStringLiteral(": ") + query.lastError().text();
                return false;
            }
            const qint64 listId = query.lastInsertId().toLongLong();
            const QJsonArray tasks = list.value(QStringLiteral("tasks")).toArray();
            for (qsizetype t = 0; t < tasks.size(); ++t) {
                const QJsonObject task = tasks.at(t).toObject();
                const QString taskWhere = listWhere + QStringLiteral(".tasks[%1]").arg(t);
                if (!requireText(task, QStringLiteral("name"), taskWhere, &name, error))
                    return false;
                query.prepare(QStringLiteral("INSERT INTO tasks (id, name, project_id, tasklist_id, complete, "
                                             "billable, description, price_per_hour, due_date) "
                                             "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)"));
                query.addBindValue(optionalId(task));
                query.addBindValue(name);
                query.addBindValue(projectId);
                query.addBindValue(listId);
                query.addBindValue(flag(task.value(QStringLiteral("complete"))));
                query.addBindValue(flag(task.value(QStringLiteral("billable"))));
                query.addBindValue(task.value(QStringLiteral("description")).toString());
                query.addBindValue(textOf(task.value(QStringLiteral("price_per_hour"))));
                query.addBindValue(task.value(QStringLiteral("due_date")).toString());
                if (!query.exec()) {
                    *error = taskWhere + QStringLiteral(": ") + query.lastError().text();
                    return false;
                }
            }
        }
    }
    return true;
}

QString ServiceStore::now()
{
    return QDateTime::currentDateTime().toString(timeFormat);
}

bool ServiceStore::findUserByLogin(const QString& email, const QString& password, User* user) const
{
    QSqlQuery query(QSqlDatabase::database(connectionName));
    query.prepare(QStringLiteral("SELECT id FROM users WHERE (email = ? OR username = ?) AND password = ?"));
    query.addBindValue(email);
    query.addBindValue(email);
    query.addBindValue(password);
    return query.exec() && query.next() && findUser(query.value(0).toLongLong(), user);
}

bool ServiceStore::findUser(qint64 id, User* user) const
{
    QSqlQuery query(QSqlDatabase::database(connectionName));
    query.prepare(QStringLiteral("SELECT id, email, username, realname, api_key FROM users WHERE id = ?"));
    query.addBindValue(id);
    if (!query.exec() || !query.next())
        return false;
    user->id = query.value(0).toLongLong();
    user->email = query.value(1).toString();
    user->username = query.value(2).toString();
    user->realname = query.value(3).toString();
    user->apiKey = query.value(4).toString();
    return true;
}

QString ServiceStore::createToken(qint64 userId, int lifetimeSeconds)
{
    QByteArray bytes(16, Qt::Uninitialized);
    QRandomGenerator::global()->fillRange(reinterpret_cast<quint32*>(bytes.data()), 4);
    const QString token = QString::fromLatin1(bytes.toHex());
    const QString expires = QDateTime::currentDateTime().addSecs(lifetimeSeconds).toString(timeFormat);
    exec(QStringLiteral("INSERT INTO tokens (token, user_id, expires) VALUES (?, ?, ?)"), {token, userId, expires});
    return token;
}

ServiceStore::TokenState ServiceStore::checkToken(const QString& token, qint64* userId) const
{
    QSqlQuery query(QSqlDatabase::database(connectionName));
    query.prepare(QStringLiteral("SELECT user_id, expires FROM tokens WHERE token = ?"));
    query.addBindValue(token);
    if (token.isEmpty() || !query.exec() || !query.next())
        return TokenState::Unknown;
    *userId = query.value(0).toLongLong();
    if (query.value(1).toString() <= now())
        return TokenState::Expired;
    return TokenState::Valid;
}

void ServiceStore::dropToken(const QString& token)
{
    exec(QStringLiteral("DELETE FROM tokens WHERE token = ?"), {token});
}

void ServiceStore::expireAllTokens()
{
    exec(QStringLiteral("UPDATE tokens SET expires = '2000-01-01 00:00:00'"), {});
}

QList<ServiceStore::Project> ServiceStore::projectsOfUser(qint64 userId, bool withTaskLists, bool withTasks) const
{
    QList<Project> projects;
    QSqlDatabase db = QSqlDatabase::database(connectionName);
    QSqlQuery query(db);
    query.prepare(QStringLiteral("SELECT projects.id, projects.name, clients.id, clients.name FROM projects "
                                 "JOIN clients ON clients.id = projects.client_id WHERE clients.user_id = ? "
                                 "ORDER BY projects.id"));
    query.addBindValue(userId);
    query.exec();
    while (query.next())
        projects.append({query.value(0).toLongLong(),
                         query.value(1).toString(),
                         query.value(2).toLongLong(),
                         query.value(3).toString(),
                         {}});
    if (!withTaskLists)
        return projects;
    for (Project& project : projects) {
        QSqlQuery lists(db);
        lists.prepare(QStringLiteral("SELECT id, name FROM task_lists WHERE project_id = ? ORDER BY id"));
        lists.addBindValue(project.id);
        lists.exec();
        while (lists.next()) {
            TaskList list{lists.value(0).toLongLong(), lists.value(1).toString(), project.id, {}};
            if (withTasks) {
                QSqlQuery tasks(db);
                tasks.prepare(QStringLiteral("SELECT id FROM tasks WHERE tasklist_id = ? ORDER BY id"));
                tasks.addBindValue(list.id);
                tasks.exec();
                while (tasks.next()) {
                    Task task;
                    if (findTask(tasks.value(0).toLongLong(), userId, &task))
                        list.tasks.append(task);
                }
            }
            project.taskLists.append(list);
        }
    }
    return projects;
}

bool ServiceStore::projectOwnedBy(qint64 projectId, qint64 userId) const
{
    QSqlQuery query(QSqlDatabase::database(connectionName));
    query.prepare(QStringLiteral("SELECT 1 FROM projects JOIN clients ON clients.id = projects.client_id "
                                 "WHERE projects.id = ? AND clients.user_id = ?"));
    query.addBindValue(projectId);
    query.addBindValue(userId);
    return query.exec() && query.next();
}

bool ServiceStore::taskListInProject(qint64 tasklistId, qint64 projectId) const
{
    QSqlQuery query(QSqlDatabase::database(connectionName));
    query.prepare(QStringLiteral("SELECT 1 FROM task_lists WHERE id = ? AND project_id = ?"));
    query.addBindValue(tasklistId);
    query.addBindValue(projectId);
    return query.exec() && query.next();
}

bool ServiceStore::findTask(qint64 taskId, qint64 userId, Task* task) const
{
    QSqlQuery query(QSqlDatabase::database(connectionName));
    query.prepare(QStringLiteral(
        "SELECT tasks.id, tasks.name, tasks.project_id, tasks.tasklist_id, tasks.complete, tasks.billable, "
        "tasks.description, tasks.price_per_hour, tasks.due_date FROM tasks "
        "JOIN projects ON projects.id = tasks.project_id JOIN clients ON clients.id = projects.client_id "
        "WHERE tasks.id = ? AND clients.user_id = ?"));
    query.addBindValue(taskId);
    query.addBindValue(userId);
    if (!query.exec() || !query.next())
        return false;
    task->id = query.value(0).toLongLong();
    task->name = query.value(1).toString();
    task->projectId = query.value(2).toLongLong();
    task->tasklistId = query.value(3).toLongLong();
    task->complete = query.value(4).toInt() != 0;
    task->billable = query.value(5).toInt() != 0;
    task->description = query.value(6).toString();
    task->pricePerHour = query.value(7).toString();
    task->dueDate = query.value(8).toString();
    return true;
}

qint64 ServiceStore::addTask(const Task& task)
{
    QSqlQuery query(QSqlDatabase::database(connectionName));
    query.prepare(QStringLiteral("INSERT INTO tasks (name, project_id, tasklist_id, complete, billable, description, "
                                 "price_per_hour, due_date) VALUES (?, ?, ?, ?, ?, ?, ?, ?)"));
    query.addBindValue(task.name);
    query.addBindValue(task.projectId);
    query.addBindValue(task.tasklistId);
    query.addBindValue(task.complete ? 1 : 0);
    query.addBindValue(task.billable ? 1 : 0);
    query.addBindValue(task.description);
    query.addBindValue(task.pricePerHour);
    query.addBindValue(task.dueDate);
    return query.exec() ? query.lastInsertId().toLongLong() : 0;
}

qint64 ServiceStore::addTaskList(const QString& name, qint64 projectId)
{
    QSqlQuery query(QSqlDatabase::database(connectionName));
    query.prepare(QStringLiteral("INSERT INTO task_lists (name, project_id) VALUES (?, ?)"));
    query.addBindValue(name);
    query.addBindValue(projectId);
    return query.exec() ? query.lastInsertId().toLongLong() : 0;
}

bool ServiceStore::setTaskComplete(qint64 taskId, bool complete)
{
    return exec(QStringLiteral("UPDATE tasks SET complete = ? WHERE id = ?"), {complete ? 1 : 0, taskId});
}

qint64 ServiceStore::addEntry(const Entry& entry)
{
    QSqlQuery query(QSqlDatabase::database(connectionName));
    query.prepare(QStringLiteral("INSERT INTO entries (id, user_id, task_id, date, duration, description, start, "
                                 "end_time, updated) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)"));
    query.addBindValue(entry.id > 0 ? QVariant(entry.id) : QVariant(QMetaType(QMetaType::LongLong)));
    query.addBindValue(entry.userId);
    query.addBindValue(entry.taskId);
    query.addBindValue(entry.date);
    query.addBindValue(entry.duration);
    query.addBindValue(entry.description);
    query.addBindValue(entry.start);
    query.addBindValue(entry.end);
    query.addBindValue(entry.updated.isEmpty() ? now() : entry.updated);
    return query.exec() ? query.lastInsertId().toLongLong() : 0;
}

bool ServiceStore::findEntry(qint64 entryId, qint64 userId, Entry* entry) const
{
    QSqlQuery query(QSqlDatabase::database(connectionName));
    query.prepare(QStringLiteral("SELECT id, user_id, task_id, date, duration, description, start, end_time, "
                                 "updated FROM entries WHERE id = ? AND user_id = ?"));
    query.addBindValue(entryId);
    query.addBindValue(userId);
    if (!query.exec() || !query.next())
        return false;
    entry->id = query.value(0).toLongLong();
    entry->userId = query.value(1).toLongLong();
    entry->taskId = query.value(2).toLongLong();
    entry->date = query.value(3).toString();
    entry->duration = query.value(4).toString();
    entry->description = query.value(5).toString();
    entry->start = query.value(6).toString();
    entry->end = query.value(7).toString();
    entry->updated = query.value(8).toString();
    return true;
}

bool ServiceStore::updateEntryTimes(qint64 entryId, const QString& start, const QString& end, const QString& duration)
{
    return exec(QStringLiteral("UPDATE entries SET start = ?, end_time = ?, duration = ?, updated = ? WHERE id = ?"),
                {start, end, duration, now(), entryId});
}

bool ServiceStore::deleteEntry(qint64 entryId)
{
    return exec(QStringLiteral("DELETE FROM entries WHERE id = ?"), {entryId});
}
