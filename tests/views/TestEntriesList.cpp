#include "DayFixture.h"
#include "FakePrompter.h"
#include "TestKit.h"
#include "views/EntriesList.h"

#include <QAction>

namespace {
const QDate kDay(2026, 11, 15);
}

// The linked view: unlinking with its question, and its menus.
class TestEntriesList : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        QVERIFY(fixture.open());
        const int editor = DayFixture::addApp("/e", "Editor");
        const int shell = DayFixture::addApp("/s", "Shell");
        ids = {DayFixture::addEntry(editor, "logo", "2026-11-15 09:00:00", "2026-11-15 09:01:00"),
               DayFixture::addEntry(editor, "logo", "2026-11-15 10:00:00", "2026-11-15 10:00:30"),
               DayFixture::addEntry(shell, "build", "2026-11-15 11:00:00", "2026-11-15 11:00:15")};
        DayFixture::link(ids[0], 30, 10, 20, "Logo", "Website", "Design");
        DayFixture::link(ids[1], 30, 10, 20, "Logo", "Website", "Design");
        DayFixture::link(ids[2], 31, 11, 21, "CI", "Tools", "Build");
        model = std::make_unique<TreeModel>(true);
        view = std::make_unique<EntriesList>();
        view->setModel(model.get());
        view->setPrompter(&prompter);
        model->initTree(kDay, 0);
        view->expandAll();
    }

    void cleanup()
    {
        view.reset();
        model.reset();
        fixture.close();
        prompter.answers.clear();
        prompter.calls.clear();
    }

    void unlinkingAnApplicationTakesItsEntries_data()
    {
        QTest::addColumn<bool>("yes");
        QTest::newRow("yes") << true;
        QTest::newRow("no") << false;
    }

    void unlinkingAnApplicationTakesItsEntries()
    {
        QFETCH(bool, yes);
        QSignalSpy unlink(view.get(), &EntriesList::signalUnlinkEntries);
        view->onMenuUnlink(); // nothing selected: nothing asked
        QCOMPARE(prompter.calls.size(), 0);
        const QModelIndex task = model->indexForItem(model->findTaskItem("30"));
        view->selectionModel()->select(model->findItemIndex("app", "app_path", "/e", task),
                                       QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
        prompter.answers.enqueue(yes);
        view->onMenuUnlink();
        QCOMPARE(prompter.calls.size(), 1);
        QCOMPARE(prompter.calls.first().title, QStringLiteral("Confirm unlink"));
        QVERIFY(prompter.calls.first().defaultYes);
        // Both pieces of "logo" are one entry in the tree.
        QCOMPARE(prompter.calls.first().text, "Are you sure you want to unlink selected entry?\n\nTime: 1 m 30 s");
        QCOMPARE(EntriesList::unlinkQuestion(4, 3600),
                 "Are you sure you want to unlink these 4 entries?\n\nCumulated time: 1 h 0 m 0 s");
        QCOMPARE(unlink.count(), yes ? 1 : 0);
        if (yes) {
            QStringList got = unlink.first().at(0).toStringList();
            got.sort();
            QCOMPARE(got, (QStringList{QString::number(ids[0]), QString::number(ids[1])}));
            // The project emptied with its only task; the other project stays.
            QCOMPARE(DayFixture::outline(model->root()),
                     QStringLiteral("Tools=15[Build=15[CI=15[Shell=15[build=15#%1]]]]").arg(ids[2]));
        }
        QCOMPARE(model->getTotalTime(), yes ? 15 : 105);
    }

    void menuOffersUnlinkOnlyForTime()
    {
        const QModelIndex project = model->indexForItem(model->findProjectItem("10"));
        const QModelIndex app = model->findItemIndex("app", "app_path", "/e", project);
        QCOMPARE(view->menuActions(app).size(), 4);
        QCOMPARE(view->menuActions(project).size(), 2);
        QVERIFY(!view->action("actionUnlink")->isEnabled());
        Registry::instance()->setLoggedIn(true);
        view->menuActions(app);
        QVERIFY(view->action("actionUnlink")->isEnabled());
    }

private:
    DayFixture fixture;
    std::unique_ptr<TreeModel> model;
    std::unique_ptr<EntriesList> view;
    FakePrompter prompter;
    QList<int> ids;
};

VERRIN_TEST(TestEntriesList)
#include "TestEntriesList.moc"
