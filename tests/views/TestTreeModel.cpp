#include "TestKit.h"
#include "reports/TreeModel.h"

#include <QAbstractItemModelTester>
#include <QBrush>

// The model on its own: trees built through its public API, no database.
class TestTreeModel : public QObject
{
    Q_OBJECT

private slots:
    void contractHoldsWhileEditing()
    {
        TreeModel model(false);
        QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        const QModelIndex hour = addNode(model, {}, "hour", "9:00 - 10:00", 0, {{"hour", 9}});
        const QModelIndex app = addNode(model, hour, "app", "Editor", 0, {{"app_path", "/a"}, {"app_id", 1}});
        for (int i = 0; i < 5; ++i) {
            addNode(model, app, "entry", QStringLiteral("title %1").arg(i), 10 * (5 - i),
                    {{"entries", QVariantList{i}}});
        }
        QCOMPARE(model.rowCount(app), 5);
        // Only column 0 has children.
        QCOMPARE(model.rowCount(app.siblingAtColumn(1)), 0);
        QVERIFY(!model.index(0, 0, app.siblingAtColumn(1)).isValid());
        QVERIFY(!model.index(7, 0, app).isValid());
        model.sort(1, Qt::AscendingOrder);
        model.sort(0, Qt::DescendingOrder);
        QVERIFY(!model.insertRows(9, 1, app));
        QVERIFY(!model.removeRows(4, 2, app));
        QVERIFY(model.removeRows(1, 2, app));
        model.propagateRemoveRow(model.index(0, 0, app));
        model.clearAll();
        QCOMPARE(model.rowCount(), 0);
    }

    void headerAndRoles()
    {
        TreeModel unlinked(false);
        TreeModel linked(true);
        QCOMPARE(unlinked.headerData(0, Qt::Horizontal).toString(), QStringLiteral("Entries not linked with Verrin"));
        QCOMPARE(linked.headerData(0, Qt::Horizontal).toString(), QStringLiteral("Entries linked with Verrin"));
        QCOMPARE(unlinked.headerData(1, Qt::Horizontal).toString(), QStringLiteral("Time"));
        QCOMPARE(unlinked.columnCount(), 4);
        QVERIFY(!unlinked.headerData(0, Qt::Vertical).isValid());

        const QModelIndex app = addNode(unlinked, {}, "app", "Editor", 5);
        const QModelIndex entry = addNode(unlinked, app, "entry", "notes.txt", 5);
        // Entry times are grey, summed times are not.
        QCOMPARE(unlinked.data(entry.siblingAtColumn(1), Qt::ForegroundRole).value<QBrush>().color(),
                 QColor(127, 127, 127, 255));
        QVERIFY(!unlinked.data(app.siblingAtColumn(1), Qt::ForegroundRole).isValid());
        QVERIFY(!unlinked.data(entry, Qt::ForegroundRole).isValid());
        QCOMPARE(unlinked.data(entry.siblingAtColumn(1), Qt::TextAlignmentRole).toInt(), int(Qt::AlignRight));
        QVERIFY(!unlinked.data(entry, Qt::TextAlignmentRole).isValid());
        QVERIFY(!(unlinked.flags(entry) & Qt::ItemIsEditable));
        QVERIFY(unlinked.flags(entry) & Qt::ItemIsDragEnabled);
        QCOMPARE(unlinked.flags(QModelIndex()), Qt::NoItemFlags);
        QVERIFY(!unlinked.setData(entry, "x", Qt::DisplayRole));
        QVERIFY(!unlinked.setData(unlinked.index(0, 9, app), "x"));
    }

    void findersNeverDescendIntoTheWantedType()
    {
        TreeModel model(false);
        const QModelIndex outer = addNode(model, {}, "app", "Outer", 0, {{"app_path", "/outer"}});
        // An application nested inside another one is out of reach of the application search.
        addNode(model, outer, "app", "Nested", 0, {{"app_path", "/nested"}});
        const QModelIndex hour = addNode(model, {}, "hour", "10:00 - 11:00", 0, {{"hour", 10}});
        const QModelIndex app = addNode(model, hour, "app", "Inside hour", 0, {{"app_path", "/nested"}});
        addNode(model, app, "entry", "Report", 3);

        QCOMPARE(model.findAppItem("/nested"), model.getItem(app));
        QCOMPARE(model.findAppItem("/outer"), model.getItem(outer));
        QVERIFY(!model.findAppItem("/missing"));
        QCOMPARE(model.findHourItem(10), model.getItem(hour));
        QVERIFY(!model.findHourItem(0));
        QCOMPARE(model.findEntryItem("Report")->data(0).toString(), QStringLiteral("Report"));
        QVERIFY(!model.findEntryItem("Report", model.getItem(outer)));
        QCOMPARE(model.findItemIndex("hour", "hour", "10"), hour);
        QCOMPARE(model.findItemIndex("app", "app_path", "/nested", hour), app);
        QVERIFY(!model.findItemIndex("app", "app_path", "/outer", hour).isValid());
    }

    void timeRisesThroughEveryAncestor()
    {
        TreeModel model(false);
        QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        const QModelIndex hour = addNode(model, {}, "hour", "9:00 - 10:00", 60);
        const QModelIndex app = addNode(model, hour, "app", "Editor", 60);
        const QModelIndex entry = addNode(model, app, "entry", "a", 60);
        QSignalSpy changed(&model, &TreeModel::dataChanged);
        model.updateTimeInParentNodes(entry, 3601);
        QCOMPARE(model.hiddenData(app, "time").toInt(), 3661);
        QCOMPARE(model.hiddenData(hour, "time").toInt(), 3661);
        QCOMPARE(model.data(hour.siblingAtColumn(1), Qt::DisplayRole).toString(), QStringLiteral("1 h 1 m 1 s"));
        QCOMPARE(model.hiddenData(entry, "time").toInt(), 60); // the node itself is the caller's business
        QVERIFY(changed.count() >= 4);

        // The item-based variant never keeps a time on the root.
        TreeModel::updateTimeInParentTreeItems(model.getItem(entry), -61);
        QCOMPARE(model.hiddenData(hour, "time").toInt(), 3600);
        QCOMPARE(model.getItem(hour)->data(1).toString(), QStringLiteral("1 h 0 m 0 s"));
        QVERIFY(!model.root()->hiddenData("time").isValid());
    }

    void totalSignalsOnlyWhenCrossingZero_data()
    {
        QTest::addColumn<QList<int>>("deltas");
        QTest::addColumn<QList<int>>("signalAfterStep");
        QTest::addColumn<QString>("text");
        QTest::newRow("add, add more, remove all") << QList<int>{10, 5, -15} << QList<int>{1, 1, 2} << "0 s";
        QTest::newRow("no change from zero, then one second") << QList<int>{0, 1} << QList<int>{0, 1} << "1 s";
        QTest::newRow("down but not to zero") << QList<int>{3600, -1} << QList<int>{1, 1} << "59 m 59 s";
    }

    void totalSignalsOnlyWhenCrossingZero()
    {
        QFETCH(QList<int>, deltas);
        QFETCH(QList<int>, signalAfterStep);
        QFETCH(QString, text);
        TreeModel model(false);
        QSignalSpy zero(&model, &TreeModel::datesWithZeroTimeChanged);
        QSignalSpy label(&model, &TreeModel::setTotalTimeText);
        for (int i = 0; i < deltas.size(); ++i) {
            model.updateTotalTime(deltas.at(i));
            QCOMPARE(zero.count(), signalAfterStep.at(i));
        }
        QCOMPARE(label.last().at(0).toString(), text);
    }

    void removingTheLastEntryRemovesEmptiedAncestors()
    {
        TreeModel model(false);
        QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        const QModelIndex keepHour = addNode(model, {}, "hour", "8:00 - 9:00", 1);
        addNode(model, addNode(model, keepHour, "app", "A", 1), "entry", "x", 1);
        const QModelIndex hour = addNode(model, {}, "hour", "9:00 - 10:00", 2);
        const QModelIndex app = addNode(model, hour, "app", "B", 2);
        const QModelIndex sibling = addNode(model, hour, "app", "C", 1);
        addNode(model, sibling, "entry", "z", 1);
        addNode(model, app, "entry", "y", 2);

        model.propagateRemoveRow(model.index(0, 0, app));
        // The application went with its last entry; the hour stays because C is still there.
        QCOMPARE(model.rowCount(), 2);
        QCOMPARE(model.rowCount(model.index(1, 0)), 1);
        model.propagateRemoveRow(model.index(0, 0, model.index(0, 0, model.index(1, 0))));
        QCOMPARE(model.rowCount(), 1);
        QCOMPARE(model.data(model.index(0, 0), Qt::DisplayRole).toString(), QStringLiteral("8:00 - 9:00"));
    }

    void sortIsStableAndIgnoresCase_data()
    {
        QTest::addColumn<int>("column");
        QTest::addColumn<int>("order");
        QTest::addColumn<QStringList>("expected");
        // Names and times: gamma 5, alpha 7, Beta 5, delta 9.
        QTest::newRow("name ascending") << 0 << int(Qt::AscendingOrder)
                                        << QStringList{"alpha", "Beta", "delta", "gamma"};
        QTest::newRow("name descending") << 0 << int(Qt::DescendingOrder)
                                         << QStringList{"gamma", "delta", "Beta", "alpha"};
        QTest::newRow("time ascending keeps equal times in order")
            << 1 << int(Qt::AscendingOrder) << QStringList{"gamma", "Beta", "alpha", "delta"};
        QTest::newRow("time descending keeps equal times in order")
            << 1 << int(Qt::DescendingOrder) << QStringList{"delta", "alpha", "gamma", "Beta"};
    }

    void sortIsStableAndIgnoresCase()
    {
        QFETCH(int, column);
        QFETCH(int, order);
        QFETCH(QStringList, expected);
        TreeModel model(false);
        QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        const QModelIndex app = addNode(model, {}, "app", "Editor", 26);
        addNode(model, app, "entry", "gamma", 5);
        addNode(model, app, "entry", "alpha", 7);
        addNode(model, app, "entry", "Beta", 5);
        addNode(model, app, "entry", "delta", 9);
        QSignalSpy starting(&model, &TreeModel::sortStarting);
        QSignalSpy done(&model, &TreeModel::sortDone);
        QSignalSpy collapse(&model, &TreeModel::collapseAll);
        model.sort(column, Qt::SortOrder(order));
        QStringList got;
        for (int row = 0; row < model.rowCount(app); ++row) {
            got << model.data(model.index(row, 0, app), Qt::DisplayRole).toString();
        }
        QCOMPARE(got, expected);
        QCOMPARE(starting.count(), 1);
        QCOMPARE(collapse.count(), 1);
        QCOMPARE(done.count(), 1);
    }

    void sortKeepsPersistentIndexes()
    {
        TreeModel model(false);
        QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        const QModelIndex b = addNode(model, {}, "app", "b", 1, {{"app_path", "/b"}});
        addNode(model, b, "entry", "b2", 1);
        addNode(model, b, "entry", "b1", 1);
        addNode(model, {}, "app", "a", 1, {{"app_path", "/a"}});
        const QPersistentModelIndex kept(model.index(0, 1, model.index(0, 0)));
        model.sort(0, Qt::AscendingOrder);
        QVERIFY(kept.isValid());
        QCOMPARE(kept.data().toString(), QStringLiteral("1"));
        QCOMPARE(kept.parent().data().toString(), QStringLiteral("b"));
        QCOMPARE(kept.row(), 1);
    }

    void selectionHelpers()
    {
        TreeModel model(false);
        const QModelIndex editor = addNode(model, {}, "app", "Editor", 0, {{"app_id", 4}, {"app_path", "/e"}});
        const QModelIndex e1 =
            addNode(model, editor, "entry", "one", 123, {{"entries", QVariantList{1, 2}}, {"title", "one"}});
        const QModelIndex e2 =
            addNode(model, editor, "entry", "two", 7, {{"entries", QVariantList{3}}, {"title", "two"}});
        const QModelIndex shell = addNode(model, {}, "app", "Shell", 0, {{"app_id", 9}, {"app_path", "/s"}});
        const QModelIndex e3 =
            addNode(model, shell, "entry", "three", 60, {{"entries", QVariantList{5}}, {"title", "three"}});

        // A selected application adds nothing itself until the view widens the selection.
        QCOMPARE(model.getTimeForSelection({editor}), 0);
        const QModelIndexList rows{e1, e1.siblingAtColumn(1), e2, shell, e3};
        QCOMPARE(model.getTimeForSelection(rows), 190);
        QCOMPARE(model.getEntriesIdsForSelection(rows), (QStringList{"1", "2", "3", "5"}));
        QCOMPARE(model.extractEntriesFromSelection(rows), (QModelIndexList{e1, e2, e3}));
        QCOMPARE(model.extractAppIdsFromSelection(rows), (QList<int>{4, 9}));
        QCOMPARE(model.extractAppNamesFromSelection({e3, e1, e2}), (QStringList{"Shell", "Editor"}));
        QCOMPARE(model.countItemsInSelectionMatching(rows, "type", "entry"), 3);
        QCOMPARE(model.getDescriptionForSelection({e1, e3}), QStringLiteral("(2 m 3 s) one\n(1 m 0 s) three"));
        QCOMPARE(model.extractAllAppIds(), (QList<int>{4, 9}));
    }

    void bottomUpOrder()
    {
        TreeModel model(false);
        const QModelIndex a = addNode(model, {}, "app", "A", 0);
        const QModelIndex b = addNode(model, {}, "app", "B", 0);
        const QModelIndex a0 = addNode(model, a, "entry", "a0", 0);
        const QModelIndex a1 = addNode(model, a, "entry", "a1", 0);
        const QModelIndex b0 = addNode(model, b, "entry", "b0", 0);
        QModelIndexList list{a0, b0, a1};
        std::stable_sort(list.begin(), list.end(), &TreeModel::modelIndexGreaterThan);
        QCOMPARE(list, (QModelIndexList{b0, a1, a0}));
        QVERIFY(TreeModel::modelIndexGreaterThan(a1, a0));
        QVERIFY(!TreeModel::modelIndexGreaterThan(a0, a0));
        // Removing in that order never shifts a row still to be removed.
        for (const QModelIndex& index : list) {
            model.propagateRemoveRow(index);
        }
        QCOMPARE(model.rowCount(), 0);
    }

private:
    static QModelIndex addNode(TreeModel& model, const QModelIndex& parent, const QString& type, const QString& name,
                               int seconds, const QVariantMap& hidden = {})
    {
        const QModelIndex index = model.appendRow(parent, {name, QString::number(seconds)});
        model.setHiddenData(index, QStringLiteral("type"), type);
        model.setHiddenData(index, QStringLiteral("time"), seconds);
        for (auto it = hidden.begin(); it != hidden.end(); ++it) {
            if (it.key() == QLatin1String("entries")) {
                for (const QVariant& id : it.value().toList()) {
                    model.getItem(index)->addEntryIds({id.toInt()});
                }
            } else {
                model.setHiddenData(index, it.key(), it.value());
            }
        }
        return index;
    }
};

VERRIN_TEST(TestTreeModel)
#include "TestTreeModel.moc"
