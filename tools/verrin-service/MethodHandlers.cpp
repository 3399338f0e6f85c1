#include "MethodHandlers.h"

#include "XmlReply.h"

#include <QDateTime>
#include <QHash>

namespace {

const QString timeFormat = QStringLiteral("yyyy-MM-dd hh:mm:ss");
const QString dateFormat = QStringLiteral("yyyy-MM-dd");

struct MethodInfo
{
    const char* verb;
    QByteArray (MethodHandlers::*handler)(const ServiceCall&);
};

QByteArray refuse(int code, const QString& message)
{
    return MethodHandlers::errorReply(QString::number(code), message);
}

QByteArray missing(const QString& name)
{
    return refuse(MethodHandlers::MissingParameter, QStringLiteral("Missing parameter: ") + name);
}

QByteArray invalid(const QString& name)
{
    return refuse(MethodHandlers::InvalidValue, QStringLiteral("Invalid value for ") + name);
}

// Checks that every named parameter is present; fills `refusal` with the first one missing.
bool requireAll(const ServiceCall& call, std::initializer_list<const char*> names, QByteArray* refusal)
{
    for (const char* name : names) {
        if (!call.has(QLatin1String(name))) {
            *refusal = missing(QLatin1String(name));
            return false;
        }
    }
    return true;
}

bool toId(const QString& text, qint64* id)
{
    bool ok = false;
    *id = text.toLongLong(&ok);
    return ok && *id > 0;
}

bool toFlag(const QString& text, bool* flag)
{
    const QString t = text.toLower();
    if (t == QLatin1String("1") || t == QLatin1String("true")) {
        *flag = true;
        return true;
    }
    if (t == QLatin1String("0") || t == QLatin1String("false")) {
        *flag = false;
        return true;
    }
    return false;
}

void writeUser(QXmlStreamWriter& xml, const ServiceStore::User& user)
{
    xml.writeStartElement(QStringLiteral("user"));
    xml.writeAttribute(QStringLiteral("id"), QString::number(user.id));
    xml.writeAttribute(QStringLiteral("username"), user.username);
    xml.writeAttribute(QStringLiteral("realname"), user.realname);
    xml.writeAttribute(QStringLiteral("email"), user.email);
    xml.writeEndElement();
}

void writeTask(QXmlStreamWriter& xml, const ServiceStore::Task& task)
{
    xml.writeStartElement(QStringLiteral("task"));
    xml.writeAttribute(QStringLiteral("id"), QString::number(task.id));
    xml.writeAttribute(QStringLiteral("name"), task.name);
    xml.writeAttribute(QStringLiteral("project_id"), QString::number(task.projectId));
    xml.writeAttribute(QStringLiteral("tasklist_id"), QString::number(task.tasklistId));
    xml.writeAttribute(QStringLiteral("complete"), task.complete ? QStringLiteral("1") : QStringLiteral("0"));
    xml.writeAttribute(QStringLiteral("billable"), task.billable ? QStringLiteral("1") : QStringLiteral("0"));
    xml.writeAttribute(QStringLiteral("description"), task.description);
    xml.writeAttribute(QStringLiteral("price_per_hour"), task.pricePerHour);
    xml.writeAttribute(QStringLiteral("due_date"), task.dueDate);
    xml.writeEndElement();
}

void writeProject(QXmlStreamWriter& xml, const ServiceStore::Project& project, bool withTaskLists)
{
    xml.writeStartElement(QStringLiteral("project"));
    xml.writeAttribute(QStringLiteral("id"), QString::number(project.id));
    xml.writeAttribute(QStringLiteral("name"), project.name);
    xml.writeAttribute(QStringLiteral("client_id"), QString::number(project.clientId));
    // The client's name both as attribute and as text, so either way of reading it finds it.
    xml.writeStartElement(QStringLiteral("client"));
    xml.writeAttribute(QStringLiteral("id"), QString::number(project.clientId));
    xml.writeAttribute(QStringLiteral("name"), project.clientName);
    xml.writeCharacters(project.clientName);
    xml.writeEndElement();
    if (withTaskLists) {
        xml.writeStartElement(QStringLiteral("task_lists"));
        for (const ServiceStore::TaskList& list : project.taskLists) {
            xml.writeStartElement(QStringLiteral("task_list"));
            xml.writeAttribute(QStringLiteral("id"), QString::number(list.id));
            xml.writeAttribute(QStringLiteral("name"), list.name);
            xml.writeAttribute(QStringLiteral("project_id"), QString::number(project.id));
            xml.writeStartElement(QStringLiteral("tasks"));
            for (const ServiceStore::Task& task : list.tasks)
                writeTask(xml, task);
            xml.writeEndElement();
            xml.writeEndElement();
        }
        xml.writeEndElement();
    }
    xml.writeEndElement();
}

void writeEntry(QXmlStreamWriter& xml, const ServiceStore::Entry& entry)
{
    xml.writeStartElement(QStringLiteral("entry"));
    xml.writeAttribute(QStringLiteral("id"), QString::number(entry.id));
    xml.writeAttribute(QStringLiteral("updated"), entry.updated);
    xml.writeAttribute(QStringLiteral("task_id"), QString::number(entry.taskId));
    xml.writeTextElement(QStringLiteral("date"), entry.date);
    xml.writeTextElement(QStringLiteral("duration"), entry.duration);
    xml.writeTextElement(QStringLiteral("start"), entry.start);
    xml.writeTextElement(QStringLiteral("end"), entry.end);
    xml.writeTextElement(QStringLiteral("description"), entry.description);
    xml.writeEndElement();
}

const QHash<QString, MethodInfo>& methodTable()
{
    static const QHash<QString, MethodInfo> table = {
        {QStringLiteral("verrin.test.null"), {"GET", &MethodHandlers::testNull}},
        {QStringLiteral("verrin.auth.login"), {"GET", &MethodHandlers::login}},
        {QStringLiteral("verrin.auth.checkToken"), {"GET", &MethodHandlers::checkToken}},
        {QStringLiteral("verrin.auth.logout"), {"GET", &MethodHandlers::logout}},
        {QStringLiteral("verrin.projects.findByUser"), {"GET", &MethodHandlers::findProjects}},
        {QStringLiteral("verrin.tasks.add"), {"POST", &MethodHandlers::addTask}},
        {QStringLiteral("verrin.tasklists.add"), {"POST", &MethodHandlers::addTaskList}},
        {QStringLiteral("verrin.tasks.update"), {"POST", &MethodHandlers::updateTask}},
        {QStringLiteral("verrin.entries.addBulk"), {"POST", &MethodHandlers::addEntries}},
        {QStringLiteral("verrin.entries.getInfo"), {"GET", &MethodHandlers::entryInfo}},
        {QStringLiteral("verrin.entries.update"), {"POST", &MethodHandlers::updateEntry}},
        {QStringLiteral("verrin.entries.delete"), {"POST", &MethodHandlers::deleteEntry}},
    };
    return table;
}

} // namespace

QString ServiceCall::value(const QString& name) const
{
    for (const auto& param : params) {
        if (param.first == name)
            return param.second;
    }
    return QString();
}

bool ServiceCall::has(const QString& name) const
{
    for (const auto& param : params) {
        if (param.first == name)
            return true;
    }
    return false;
}

QStringList ServiceCall::values(const QString& name) const
{
    QStringList found;
    for (const auto& param : params) {
        if (param.first == name)
            found.append(param.second);
    }
    return found;
}

MethodHandlers::MethodHandlers(ServiceStore& store, int tokenLifetimeSeconds)
    : store(store), tokenLifetime(tokenLifetimeSeconds)
{
}

bool MethodHandlers::isKnownMethod(const QString& method)
{
    return methodTable().contains(method);
}

QByteArray MethodHandlers::errorReply(const QString& code, const QString& message)
{
    XmlReply reply(QStringLiteral("error"));
    reply.xml().writeStartElement(QStringLiteral("error"));
    reply.xml().writeAttribute(QStringLiteral("code"), code);
    reply.xml().writeAttribute(QStringLiteral("message"), message);
    reply.xml().writeEndElement();
    return reply.finish();
}

QByteArray MethodHandlers::bareErrorReply()
{
    return XmlReply(QStringLiteral("error")).finish();
}

QByteArray MethodHandlers::handle(const ServiceCall& call)
{
    const auto it = methodTable().constFind(call.method);
    if (it == methodTable().constEnd())
        return refuse(UnknownMethod, QStringLiteral("Unknown method: ") + call.method);
    if (call.verb != QLatin1String(it->verb)) {
        return refuse(WrongVerb,
                      QStringLiteral("Method %1 must be called with %2").arg(call.method, QLatin1String(it->verb)));
    }
    return (this->*(it->handler))(call);
}

bool MethodHandlers::authenticate(const ServiceCall& call, std::initializer_list<const char*> required,
                                  ServiceStore::User* user, QByteArray* refusal)
{
    if (!requireAll(call, {"api_key", "auth_token"}, refusal))
        return false;
    qint64 userId = 0;
    switch (store.checkToken(call.value(QStringLiteral("auth_token")), &userId)) {
    case ServiceStore::TokenState::Unknown:
        *refusal = refuse(InvalidToken, QStringLiteral("Invalid auth token"));
        return false;
    case ServiceStore::TokenState::Expired:
        *refusal = refuse(ExpiredToken, QStringLiteral("Auth token expired"));
        return false;
    case ServiceStore::TokenState::Valid:
        break;
    }
    if (!store.findUser(userId, user)) {
        *refusal = refuse(UnknownUser, QStringLiteral("Unknown user"));
        return false;
    }
    if (call.value(QStringLiteral("api_key")) != user->apiKey) {
        *refusal = refuse(InvalidApiKey, QStringLiteral("Invalid API key"));
        return false;
    }
    return requireAll(call, required, refusal);
}

bool MethodHandlers::findOwnedEntry(const ServiceCall& call, const ServiceStore::User& user, qint64* entryId,
                                    ServiceStore::Entry* entry, QByteArray* refusal)
{
    if (toId(call.value(QStringLiteral("entry_id")), entryId) && store.findEntry(*entryId, user.id, entry))
        return true;
    *refusal = refuse(UnknownEntry, QStringLiteral("Unknown entry: ") + call.value(QStringLiteral("entry_id")));
    return false;
}

QByteArray MethodHandlers::testNull(const ServiceCall& call)
{
    // The connectivity test: it answers whatever key it is given (the program may not know its
    // key yet when it first asks).
    XmlReply reply(QStringLiteral("ok"));
    reply.textElement(QStringLiteral("api_key"), call.value(QStringLiteral("api_key")));
    return reply.finish();
}

QByteArray MethodHandlers::login(const ServiceCall& call)
{
    QByteArray refusal;
    if (!requireAll(call, {"email", "password"}, &refusal))
        return refusal;
    ServiceStore::User user;
    if (!store.findUserByLogin(call.value(QStringLiteral("email")), call.value(QStringLiteral("password")), &user))
        return refuse(BadCredentials, QStringLiteral("Invalid email or password"));
    XmlReply reply(QStringLiteral("ok"));
    reply.textElement(QStringLiteral("token"), store.createToken(user.id, tokenLifetime));
    reply.textElement(QStringLiteral("api_key"), user.apiKey);
    writeUser(reply.xml(), user);
    return reply.finish();
}

QByteArray MethodHandlers::checkToken(const ServiceCall& call)
{
    QByteArray refusal;
    if (!requireAll(call, {"auth_token"}, &refusal))
        return refusal;
    qint64 userId = 0;
    const ServiceStore::TokenState state = store.checkToken(call.value(QStringLiteral("auth_token")), &userId);
    if (state == ServiceStore::TokenState::Unknown)
        return refuse(InvalidToken, QStringLiteral("Invalid auth token"));
    if (state == ServiceStore::TokenState::Expired)
        return refuse(ExpiredToken, QStringLiteral("Auth token expired"));
    ServiceStore::User user;
    if (!store.findUser(userId, &user))
        return refuse(UnknownUser, QStringLiteral("Unknown user"));
    XmlReply reply(QStringLiteral("ok"));
    reply.textElement(QStringLiteral("token"), call.value(QStringLiteral("auth_token")));
    reply.textElement(QStringLiteral("api_key"), user.apiKey);
    writeUser(reply.xml(), user);
    return reply.finish();
}

QByteArray MethodHandlers::logout(const ServiceCall& call)
{
    QByteArray refusal;
    if (!requireAll(call, {"api_key", "auth_token"}, &refusal))
        return refusal;
    qint64 userId = 0;
    const QString token = call.value(QStringLiteral("auth_token"));
    if (store.checkToken(token, &userId) == ServiceStore::TokenState::Unknown)
        return refuse(InvalidToken, QStringLiteral("Invalid auth token"));
    store.dropToken(token);
    return XmlReply(QStringLiteral("ok")).finish();
}

QByteArray MethodHandlers::findProjects(const ServiceCall& call)
{
    ServiceStore::User user;
    QByteArray refusal;
    if (!authenticate(call, {"user_id"}, &user, &refusal))
        return refusal;
    if (call.value(QStringLiteral("user_id")) != QString::number(user.id))
        return refuse(UnknownUser, QStringLiteral("Unknown user: ") + call.value(QStringLiteral("user_id")));
    const bool withTaskLists = call.value(QStringLiteral("include_task_lists")) == QLatin1String("1");
    const bool withTasks = withTaskLists && call.value(QStringLiteral("include_tasks")) == QLatin1String("1");
    XmlReply reply(QStringLiteral("ok"));
    reply.xml().writeStartElement(QStringLiteral("projects"));
    for (const ServiceStore::Project& project : store.projectsOfUser(user.id, withTaskLists, withTasks))
        writeProject(reply.xml(), project, withTaskLists);
    reply.xml().writeEndElement();
    return reply.finish();
}

QByteArray MethodHandlers::addTask(const ServiceCall& call)
{
    ServiceStore::User user;
    QByteArray refusal;
    if (!authenticate(call, {"name", "project_id", "tasklist_id"}, &user, &refusal))
        return refusal;
    ServiceStore::Task task;
    task.name = call.value(QStringLiteral("name"));
    task.description = call.value(QStringLiteral("description"));
    if (task.name.trimmed().isEmpty())
        return invalid(QStringLiteral("name"));
    if (!toId(call.value(QStringLiteral("project_id")), &task.projectId) ||
        !store.projectOwnedBy(task.projectId, user.id))
        return refuse(UnknownProject, QStringLiteral("Unknown project: ") + call.value(QStringLiteral("project_id")));
    if (!toId(call.value(QStringLiteral("tasklist_id")), &task.tasklistId) ||
        !store.taskListInProject(task.tasklistId, task.projectId))
        return refuse(UnknownTaskList,
                      QStringLiteral("Unknown task list: ") + call.value(QStringLiteral("tasklist_id")));
    if (call.has(QStringLiteral("billable")) && !toFlag(call.value(QStringLiteral("billable")), &task.billable))
        return invalid(QStringLiteral("billable"));
    task.id = store.addTask(task);
    XmlReply reply(QStringLiteral("ok"));
    writeTask(reply.xml(), task);
    return reply.finish();
}

QByteArray MethodHandlers::addTaskList(const ServiceCall& call)
{
    ServiceStore::User user;
    QByteArray refusal;
    if (!authenticate(call, {"name", "project_id"}, &user, &refusal))
        return refusal;
    const QString name = call.value(QStringLiteral("name"));
    if (name.trimmed().isEmpty())
        return invalid(QStringLiteral("name"));
    qint64 projectId = 0;
    if (!toId(call.value(QStringLiteral("project_id")), &projectId) || !store.projectOwnedBy(projectId, user.id))
        return refuse(UnknownProject, QStringLiteral("Unknown project: ") + call.value(QStringLiteral("project_id")));
    const qint64 id = store.addTaskList(name, projectId);
    XmlReply reply(QStringLiteral("ok"));
    reply.xml().writeStartElement(QStringLiteral("tasklist"));
    reply.xml().writeAttribute(QStringLiteral("id"), QString::number(id));
    reply.xml().writeAttribute(QStringLiteral("name"), name);
    reply.xml().writeAttribute(QStringLiteral("project_id"), QString::number(projectId));
    reply.xml().writeEndElement();
    return reply.finish();
}

QByteArray MethodHandlers::updateTask(const ServiceCall& call)
{
    ServiceStore::User user;
    QByteArray refusal;
    if (!authenticate(call, {"task_id"}, &user, &refusal))
        return refusal;
    qint64 taskId = 0;
    ServiceStore::Task task;
    if (!toId(call.value(QStringLiteral("task_id")), &taskId) || !store.findTask(taskId, user.id, &task))
        return refuse(UnknownTask, QStringLiteral("Unknown task: ") + call.value(QStringLiteral("task_id")));
    if (call.has(QStringLiteral("complete"))) {
        if (!toFlag(call.value(QStringLiteral("complete")), &task.complete))
            return invalid(QStringLiteral("complete"));
        store.setTaskComplete(taskId, task.complete);
    }
    XmlReply reply(QStringLiteral("ok"));
    writeTask(reply.xml(), task);
    return reply.finish();
}

QByteArray MethodHandlers::addEntries(const ServiceCall& call)
{
    ServiceStore::User user;
    QByteArray refusal;
    if (!authenticate(call, {"date", "duration", "task_id"}, &user, &refusal))
        return refusal;
    // Several entries may travel in one call, each as its own run of date, duration, task_id and
    // description.
    const QStringList dates = call.values(QStringLiteral("date"));
    const QStringList durations = call.values(QStringLiteral("duration"));
    const QStringList taskIds = call.values(QStringLiteral("task_id"));
    const QStringList descriptions = call.values(QStringLiteral("description"));
    if (durations.size() != dates.size() || taskIds.size() != dates.size())
        return invalid(QStringLiteral("entries (date, duration and task_id must come together)"));
    QList<ServiceStore::Entry> entries;
    for (qsizetype i = 0; i < dates.size(); ++i) {
        ServiceStore::Entry entry;
        entry.userId = user.id;
        entry.date = dates.at(i);
        entry.duration = durations.at(i);
        entry.description = descriptions.value(i);
        const QDate date = QDate::fromString(entry.date, dateFormat);
        if (!date.isValid())
            return invalid(QStringLiteral("date"));
        bool ok = false;
        const qint64 seconds = entry.duration.toLongLong(&ok);
        if (!ok || seconds < 0)
            return invalid(QStringLiteral("duration"));
        ServiceStore::Task task;
        if (!toId(taskIds.at(i), &entry.taskId) || !store.findTask(entry.taskId, user.id, &task))
            return refuse(UnknownTask, QStringLiteral("Unknown task: ") + taskIds.at(i));
        // Time that arrives as a bare duration is booked from the start of its day.
        const QDateTime start(date, QTime(0, 0));
        entry.start = start.toString(timeFormat);
        entry.end = start.addSecs(seconds).toString(timeFormat);
        entries.append(entry);
    }
    XmlReply reply(QStringLiteral("ok"));
    for (ServiceStore::Entry& entry : entries) {
        entry.updated = ServiceStore::now();
        entry.id = store.addEntry(entry);
        reply.xml().writeStartElement(QStringLiteral("entry"));
        reply.xml().writeAttribute(QStringLiteral("id"), QString::number(entry.id));
        reply.xml().writeAttribute(QStringLiteral("updated"), entry.updated);
        reply.xml().writeEndElement();
    }
    return reply.finish();
}

QByteArray MethodHandlers::entryInfo(const ServiceCall& call)
{
    ServiceStore::User user;
    QByteArray refusal;
    if (!authenticate(call, {"entry_id"}, &user, &refusal))
        return refusal;
    qint64 entryId = 0;
    ServiceStore::Entry entry;
    if (!findOwnedEntry(call, user, &entryId, &entry, &refusal))
        return refusal;
    XmlReply reply(QStringLiteral("ok"));
    writeEntry(reply.xml(), entry);
    return reply.finish();
}

QByteArray MethodHandlers::updateEntry(const ServiceCall& call)
{
    ServiceStore::User user;
    QByteArray refusal;
    if (!authenticate(call, {"entry_id", "start", "end"}, &user, &refusal))
        return refusal;
    qint64 entryId = 0;
    ServiceStore::Entry entry;
    if (!findOwnedEntry(call, user, &entryId, &entry, &refusal))
        return refusal;
    const QDateTime start = QDateTime::fromString(call.value(QStringLiteral("start")), timeFormat);
    const QDateTime end = QDateTime::fromString(call.value(QStringLiteral("end")), timeFormat);
    if (!start.isValid())
        return invalid(QStringLiteral("start"));
    if (!end.isValid() || end < start)
        return invalid(QStringLiteral("end"));
    store.updateEntryTimes(entryId, call.value(QStringLiteral("start")), call.value(QStringLiteral("end")),
                           QString::number(start.secsTo(end)));
    store.findEntry(entryId, user.id, &entry);
    XmlReply reply(QStringLiteral("ok"));
    writeEntry(reply.xml(), entry);
    return reply.finish();
}

QByteArray MethodHandlers::deleteEntry(const ServiceCall& call)
{
    ServiceStore::User user;
    QByteArray refusal;
    if (!authenticate(call, {"entry_id"}, &user, &refusal))
        return refusal;
    qint64 entryId = 0;
    ServiceStore::Entry entry;
    if (!findOwnedEntry(call, user, &entryId, &entry, &refusal))
        return refusal;
    store.deleteEntry(entryId);
    return XmlReply(QStringLiteral("ok")).finish();
}
