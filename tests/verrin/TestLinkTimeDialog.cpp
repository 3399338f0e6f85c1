#include "TestMain.h"
#include "verrin/LinkTimeDialog.h"

#include <QComboBox>
#include <QLabel>
#include <QPlainTextEdit>
#include <QTest>

namespace {
const QString kCatalogue = QStringLiteral("<rsp status=\"ok\"><projects>"
                                          "<project id=\"10\" name=\"Website\"><client name=\"Acme\"/><task_lists>"
                                          "<task_list id=\"100\" name=\"Design\"><tasks>"
                                          "<task id=\"1000\" name=\"Mock-ups\" complete=\"0\"/>"
                                          "<task id=\"1001\" name=\"Old logo\" complete=\"1\"/>"
                                          "</tasks></task_list>"
                                          "<task_list id=\"101\" name=\"Build\"><tasks>"
                                          "<task id=\"1010\" name=\"Frontend &amp; API\" complete=\"0\"/>"
                                          "</tasks></task_list>"
                                          "</task_lists></project>"
                                          "<project id=\"20\" name=\"Ünïcode\"><client name=\"Beta\"/><task_lists>"
                                          "<task_list id=\"200\" name=\"Empty\"><tasks/></task_list>"
                                          "</task_lists></project>"
                                          "</projects></rsp>");

Catalogue parsed(const QString& xml)
{
    Catalogue catalogue;
    ProjectsCatalogue::parse(xml, catalogue);
    return catalogue;
}

QStringList texts(QComboBox* box)
{
    QStringList list;
    for (int i = 0; i < box->count(); ++i) {
        list << box->itemText(i);
    }
    return list;
}
} // namespace

class TestLinkTimeDialog : public QObject
{
    Q_OBJECT

private slots:
    void tasksUnderHeadersWithoutCompletedOnes()
    {
        LinkTimeDialog dialog;
        dialog.populateData(parsed(kCatalogue));
        auto* projects = dialog.findChild<QComboBox*>(QStringLiteral("cbProjects"));
        auto* tasks = dialog.findChild<QComboBox*>(QStringLiteral("cbTasks"));
        QCOMPARE(texts(projects), (QStringList{"Website", QStringLiteral("Ünïcode")}));
        dialog.populateTasks(10);
        QCOMPARE(texts(tasks), (QStringList{"Design", "  Mock-ups", "Build", "  Frontend & API"}));
        // The first header cannot stay selected.
        QCOMPARE(tasks->currentText(), QStringLiteral("  Mock-ups"));
        tasks->setCurrentIndex(2);
        QCOMPARE(tasks->currentText(), QStringLiteral("  Frontend & API"));
        // A header with nothing after it stays (there is nothing to move to), and reads as no task.
        dialog.populateTasks(20);
        QCOMPARE(texts(tasks), QStringList{"Empty"});
        dialog.getData();
        QCOMPARE(dialog.taskId, 0);
    }

    void putDataPreselectsAndGetDataReadsBack()
    {
        LinkTimeDialog dialog;
        dialog.populateData(parsed(kCatalogue));
        dialog.timeText = QStringLiteral("1 h 2 m 5 s");
        dialog.notes = QStringLiteral("call with \"Ann\"");
        dialog.projectId = 10;
        dialog.taskId = 1010;
        dialog.putData();
        QCOMPARE(dialog.findChild<QLabel*>(QStringLiteral("labelTime"))->text(), QStringLiteral("1 h 2 m 5 s"));
        dialog.findChild<QPlainTextEdit*>(QStringLiteral("textNotes"))->setPlainText(QStringLiteral("changed"));
        dialog.getData();
        QCOMPARE(dialog.projectId, 10);
        QCOMPARE(dialog.taskId, 1010);
        QCOMPARE(dialog.notes, QStringLiteral("changed"));
    }

    void emptyCatalogueLeavesTheListsEmpty()
    {
        LinkTimeDialog dialog;
        dialog.populateData(Catalogue());
        dialog.projectId = 10;
        dialog.taskId = 1000;
        dialog.putData();
        QCOMPARE(dialog.findChild<QComboBox*>(QStringLiteral("cbProjects"))->count(), 0);
        QCOMPARE(dialog.findChild<QComboBox*>(QStringLiteral("cbTasks"))->count(), 0);
        dialog.getData();
        QCOMPARE(dialog.taskId, 0);
    }
};

VERRIN_TEST(TestLinkTimeDialog)
#include "TestLinkTimeDialog.moc"
