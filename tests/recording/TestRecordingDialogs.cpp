#include "FakePrompter.h"
#include "RecordedRows.h"
#include "TestKit.h"
#include "app/Registry.h"
#include "recording/AwayEditDialog.h"
#include "recording/ExcludedApps.h"
#include "recording/IgnoredAppsDialog.h"
#include "store/Database.h"

#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QTreeWidget>

class TestRecordingDialogs : public QObject
{
    Q_OBJECT

private slots:
    void init() { Registry::drop(); }

    void excludingFromTheViewIgnoresCase()
    {
        QStringList paths{QStringLiteral("/usr/bin/Player")};
        QVERIFY(!ExcludedApps::addFromView(paths, QStringLiteral("/usr/bin/player")));
        QVERIFY(!ExcludedApps::addFromView(paths, QString()));
        QVERIFY(ExcludedApps::addFromView(paths, QStringLiteral("/usr/bin/editor")));
        QCOMPARE(paths, (QStringList{QStringLiteral("/usr/bin/Player"), QStringLiteral("/usr/bin/editor")}));
    }

    void addingThroughTheDialog()
    {
        const QString listed = dir.path();
        const QString other = QDir(dir.path()).filePath(QStringLiteral("sub"));
        QVERIFY(QDir().mkpath(other));
        ExcludedApps::setList({listed, other.toUpper()});
        FakePrompter prompter;
        IgnoredAppsDialog dialog(nullptr, &prompter);
        QCOMPARE(dialog.ignoredApps->topLevelItemCount(), 2);
        // Already there, or nothing typed: nothing changes and nobody is bothered.
        for (const QString& typed : {listed, QStringLiteral("   "), QString()}) {
            QVERIFY(!dialog.addPath(typed));
        }
        QVERIFY(prompter.calls.isEmpty());
        QVERIFY(!dialog.wasChanged());

        const QString missing = dir.filePath(QStringLiteral("gone \"app\""));
        QVERIFY(!dialog.addPath(missing));
        QCOMPARE(prompter.calls.last().kind + ": " + prompter.calls.last().text,
                 "critical: Application \"" + missing + "\" does not exist.");
        // Paths compare with their case; blanks around are dropped.
        QVERIFY(dialog.addPath(QStringLiteral(" ") + other + QStringLiteral("\t")));
        QVERIFY(!dialog.addPath(other));
        QVERIFY(dialog.wasChanged());
        QCOMPARE(dialog.ignoredApps->topLevelItemCount(), 3);
        // The registry holds the change at once, whatever button closes the dialog.
        dialog.reject();
        QCOMPARE(ExcludedApps::list(), (QStringList{listed, other.toUpper(), other}));
    }

    void removingTakesOutOneOccurrence()
    {
        // A list edited by hand may hold a path twice; removing its item takes out one occurrence.
        ExcludedApps::setList({QStringLiteral("/a"), QStringLiteral("/b"), QStringLiteral("/a")});
        IgnoredAppsDialog dialog;
        QCOMPARE(dialog.ignoredApps->topLevelItemCount(), 3);
        dialog.ignoredApps->topLevelItem(0)->setSelected(true);
        dialog.on_btRemove_clicked();
        QVERIFY(dialog.wasChanged());
        QCOMPARE(dialog.ignoredApps->topLevelItemCount(), 1);
        QCOMPARE(dialog.ignoredApps->topLevelItem(0)->text(0), QStringLiteral("/b"));
        QCOMPARE(ExcludedApps::list(), (QStringList{QStringLiteral("/b"), QStringLiteral("/a")}));
    }

    void awayDialogShowsTheGroupAndOffersPresets()
    {
        Database database;
        QString error;
        QVERIFY2(database.open(dir.filePath(QStringLiteral("away.sqlite")), &error), qPrintable(error));
        RecordedRows::addEntry(1, "", "2026-11-16 10:00:00", 1200);
        RecordedRows::addEntry(1, "x", "2026-11-16 11:00:00", 30);
        RecordedRows::addEntry(1, "", "2026-11-16 12:00:00", 2705);

        AwayEditDialog dialog;
        dialog.putData({1, 3});
        QCOMPARE(dialog.labelStartTime->text(), QStringLiteral("10:00:00"));
        QCOMPARE(dialog.labelEndTime->text(), QStringLiteral("12:45:05"));
        QCOMPARE(dialog.labelDuration->text(), QStringLiteral("1 h 5 m 5 s"));
        QCOMPARE(dialog.getData(), QString());

        dialog.listPresets->setCurrentRow(2);
        QCOMPARE(dialog.getData(), dialog.listPresets->item(2)->text()); // a preset is taken as the description

        // An existing description is shown, selected for overtyping.
        AwayEditDialog again;
        again.putData({2});
        QCOMPARE(again.editDescription->text(), QStringLiteral("x"));
        QCOMPARE(again.editDescription->selectedText(), QStringLiteral("x"));
    }

private:
    QTemporaryDir dir;
};

VERRIN_TEST(TestRecordingDialogs)
#include "TestRecordingDialogs.moc"
