#include "FakePrompter.h"
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

Q_DECLARE_METATYPE(ExcludedApps::AddCheck)

class TestRecordingDialogs : public QObject
{
    Q_OBJECT

private slots:
    void init() { Registry::drop(); }

    void dialogAddCheck_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QStringList>("listed");
        QTest::addColumn<ExcludedApps::AddCheck>("expected");
        using C = ExcludedApps::AddCheck;
        const QString app = dir.path();
        QTest::newRow("empty") << "" << QStringList() << C::Empty;
        QTest::newRow("blanks only") << "   " << QStringList() << C::Empty;
        QTest::newRow("the prefilled text") << "Enter path here" << QStringList() << C::Missing;
        QTest::newRow("missing") << app + "/gone" << QStringList() << C::Missing;
        QTest::newRow("exists") << app << QStringList() << C::Ok;
        QTest::newRow("blanks around") << "  " + app + "\t" << QStringList() << C::Ok;
        QTest::newRow("listed") << app << QStringList{app} << C::AlreadyListed;
        QTest::newRow("listed in another case") << app << QStringList{app.toUpper()} << C::Ok;
    }

    void dialogAddCheck()
    {
        QFETCH(QString, typed);
        QFETCH(QStringList, listed);
        QFETCH(ExcludedApps::AddCheck, expected);
        QCOMPARE(ExcludedApps::checkDialogAdd(typed, listed), expected);
    }

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
        ExcludedApps::setList({listed});
        FakePrompter prompter;
        IgnoredAppsDialog dialog(nullptr, &prompter);
        QCOMPARE(dialog.ignoredApps->topLevelItemCount(), 1);
        QVERIFY(!dialog.wasChanged());

        // Already there: nothing changes and nobody is bothered.
        QVERIFY(!dialog.addPath(listed));
        QVERIFY(!dialog.addPath(QStringLiteral("   ")));
        QVERIFY(prompter.calls.isEmpty());
        QVERIFY(!dialog.wasChanged());

        const QString missing = dir.filePath(QStringLiteral("gone \"app\""));
        QVERIFY(!dialog.addPath(missing));
        QCOMPARE(prompter.calls.size(), 1);
        QCOMPARE(prompter.calls[0].kind, QStringLiteral("critical"));
        QCOMPARE(prompter.calls[0].text,
                 QStringLiteral("Application \"") + missing + QStringLiteral("\" does not exist."));

        const QString other = QDir(dir.path()).filePath(QStringLiteral("sub"));
        QVERIFY(QDir().mkpath(other));
        QVERIFY(dialog.addPath(QStringLiteral(" ") + other + QStringLiteral(" ")));
        QVERIFY(!dialog.addPath(other));
        QVERIFY(dialog.wasChanged());
        QCOMPARE(dialog.ignoredApps->topLevelItemCount(), 2);
        QCOMPARE(dialog.ignoredApps->topLevelItem(1)->text(0), other);
        // The registry holds the change at once, whatever button closes the dialog.
        dialog.reject();
        QCOMPARE(ExcludedApps::list(), (QStringList{listed, other}));
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
        QSqlQuery insert;
        QVERIFY(insert.exec(QStringLiteral("INSERT INTO entries (title, start_time, end_time, application_id) VALUES "
                                           "('', '2026-11-16 10:00:00', '2026-11-16 10:20:00', 1), "
                                           "('x', '2026-11-16 11:00:00', '2026-11-16 11:00:30', 1), "
                                           "('', '2026-11-16 12:00:00', '2026-11-16 12:45:05', 1)")));

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
