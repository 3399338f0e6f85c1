#pragma once

#include <QDateTime>
#include <QJsonObject>
#include <QList>
#include <QSqlDatabase>
#include <QString>

// The service's own data: users, session tokens, the catalogue of clients, projects, task lists and
// tasks, and time entries. Kept in SQLite on a connection of its own so the service could share a
// process with the program's database without the two meeting.
class ServiceStore
{
public:
    struct User
    {
        qint64 id = 0;
        QString email;
        QString username;
        QString realname;
        QString apiKey;
    };

    struct Task
    {
        qint64 id = 0;
        QString name;
        qint64 projectId = 0;
        qint64 tasklistId = 0;
        bool complete = false;
        bool billable = false;
        QString description;
        QString pricePerHour;
        QString dueDate;
    };

    struct TaskList
    {
        qint64 id = 0;
        QString name;
        qint64 projectId = 0;
        QList<Task> tasks;
    };

    struct Project
    {
        qint64 id = 0;
        QString name;
        qint64 clientId = 0;
        QString clientName;
        QList<TaskList> taskLists;
    };

    struct Entry
    {
        qint64 id = 0;
        qint64 userId = 0;
        qint64 taskId = 0;
        QString date;
        QString duration;
        QString description;
        QString start;
        QString end;
        QString updated;
    };

    ServiceStore();
    ~ServiceStore();
    ServiceStore(const ServiceStore&) = delete;
    ServiceStore& operator=(const ServiceStore&) = delete;

    // `path` empty means an in-memory database.
    bool open(const QString& path, QString* error);
    bool isEmpty() const;
    // Loads users, tokens, clients with their projects, task lists and tasks, and entries from a
    // JSON seed; on a malformed seed nothing is half-written.
    bool loadSeed(const QJsonObject& seed, QString* error);
    static bool readSeedFile(const QString& fileName, QJsonObject* seed, QString* error);

    // Sessions.
    bool findUserByLogin(const QString& email, const QString& password, User* user) const;
    bool findUser(qint64 id, User* user) const;
    QString createToken(qint64 userId, int lifetimeSeconds);
    enum class TokenState
    {
        Valid,
        Unknown,
        Expired
    };
    TokenState checkToken(const QString& token, qint64* userId) const;
    void dropToken(const QString& token);
    void expireAllTokens();

    // Catalogue.
    QList<Project> projectsOfUser(qint64 userId, bool withTaskLists, bool withTasks) const;
    bool projectOwnedBy(qint64 projectId, qint64 userId) const;
    bool taskListInProject(qint64 tasklistId, qint64 projectId) const;
    bool findTask(qint64 taskId, qint64 userId, Task* task) const;
    qint64 addTask(const Task& task);
    qint64 addTaskList(const QString& name, qint64 projectId);
    bool setTaskComplete(qint64 taskId, bool complete);

    // Time entries; descriptions and dates are kept exactly as the client sent them.
    qint64 addEntry(const Entry& entry);
    bool findEntry(qint64 entryId, qint64 userId, Entry* entry) const;
    bool updateEntryTimes(qint64 entryId, const QString& start, const QString& end, const QString& duration);
    bool deleteEntry(qint64 entryId);

    static QString now();

private:
    bool exec(const QString& statement, const QVariantList& values, QString* error = nullptr) const;
    bool loadClient(const QJsonObject& client, qint64 userId, QString* error);

    QString connectionName;
};
