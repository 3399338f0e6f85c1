#include "ManualClock.h"
#include "ModalDialogHelper.h"
#include "RecordedRows.h"
#include "TempDataFolder.h"
#include "TestKit.h"
#include "app/DataPaths.h"
#include "app/Registry.h"
#include "recording/Recorder.h"
#include "reports/TreeModel.h"
#include "views/TotalTimeLabel.h"
#include "window/DayViews.h"
#include "window/MainWindow.h"

#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QStatusBar>

enum class Ending
{
    Close,
    Exit,
    Session
};
Q_DECLARE_METATYPE(Ending)

// The main window driven as a user would, on the offscreen platform (which has no system tray).
class TestMainWindow : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<TempDataFolder> data;

private slots:
    void init()
    {
        data = std::make_unique<TempDataFolder>();
        Registry::drop();
    }

    void cleanup()
    {
        cancelModalHandlers();
        data.reset();
        Registry::drop();
    }

    void firstRunAsksForSettingsAndCreatesTheStore()
    {
        onNextModal([](QWidget* modal) {
            modal->findChild<QLineEdit*>("editUsername")->setText("ann@example.com");
            static_cast<QDialog*>(modal)->accept();
        });
        // Later starts with settings ask nothing: every other case here is one.
        MainWindow window;
        QCOMPARE(Registry::instance()->username(), "ann@example.com");
        QVERIFY(QFile::exists(DataPaths::databaseFile()));
    }

    void recordingSwitchDrivesTimersAndTray()
    {
        data->writeSettings();
        MainWindow window;
        // Start, pause, -, settings, -, show, exit.
        const QList<QAction*> trayActions = window.trayIcon()->contextMenu()->actions();
        QAction* start = trayActions.at(0);
        QAction* pause = trayActions.at(1);
        auto* button = window.form()->btnRecord;
        auto* sampling = window.findChild<QTimer*>("samplingTimer");
        const auto state = [&] {
            return QString("%1 %2, sampling %3, start %4, pause %5")
                .arg(button->text())
                .arg(window.isRecording() && button->isChecked())
                .arg(sampling->isActive())
                .arg(start->isEnabled())
                .arg(pause->isEnabled());
        };
        QCOMPARE(state(), "Paused 0, sampling 0, start 1, pause 0");
        start->trigger();
        QCOMPARE(state(), "Recording 1, sampling 1, start 0, pause 1");
        QCOMPARE(sampling->interval(), 1000);
        pause->trigger();
        QCOMPARE(state(), "Paused 0, sampling 0, start 1, pause 0");

        // The settings edit the registry only; the file changes at the next close. Sampling goes on.
        start->trigger();
        const auto typeName = [&](const QString& name, bool accept) {
            onNextModal([name, accept](QWidget* modal) {
                modal->findChild<QLineEdit*>("editUsername")->setText(name);
                static_cast<QDialog*>(modal)->done(accept ? QDialog::Accepted : QDialog::Rejected);
            });
            trayActions.at(3)->trigger();
        };
        typeName("bob@example.com", true);
        QVERIFY(sampling->isActive());
        QCOMPARE(Registry::instance()->username(), "bob@example.com");
        QVERIFY(!QSettings(DataPaths::iniFile(), QSettings::IniFormat).contains("API/Username"));
        typeName("eve@example.com", false);
        QCOMPARE(Registry::instance()->username(), "bob@example.com");

        QVERIFY(!window.isVisible());
        trayActions.at(5)->trigger();
        QVERIFY(window.isVisible());
    }

    void closingWithoutATrayEndsTheWindowAndSaves_data()
    {
        QTest::addColumn<Ending>("ending");
        QTest::addColumn<bool>("recording");
        QTest::newRow("window closed, paused first") << Ending::Close << false;
        QTest::newRow("Exit while recording") << Ending::Exit << true;
        // The desktop may end the process right after asking: the stretch must be stored by then.
        QTest::newRow("desktop session ends while recording") << Ending::Session << true;
    }

    void closingWithoutATrayEndsTheWindowAndSaves()
    {
        QFETCH(Ending, ending);
        QFETCH(bool, recording);
        data->writeSettings({{"Application/Started", true}});
        {
            MainWindow window;
            QVERIFY(window.isRecording());
            if (!recording) {
                window.form()->btnRecord->click();
            }
            window.show();
            QVERIFY(QTest::qWaitForWindowExposed(&window));
            // Close-to-tray is on, but with no tray to come back from the window really closes.
            QVERIFY(QApplication::quitOnLastWindowClosed());
            if (ending == Ending::Session) {
                window.onSessionEnding();
                QVERIFY(!window.activityRecorder()->isRecordingStatus());
            } else if (ending == Ending::Exit) {
                window.findChild<QAction*>("actionExit")->trigger();
            } else {
                QVERIFY(window.close());
            }
            QVERIFY(window.isVisible() == (ending == Ending::Session));
            QSettings ini(DataPaths::iniFile(), QSettings::IniFormat);
            QVERIFY(!ini.value("Window/Geometry").toByteArray().isEmpty());
            QVERIFY(!ini.value("Window/State").toByteArray().isEmpty());
            QCOMPARE(ini.value("Application/Started").toBool(), recording);
        }
        Registry::drop();
        MainWindow again;
        QCOMPARE(again.isRecording(), recording);
    }

    void unopenableDatabaseIsReported()
    {
        data->writeSettings();
        QDir().mkpath(DataPaths::databaseFile()); // a folder where the file should be
        QString said;
        onNextModal([&](QWidget* modal) {
            if (auto* box = qobject_cast<QMessageBox*>(modal)) {
                said = box->windowTitle() + ": " + box->text();
                box->accept();
            }
        });
        MainWindow window;
        QVERIFY2(said.startsWith("Database error: Could not open database: " + DataPaths::databaseFile() + "\n"),
                 qPrintable(said));
    }

    // Recorded time reaches the day tree at once while the program is in front. Behind other windows it
    // goes in at most once a minute: at once after a quiet minute, else held until the minute is over or
    // the window comes to the front. A day rebuilt meanwhile has read it from the database, where it may
    // have been linked since (a rule run from the command line): it must not come back.
    void recordedTimeShowsLive_data()
    {
        QTest::addColumn<bool>("linkedMeanwhile");
        QTest::addColumn<int>("hideUnder");
        QTest::newRow("placed on coming to the front") << false << 60;
        QTest::newRow("linked and rebuilt while held") << true << 0;
    }

    void recordedTimeShowsLive()
    {
        QFETCH(bool, linkedMeanwhile);
        QFETCH(int, hideUnder);
        data->writeSettings({{"Application/HideUnder", hideUnder}});
        ManualClock clock(QDateTime(QDate(2026, 3, 9), QTime(0, 2, 0)));
        MainWindow window(&clock);
        QCoreApplication::processEvents(); // the deferred start builds the day's trees
        TreeModel* model = window.views()->unlinkedModel();
        QCOMPARE(window.views()->shownDate(), clock.today());
        QCOMPARE(model->getHideUnder(), hideUnder);
        const int entryId = RecordedRows::addEntry(RecordedRows::addApp("Ed"), "notes", "2026-03-09 00:00:05", 75);
        const QDateTime start(clock.today(), QTime(0, 0, 5));
        const AppStruct app{{}, "/usr/bin/ed", "Ed", "notes", {}};
        Recorder* recorder = window.activityRecorder();
        auto* holdTimer = window.findChild<QTimer*>("recordedTimeFeedTimer");
        QVERIFY(holdTimer);
        emit recorder->entryWritten(start, start.addSecs(60), app, 1, entryId);
        QCOMPARE(model->getTotalTime(), 60);
        clock.advance(61);
        emit recorder->entryWritten(start, start.addSecs(75), app, 1, entryId);
        QCOMPARE(model->getTotalTime(), 75);
        QVERIFY(!holdTimer->isActive());
        clock.advance(20);
        emit recorder->entryWritten(start, start.addSecs(80), app, 1, entryId);
        QCOMPARE(model->getTotalTime(), 75);
        QVERIFY(holdTimer->isActive());
        QCOMPARE(holdTimer->interval(), 40 * 1000);
        if (linkedMeanwhile) {
            QVERIFY(QSqlQuery().exec("UPDATE entries SET ext_task_id = 'task-1'"));
            window.views()->refreshUnlinked();
        }

        window.show();
        window.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&window));
        QVERIFY(!holdTimer->isActive());
        if (linkedMeanwhile) {
            QCOMPARE(model->getTotalTime(), 0);
            return;
        }
        QCOMPARE(model->getTotalTime(), 80);
        QCOMPARE(model->root()->childCount(), 1);
        QCOMPARE(model->root()->child(0)->data(0).toString(), "Ed");
        QCOMPARE(window.form()->labelTotalTime->text(), model->data(model->index(0, 1), Qt::DisplayRole).toString());
        // In front, a new piece goes in at once.
        emit recorder->entryWritten(start, start.addSecs(85), app, 1, entryId);
        QCOMPARE(model->getTotalTime(), 85);
    }

    // A failing write stops recording with the reason kept in the status bar and one box however often it
    // fails; recording resumes once the held time is stored, unless the user paused meanwhile.
    void aFailingWriteIsReportedOnceAndRecordingResumes_data()
    {
        QTest::addColumn<bool>("pausedMeanwhile");
        QTest::newRow("resumes") << false;
        QTest::newRow("paused by the user meanwhile") << true;
    }

    void aFailingWriteIsReportedOnceAndRecordingResumes()
    {
        QFETCH(bool, pausedMeanwhile);
        data->writeSettings({{"Application/Started", true}});
        MainWindow window;
        QPushButton* record = window.form()->btnRecord;
        auto* label = window.findChild<QLabel*>("writeFailureLabel");
        QVERIFY(label && label->isHidden());
        int boxes = 0;
        QString text;
        onNextModal([&](QWidget* modal) {
            ++boxes;
            text = static_cast<QMessageBox*>(modal)->text();
            static_cast<QMessageBox*>(modal)->accept();
        });
        const QString reason = "database or disk is full";
        emit window.activityRecorder()->writeFailed(reason, false);
        QCOMPARE(boxes, 1);
        QVERIFY(text.contains(DataPaths::databaseFile()) && text.contains(reason));
        QVERIFY(!record->isChecked());
        QVERIFY(!label->isHidden() && label->text().contains(reason));
        // Passing messages do not hide why nothing is recorded.
        window.statusBar()->showMessage("Could not connect to Verrin.");
        QVERIFY(!label->isHidden());

        emit window.activityRecorder()->writeFailed(reason, true);
        QCOMPARE(boxes, 1);
        if (pausedMeanwhile) {
            record->setChecked(true);
            record->setChecked(false);
        }
        emit window.activityRecorder()->writeRecovered();
        QVERIFY(label->isHidden());
        QCOMPARE(record->isChecked(), !pausedMeanwhile);
    }
};

VERRIN_TEST(TestMainWindow)
#include "TestMainWindow.moc"
