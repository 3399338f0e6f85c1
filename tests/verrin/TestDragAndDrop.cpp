#include "../views/DayFixture.h"
#include "CatalogueSample.h"
#include "FakePrompter.h"
#include "ModalDialogHelper.h"
#include "store/util.h"
#include "verrin/EntriesDragPayload.h"
#include "views/TimeTree.h"

#include <QDrag>
#include <QDragEnterEvent>
#include <QMimeData>
#include <QPlainTextEdit>
#include <QtEndian>

namespace {

// The unlinked view with the drag's own event loop replaced by the test's `target`.
class DragProbeTree : public TimeTree
{
public:
    using TimeTree::startDrag;
    std::function<Qt::DropAction(QDrag*)> target;
    int drags = 0;
    EntriesDragPayload payload;

protected:
    Qt::DropAction execDrag(QDrag* drag) override
    {
        ++drags;
        payload.fromMimeData(drag->mimeData());
        return target ? target(drag) : Qt::IgnoreAction;
    }
};

// Enter, move and drop over `item` as the window system sends them; says which the tree accepted.
QString dropOn(ProjectsTree& tree, QTreeWidgetItem* item, const QMimeData* data,
               Qt::KeyboardModifiers modifiers = Qt::NoModifier, Qt::DropAction* action = nullptr)
{
    tree.scrollToItem(item);
    const QPoint pos = tree.visualItemRect(item).center();
    QDragEnterEvent enter(pos, Qt::MoveAction, data, Qt::LeftButton, modifiers);
    QCoreApplication::sendEvent(tree.viewport(), &enter);
    QDragMoveEvent move(pos, Qt::MoveAction, data, Qt::LeftButton, modifiers);
    QCoreApplication::sendEvent(tree.viewport(), &move);
    QDropEvent drop(pos, Qt::MoveAction, data, Qt::LeftButton, modifiers);
    QCoreApplication::sendEvent(tree.viewport(), &drop);
    if (action)
        *action = drop.isAccepted() ? drop.dropAction() : Qt::IgnoreAction;
    return QStringList{enter.isAccepted() ? "enter" : "", move.isAccepted() ? "move" : "",
                       drop.isAccepted() ? "drop" : ""}
        .join(' ')
        .simplified();
}

// The payload by hand: big-endian 32-bit words, texts as byte length and UTF-16 big-endian units.
QByteArray words(std::initializer_list<quint32> values)
{
    QByteArray bytes;
    for (quint32 value : values) {
        char raw[4];
        qToBigEndian(value, raw);
        bytes.append(raw, 4);
    }
    return bytes;
}

QByteArray text(const QString& text)
{
    QByteArray bytes = words({quint32(text.size() * 2)});
    for (QChar c : text)
        bytes.append(char(c.unicode() >> 8)).append(char(c.unicode() & 0xff));
    return bytes;
}

QByteArray handBuilt(const QStringList& ids, const QString& notes, qint32 seconds)
{
    QByteArray bytes = words({quint32(ids.size())});
    for (const QString& id : ids)
        bytes += text(id);
    return bytes + text(notes) + words({quint32(seconds)});
}

const QRegularExpression kPayloadRefused(QStringLiteral("^refusing dragged entries payload"));

} // namespace

// Dragging recorded time from the unlinked view onto tasks of the projects tree.
class TestDragAndDrop : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        QVERIFY(fixture.open());
        const int editor = DayFixture::addApp("/e", "Editor");
        const int shell = DayFixture::addApp("/s", "Shell");
        DayFixture::addEntry(editor, "notes", "2026-11-15 09:00:00", "2026-11-15 09:02:03"); // 1: 123 s
        DayFixture::addEntry(editor, "notes", "2026-11-15 11:00:00", "2026-11-15 11:00:10"); // 2: 10 s
        DayFixture::addEntry(editor, "plan", "2026-11-15 09:30:00", "2026-11-15 09:31:00");  // 3: 60 s
        DayFixture::addEntry(shell, "make", "2026-11-15 10:00:00", "2026-11-15 10:00:30");   // 4: 30 s
        model = std::make_unique<TreeModel>(false);
        view = std::make_unique<DragProbeTree>();
        view->setModel(model.get());
        model->initTree(QDate(2026, 11, 15), 0);
        view->expandAll();

        Registry::instance()->setLoggedIn(true);
        projects = std::make_unique<ProjectsTree>();
        projects->setPrompter(&prompter);
        projects->showCatalogueReply(true, sampleCatalogueReply());
        projects->resize(400, 900);
        projects->show();
        QVERIFY(QTest::qWaitForWindowExposed(projects.get()));
    }

    void cleanup()
    {
        cancelModalHandlers();
        projects.reset();
        view.reset();
        model.reset();
        fixture.close();
    }

    void payloadFollowsTheLayoutAndRefusesAnythingElse()
    {
        // Unset notes travel as the empty text, not the null marker.
        QCOMPARE((EntriesDragPayload{{"3", "4"}, QString(), 90}.encode()), handBuilt({"3", "4"}, "", 90));
        const EntriesDragPayload sent{{"12", "345"}, QStringLiteral("Ä note – 日本 😀"), 2147483647};
        const QByteArray whole = handBuilt(sent.entryIds, sent.notes, sent.seconds);
        QCOMPARE(sent.encode(), whole);
        EntriesDragPayload read;
        QVERIFY(read.decode(whole));
        QCOMPARE(read, sent);

        // Every truncation, leaving what was read before alone.
        const EntriesDragPayload kept{{"99"}, QString(), 0};
        for (qsizetype length = 0; length < whole.size(); ++length) {
            QTest::ignoreMessage(QtWarningMsg, kPayloadRefused);
            EntriesDragPayload payload = kept;
            QString error;
            QVERIFY2(!payload.decode(whole.left(length), &error), qPrintable(QString::number(length)));
            QVERIFY(!error.isEmpty());
            QCOMPARE(payload, kept);
        }
        const QByteArray malformed[] = {
            words({0xffffffffu}) + text("1"),                          // count far beyond the bytes
            words({1, 3}) + QByteArray("\0\x31\0", 3) + words({0, 0}), // odd byte length
            words({1, 0xffffffffu, 0, 0}),                             // null id
            handBuilt({"12a"}, QString(), 1),
            handBuilt({"0"}, QString(), 1),
            handBuilt({"7"}, QString(), -5),
            handBuilt({"7"}, QString(), 5) + QByteArray(1, '\0'), // a byte too many
        };
        for (const QByteArray& bytes : malformed) {
            QTest::ignoreMessage(QtWarningMsg, kPayloadRefused);
            EntriesDragPayload payload;
            QVERIFY2(!payload.decode(bytes), bytes.toHex().constData());
            QVERIFY(payload.entryIds.isEmpty());
        }
        EntriesDragPayload payload;
        QVERIFY(!payload.fromMimeData(nullptr));
        QMimeData plain;
        plain.setText(QStringLiteral("12"));
        QString error;
        QVERIFY(!payload.fromMimeData(&plain, &error));
        QVERIFY(error.contains("application/x-verrin"));
    }

    // A move onto a task takes the rows away (the Ctrl-drop tests below); every other outcome keeps them.
    void dragCarriesTheWidenedSelection_data()
    {
        QTest::addColumn<QString>("selection");
        QTest::addColumn<QStringList>("ids");
        QTest::addColumn<int>("seconds");
        QTest::addColumn<int>("result"); // -1: moved after the day was rebuilt during the drag
        QTest::newRow("an application and one of its entries count once")
            << QString("/e+plan") << QStringList{"1", "2", "3"} << 193 << int(Qt::IgnoreAction);
        // The rebuilt rows are still unlinked in the database, so they stay.
        QTest::newRow("moved after a rebuild") << QString("/s+plan") << QStringList{"3", "4"} << 90 << -1;
    }

    void dragCarriesTheWidenedSelection()
    {
        QFETCH(QString, selection);
        QFETCH(QStringList, ids);
        QFETCH(int, seconds);
        QFETCH(int, result);
        QModelIndexList indexes;
        for (const QString& part : selection.split('+')) {
            indexes << (part.startsWith('/') ? app(part) : model->findItemIndex("entry", "title", part));
            QVERIFY(indexes.last().isValid());
        }
        view->target = [&](QDrag*) {
            if (result < 0)
                model->refreshTree();
            return result < 0 ? Qt::MoveAction : Qt::DropAction(result);
        };
        select(indexes);
        view->startDrag(Qt::MoveAction);
        QCOMPARE(view->drags, 1);
        QStringList sent = view->payload.entryIds;
        std::sort(sent.begin(), sent.end());
        QCOMPARE(sent, ids);
        QCOMPARE(view->payload.seconds, seconds);
        QVERIFY(view->payload.notes.isEmpty());
        QCOMPARE(model->getTotalTime(), 223);
        QCOMPARE(DayFixture::outline(model->root()),
                 QStringLiteral("Editor=193[notes=133#1,2; plan=60#3]; Shell=30[make=30#4]"));
    }

    void noDragWithoutEntries()
    {
        view->startDrag(Qt::MoveAction); // nothing selected
        // An hour node stands only for the entries chosen under it.
        model->setGroupByHour(true);
        model->refreshTree();
        select({model->findItemIndex("hour", "hour", "9")});
        view->startDrag(Qt::MoveAction);
        QCOMPARE(view->drags, 0);
    }

    void dropsOffTasksAreRefused()
    {
        // Off a task (clients and lists take no time either), signed out, other data, and broken bytes of the
        // right type, which only the drop checks.
        const QByteArray good = EntriesDragPayload{{"1", "2"}, QString(), 133}.encode();
        const struct
        {
            const char* kind;
            int id;
            bool signedIn;
            QByteArray bytes; // empty: plain text instead of our type
        } rows[] = {
            {"project", 101, true, good},
            {"task", 304, false, good},
            {"task", 304, true, QByteArray()},
            {"task", 304, true, good.chopped(1)},
        };
        QSignalSpy link(projects.get(), &ProjectsTree::signalConnectEntriesWithTask);
        for (const auto& row : rows) {
            Registry::instance()->setLoggedIn(row.signedIn);
            QMimeData data;
            if (row.bytes.isEmpty())
                data.setText("1");
            else
                data.setData(EntriesDragPayload::mimeType(), row.bytes);
            const bool broken = !row.bytes.isEmpty() && row.bytes != good;
            if (broken)
                QTest::ignoreMessage(QtWarningMsg, kPayloadRefused);
            else if (!row.bytes.isEmpty()) // after a refused enter the window system sends nothing more
                QTest::ignoreMessage(QtDebugMsg, "ignoring drop: doesn't match criteria");
            const QString accepted = row.bytes.isEmpty() ? "" : broken ? "enter move" : "enter";
            QCOMPARE(dropOn(*projects, itemOf(*projects, row.kind, row.id), &data), accepted);
        }
        QCOMPARE(link.count(), 0);
    }

    void ctrlDropAsksForTheTaskAndKeepsTheRowsUnlessAccepted()
    {
        QString shown;
        onNextModal([&](QWidget* dialog) {
            shown = QStringList{dialog->findChild<QComboBox*>("cbProjects")->currentText(),
                                dialog->findChild<QComboBox*>("cbTasks")->currentText(),
                                dialog->findChild<QLabel*>("labelTime")->text()}
                        .join('|');
            press(dialog, QDialogButtonBox::Cancel);
        });
        QSignalSpy link(projects.get(), &ProjectsTree::signalConnectEntriesWithTask);
        const QString before = DayFixture::outline(model->root());
        QTest::ignoreMessage(QtDebugMsg, "dialog CANCEL");
        drag({app("/e")}, 305, Qt::ControlModifier);
        QCOMPARE(shown, "Website Relaunch|  Contact form|" + util::format_time(193));

        onNextModal([&](QWidget* dialog) {
            // "Backlog" of the mobile app has no open task: its caption is the last item and stays.
            auto* projectsBox = dialog->findChild<QComboBox*>("cbProjects");
            const int mobile = projectsBox->findData(102);
            projectsBox->setCurrentIndex(mobile);
            QMetaObject::invokeMethod(dialog, "on_cbProjects_activated", Q_ARG(int, mobile));
            auto* tasks = dialog->findChild<QComboBox*>("cbTasks");
            tasks->setCurrentIndex(tasks->count() - 1);
            press(dialog, QDialogButtonBox::Ok);
        });
        QTest::ignoreMessage(QtDebugMsg, "no task selected - CANCEL");
        drag({app("/s")}, 304, Qt::ControlModifier);
        QCOMPARE(link.count(), 0);
        QCOMPARE(DayFixture::outline(model->root()), before);
        QCOMPARE(model->getTotalTime(), 223);

        onNextModal([&](QWidget* dialog) {
            auto* tasks = dialog->findChild<QComboBox*>("cbTasks");
            tasks->setCurrentIndex(tasks->findData(303));
            dialog->findChild<QPlainTextEdit*>("textNotes")->setPlainText(QStringLiteral("Entwürfe & Notizen"));
            press(dialog, QDialogButtonBox::Ok);
        });
        drag({model->findItemIndex("entry", "title", "plan")}, 304, Qt::ControlModifier);
        QCOMPARE(link.count(), 1);
        QCOMPARE(link.first(), (QVariantList{QStringList{"3"}, "303", "Entwürfe & Notizen"}));
        QCOMPARE(DayFixture::outline(model->root()), QStringLiteral("Editor=133[notes=133#1,2]; Shell=30[make=30#4]"));
        QCOMPARE(model->getTotalTime(), 163);

        // The dialog's choice is used once: the next drop links to the task it lands on; only Ctrl asks.
        drag({app("/s")}, 306, Qt::ShiftModifier);
        QCOMPARE(link.count(), 2);
        QCOMPARE(link.last(), (QVariantList{QStringList{"4"}, "306", QString()}));
        QVERIFY(!app("/s").isValid());
    }

private:
    void select(const QModelIndexList& indexes)
    {
        view->selectionModel()->clearSelection();
        for (const QModelIndex& index : indexes)
            view->selectionModel()->select(index, QItemSelectionModel::Select | QItemSelectionModel::Rows);
    }

    // Drags the rows onto a task of the projects tree, letting go with `modifiers`.
    void drag(const QModelIndexList& rows, int taskId, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        view->target = [this, taskId, modifiers](QDrag* drag) {
            Qt::DropAction action = Qt::IgnoreAction;
            dropOn(*projects, itemOf(*projects, "task", taskId), drag->mimeData(), modifiers, &action);
            return action;
        };
        select(rows);
        view->startDrag(Qt::MoveAction);
    }

    QModelIndex app(const QString& path) const { return model->findItemIndex("app", "app_path", path); }

    DayFixture fixture;
    std::unique_ptr<TreeModel> model;
    std::unique_ptr<DragProbeTree> view;
    std::unique_ptr<ProjectsTree> projects;
    FakePrompter prompter;
};

VERRIN_TEST(TestDragAndDrop)
#include "TestDragAndDrop.moc"
