#include "CatalogueSample.h"
#include "verrin/AddTaskDialog.h"
#include "verrin/AddTaskListDialog.h"
#include "verrin/LinkTimeDialog.h"

class TestServiceDialogs : public QObject
{
    Q_OBJECT

private slots:
    void addTaskDialogOffersTheCatalogue()
    {
        AddTaskDialog dialog;
        dialog.populateData(sampleCatalogue());
        auto* projects = dialog.findChild<QComboBox*>("cbProjects");
        auto* lists = dialog.findChild<QComboBox*>("cbTaskLists");
        QCOMPARE(comboTexts(projects), (QStringList{"Website Relaunch", "Mobile App", "Café Menü"}));
        dialog.projectId = 102;
        dialog.tasklistId = 204;
        dialog.name = QStringLiteral("Offline mode");
        dialog.description = QStringLiteral("Two\nlines");
        dialog.billable = true;
        dialog.putData();
        dialog.getData();
        QCOMPARE(QPair(dialog.projectId, dialog.tasklistId), QPair(102, 204));
        QCOMPARE(dialog.name + '|' + dialog.description, QStringLiteral("Offline mode|Two\nlines"));
        QVERIFY(dialog.billable);
        // Choosing another project offers its lists.
        projects->setCurrentIndex(2);
        dialog.on_cbProjects_activated(2);
        QCOMPARE(comboTexts(lists), QStringList{"Übersetzung"});

        // Unknown ids fall back to the first entries.
        AddTaskDialog fresh;
        fresh.populateData(sampleCatalogue());
        fresh.projectId = 999;
        fresh.tasklistId = 999;
        fresh.putData();
        fresh.getData();
        QCOMPARE(QPair(fresh.projectId, fresh.tasklistId), QPair(101, 201));
        AddTaskListDialog listDialog;
        listDialog.populateData(sampleCatalogue());
        listDialog.putData();
        listDialog.getData();
        QCOMPARE(listDialog.projectId, 101);
    }

    void linkTimeDialogListsOpenTasksUnderHeaders()
    {
        LinkTimeDialog dialog;
        dialog.populateData(sampleCatalogue());
        auto* tasks = dialog.findChild<QComboBox*>("cbTasks");
        dialog.populateTasks(101);
        QCOMPARE(comboTexts(tasks), (QStringList{"Design", "  Homepage mockup", "  Style guide", "Build",
                                                 "  Landing page", "  Contact form"}));
        // A header cannot stay selected: the task after it is taken.
        QCOMPARE(tasks->currentText(), QStringLiteral("  Homepage mockup"));
        tasks->setCurrentIndex(3);
        QCOMPARE(tasks->currentText(), QStringLiteral("  Landing page"));

        // An unknown project falls back to the first, if there is one.
        Catalogue one = sampleCatalogue();
        one.projects = one.projects.mid(0, 1);
        for (const Catalogue& catalogue : {one, Catalogue()}) {
            LinkTimeDialog fallback;
            fallback.populateData(catalogue);
            fallback.projectId = 999;
            fallback.taskId = 1000;
            fallback.notes = QStringLiteral("call with \"Ann\"");
            fallback.putData();
            fallback.getData();
            QCOMPARE(fallback.notes, QStringLiteral("call with \"Ann\""));
            QCOMPARE(fallback.findChild<QComboBox*>("cbTasks")->count(), catalogue.projects.isEmpty() ? 0 : 6);
            QCOMPARE(fallback.taskId, catalogue.projects.isEmpty() ? 0 : 301);
        }
    }
};

VERRIN_TEST(TestServiceDialogs)
#include "TestServiceDialogs.moc"
