#include "reports/DayReport.h"

#include "app/Registry.h"
#include "reports/TreeModel.h"
#include "store/util.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSqlDatabase>

namespace {

struct Tree
{
    QString key; // "unlinked" or "linked"
    const TreeModel* model;
};

QString oneLine(QString text)
{
    return text.replace(QLatin1Char('\n'), QLatin1Char(' ')).replace(QLatin1Char('\r'), QLatin1Char(' '));
}

int seconds(const TreeItem* item)
{
    return item->hiddenData(QStringLiteral("time")).toInt();
}

QString type(const TreeItem* item)
{
    return item->hiddenData(QStringLiteral("type")).toString();
}

void textNodes(const TreeItem* parent, int depth, QString* out)
{
    for (int i = 0; i < parent->childCount(); ++i) {
        const TreeItem* item = parent->child(i);
        const QString name = item->data(0).toString();
        *out += QString(depth * 2, QLatin1Char(' ')) + (name.isEmpty() ? QStringLiteral("(unnamed)") : oneLine(name)) +
                QStringLiteral("  ") + util::format_time(seconds(item)) + QLatin1Char('\n');
        textNodes(item, depth + 1, out);
    }
}

QString renderText(const QDate& date, const QList<Tree>& trees)
{
    QString out = QStringLiteral("VerrinPlus day report: ") + util::date_to_sql(date) + QLatin1Char('\n');
    for (const Tree& tree : trees) {
        out += QLatin1Char('\n') + tree.model->headerData(0, Qt::Horizontal).toString() + QStringLiteral(": ") +
               util::format_time(tree.model->getTotalTime()) + QLatin1Char('\n');
        if (tree.model->root()->childCount() == 0) {
            out += QStringLiteral("  (nothing)\n");
        }
        textNodes(tree.model->root(), 1, &out);
    }
    return out;
}

QJsonArray jsonNodes(const TreeItem* parent)
{
    QJsonArray nodes;
    for (int i = 0; i < parent->childCount(); ++i) {
        const TreeItem* item = parent->child(i);
        QJsonObject node;
        const QString nodeType = type(item);
        node.insert(QStringLiteral("type"), nodeType);
        node.insert(QStringLiteral("name"), item->data(0).toString());
        node.insert(QStringLiteral("seconds"), seconds(item));
        node.insert(QStringLiteral("time"), util::format_time(seconds(item)));
        if (nodeType == QLatin1String("app")) {
            node.insert(QStringLiteral("app_id"), item->hiddenData(QStringLiteral("app_id")).toInt());
            node.insert(QStringLiteral("app_path"), item->hiddenData(QStringLiteral("app_path")).toString());
        } else if (nodeType == QLatin1String("hour")) {
            node.insert(QStringLiteral("hour"), item->hiddenData(QStringLiteral("hour")).toInt());
        } else if (nodeType == QLatin1String("entry")) {
            QJsonArray ids;
            for (int id : item->entryIds()) {
                ids.append(id);
            }
            node.insert(QStringLiteral("entries"), ids);
        } else {
            node.insert(QStringLiteral("id"), item->hiddenData(QStringLiteral("id")).toString());
        }
        if (item->childCount() > 0) {
            node.insert(QStringLiteral("children"), jsonNodes(item));
        }
        nodes.append(node);
    }
    return nodes;
}

QString renderJson(const QDate& date, const QList<Tree>& trees)
{
    QJsonObject document;
    document.insert(QStringLiteral("date"), util::date_to_sql(date));
    for (const Tree& tree : trees) {
        QJsonObject object;
        object.insert(QStringLiteral("title"), tree.model->headerData(0, Qt::Horizontal).toString());
        object.insert(QStringLiteral("total_seconds"), tree.model->getTotalTime());
        object.insert(QStringLiteral("total"), util::format_time(tree.model->getTotalTime()));
        object.insert(QStringLiteral("nodes"), jsonNodes(tree.model->root()));
        document.insert(tree.key, object);
    }
    return QString::fromUtf8(QJsonDocument(document).toJson(QJsonDocument::Indented));
}

void csvNodes(const QString& treeKey, const TreeItem* parent, int depth, const QStringList& path, QString* out)
{
    for (int i = 0; i < parent->childCount(); ++i) {
        const TreeItem* item = parent->child(i);
        const QString name = item->data(0).toString();
        *out += QStringList{treeKey,
                            QString::number(depth),
                            type(item),
                            util::csv_cell(path.join(QStringLiteral(" > "))),
                            util::csv_cell(name),
                            QString::number(seconds(item)),
                            util::format_time(seconds(item))}
                    .join(QLatin1Char(',')) +
                QStringLiteral("\r\n");
        csvNodes(treeKey, item, depth + 1, path + QStringList{name}, out);
    }
}

QString renderCsv(const QList<Tree>& trees)
{
    QString out = QStringLiteral("tree,depth,type,path,name,seconds,time\r\n");
    for (const Tree& tree : trees) {
        out += QStringList{tree.key,
                           QStringLiteral("0"),
                           QStringLiteral("total"),
                           QString(),
                           util::csv_cell(tree.model->headerData(0, Qt::Horizontal).toString()),
                           QString::number(tree.model->getTotalTime()),
                           util::format_time(tree.model->getTotalTime())}
                   .join(QLatin1Char(',')) +
               QStringLiteral("\r\n");
        csvNodes(tree.key, tree.model->root(), 1, QStringList(), &out);
    }
    return out;
}

} // namespace

DayReport::Options DayReport::Options::fromRegistry()
{
    Options options;
    options.hideUnder = Registry::instance()->hideUnder();
    options.groupByHour = Registry::instance()->groupByHour();
    return options;
}

bool DayReport::parseFormat(const QString& name, Format* format)
{
    const QString lower = name.toLower();
    if (lower == QLatin1String("text")) {
        *format = Format::Text;
    } else if (lower == QLatin1String("json")) {
        *format = Format::Json;
    } else if (lower == QLatin1String("csv")) {
        *format = Format::Csv;
    } else {
        return false;
    }
    return true;
}

QString DayReport::render(const QDate& date, Format format, QString* error)
{
    return render(date, format, Options::fromRegistry(), error);
}

QString DayReport::render(const QDate& date, Format format, const Options& options, QString* error)
{
    if (!date.isValid()) {
        if (error) {
            *error = QStringLiteral("Invalid date");
        }
        return QString();
    }
    if (!QSqlDatabase::database(QLatin1String(QSqlDatabase::defaultConnection), false).isOpen()) {
        if (error) {
            *error = QStringLiteral("The database is not open");
        }
        return QString();
    }
    TreeModel unlinked(false);
    unlinked.setGroupByHour(options.groupByHour);
    unlinked.setFilter(options.filter);
    unlinked.initTree(date, options.hideUnder);
    TreeModel linked(true);
    linked.initTree(date, options.hideUnder);
    const QList<Tree> trees{{QStringLiteral("unlinked"), &unlinked}, {QStringLiteral("linked"), &linked}};
    switch (format) {
    case Format::Json:
        return renderJson(date, trees);
    case Format::Csv:
        return renderCsv(trees);
    case Format::Text:
        break;
    }
    return renderText(date, trees);
}
