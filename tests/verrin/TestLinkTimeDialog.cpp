#include "CatalogueSample.h"
#include "TestMain.h"
#include "verrin/LinkTimeDialog.h"

#include <QComboBox>
#include <QLabel>
#include <QPlainTextEdit>
#include <QTest>

class TestLinkTimeDialog : public QObject
{
    Q_OBJECT

private slots:
    void tasksUnderHeadersWithoutCompletedOnes()
    {
        LinkTimeDialog dialog;
        dialog.populateData(sampleCatalogue());
        auto* tasks = dialog.findChild<QComboBox*>(QStringLiteral("cbTasks"));
        QCOMPARE(comboTexts(dialog.findChild<QComboBox*>(QStringLiteral("cbProjects"))),
                 (QStringList{"Website Relaunch", "Mobile App", "Café Menü", "Internal"}));
        dialog.populateTasks(101);
        QCOMPARE(comboTexts(tasks), (QStringList{"Design", "  Homepage mockup", "  Style guide", "Build",
                                                 "  Landing page", "  Contact form"}));
        // A header cannot stay selected: the task after it is taken.
        QCOMPARE(tasks->currentText(), QStringLiteral("  Homepage mockup"));
        tasks->setCurrentIndex(3);
        QCOMPARE(tasks->currentText(), QStringLiteral("  Landing page"));
        // A header with nothing after it stays (there is nothing to move to), and reads as no task.
        dialog.populateTasks(102);
        QCOMPARE(comboTexts(tasks), (QStringList{"Sprint 1", "  Login screen", "Backlog"}));
        tasks->setCurrentIndex(2);
        dialog.getData();
        QCOMPARE(dialog.taskId, 0);
    }

    void putDataPreselectsAndGetDataReadsBack()
    {
        LinkTimeDialog dialog;
        dialog.populateData(sampleCatalogue());
        dialog.timeText = QStringLiteral("1 h 2 m 5 s");
        dialog.notes = QStringLiteral("call with \"Ann\"");
        dialog.projectId = 101;
        dialog.taskId = 305;
        dialog.putData();
        QCOMPARE(dialog.findChild<QLabel*>(QStringLiteral("labelTime"))->text(), QStringLiteral("1 h 2 m 5 s"));
        auto* notes = dialog.findChild<QPlainTextEdit*>(QStringLiteral("textNotes"));
        QCOMPARE(notes->toPlainText(), dialog.notes);
        notes->setPlainText(QStringLiteral("changed"));
        dialog.getData();
        QCOMPARE(QPair(dialog.projectId, dialog.taskId), QPair(101, 305));
        QCOMPARE(dialog.notes, QStringLiteral("changed"));
    }

    void unknownProjectFallsBackToTheFirst()
    {
        Catalogue one = sampleCatalogue();
        one.projects = one.projects.mid(0, 1);
        for (const Catalogue& catalogue : {one, Catalogue()}) {
            LinkTimeDialog dialog;
            dialog.populateData(catalogue);
            dialog.projectId = 999;
            dialog.taskId = 1000;
            dialog.putData();
            dialog.getData();
            QCOMPARE(dialog.findChild<QComboBox*>(QStringLiteral("cbTasks"))->count(),
                     catalogue.projects.isEmpty() ? 0 : 6);
            QCOMPARE(dialog.taskId, catalogue.projects.isEmpty() ? 0 : 301);
        }
    }
};

VERRIN_TEST(TestLinkTimeDialog)
#include "TestLinkTimeDialog.moc"
