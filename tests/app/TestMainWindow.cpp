#include "ManualClock.h"
#include "ModalDialogHelper.h"
#include "TempDataFolder.h"
#include "TestKit.h"
#include "app/DataPaths.h"
#include "app/Registry.h"
#include "recording/Recorder.h"
#include "reports/TreeModel.h"
#include "views/TimeTree.h"
#include "views/TotalTimeLabel.h"
#include "window/DayViews.h"
#include "window/MainWindow.h"

#include <QCheckBox>
#include <QDialog>
#include <QDockWidget>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QScreen>
#include <QSqlDatabase>
#include <QStatusBar>
#include <QSystemTrayIcon>

// The main window driven as a user would, on the offscreen platform (which has no system tray).
class TestMainWindow : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<TempDataFolder> data;

    void writeIni(bool started, int hideUnder = 0)
    {
        QDir().mkpath(data->dataFolder());
        QSettings ini(DataPaths::iniFile(), QSettings::IniFormat);
        ini.setValue(QStringLiteral("API/Url"), QStringLiteral("http://127.0.0.1:9/service/"));
        ini.setValue(QStringLiteral("Application/Started"), started);
        ini.setValue(QStringLiteral("Application/HideUnder"), hideUnder);
    }

    static QSettings readIni() { return QSettings(DataPaths::iniFile(), QSettings::IniFormat); }

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
        QVERIFY(!QFile::exists(data->dataFolder()));
        bool dialogSeen = false;
        onNextModal([&](QWidget* modal) {
            // It tells that this is the first start, centred on the screen as no window is there yet.
            const QPoint offCentre = modal->frameGeometry().center() - modal->screen()->availableGeometry().center();
            dialogSeen = modal->windowTitle() == QLatin1String("Welcome to VerrinPlus") &&
                         modal->findChild<QLabel*>(QStringLiteral("labelWelcome")) && offCentre.manhattanLength() < 20;
            modal->findChild<QLineEdit*>(QStringLiteral("editUsername"))->setText(QStringLiteral("ann@example.com"));
            modal->findChild<QCheckBox*>(QStringLiteral("checkCloseToTray"))->setChecked(false);
            static_cast<QDialog*>(modal)->accept();
        });
        {
            MainWindow window;
            QVERIFY(dialogSeen);
            QCOMPARE(Registry::instance()->username(), QStringLiteral("ann@example.com"));
            QSqlQuery tables(QStringLiteral("SELECT COUNT(*) FROM sqlite_master WHERE type = 'table' AND name IN "
                                            "('entries','applications','settings','rules','rules_apps')"));
            QVERIFY(tables.next());
            QCOMPARE(tables.value(0).toInt(), 5);
        }
        QSettings ini = readIni();
        QCOMPARE(ini.value(QStringLiteral("API/Username")).toString(), QStringLiteral("ann@example.com"));
        QCOMPARE(ini.value(QStringLiteral("Application/CloseToTray")).toBool(), false);
        QVERIFY(ini.contains(QStringLiteral("API/Url")));
        QVERIFY(ini.contains(QStringLiteral("Proxy/Host")));

        // The second start asks nothing and changes nothing in the schema.
        Registry::drop();
        bool asked = false;
        onNextModal([&](QWidget* modal) {
            asked = true;
            modal->close();
        });
        MainWindow again;
        QVERIFY(!asked);
    }

    void formPartsAndTrayMenu()
    {
        writeIni(false);
        MainWindow window;
        QCOMPARE(window.windowTitle(), QStringLiteral("Verrin Plus"));
        auto* exit = window.findChild<QAction*>(QStringLiteral("actionExit"));
        QVERIFY(exit);
        QCOMPARE(exit->text(), QStringLiteral("E&xit"));
        QCOMPARE(exit->shortcut(), QKeySequence(QStringLiteral("Alt+X")));
        for (const char* name : {"Left", "Right", "Bottom"}) {
            auto* dock = window.findChild<QDockWidget*>(QLatin1String(name));
            QVERIFY2(dock, name);
            QCOMPARE(dock->features(), QDockWidget::DockWidgetClosable);
        }
        QVERIFY(window.findChild<QWidget*>(QStringLiteral("progressBar"))->isHidden());

        QStringList menu;
        for (QAction* action : window.trayIcon()->contextMenu()->actions()) {
            menu << (action->isSeparator() ? QStringLiteral("-") : action->text());
        }
        QCOMPARE(menu, (QStringList{"&Start Recording", "&Pause Recording", "-", "S&ettings...", "-",
                                    "Sho&w VerrinPlus", "E&xit"}));
        QVERIFY(!window.isVisible());
        window.trayIcon()->contextMenu()->actions().at(5)->trigger();
        QVERIFY(window.isVisible());
    }

    void recordingSwitchDrivesTimersAndTray()
    {
        writeIni(false);
        MainWindow window;
        auto* button = window.findChild<QPushButton*>(QStringLiteral("btnRecord"));
        auto* sampling = window.findChild<QTimer*>(QStringLiteral("samplingTimer"));
        auto* tray = window.findChild<QTimer*>(QStringLiteral("trayTimer"));
        QList<QAction*> trayActions = window.trayIcon()->contextMenu()->actions();
        QAction* start = trayActions.at(0);
        QAction* pause = trayActions.at(1);
        QVERIFY(!window.isRecording());
        QCOMPARE(button->text(), QStringLiteral("Paused"));

        start->trigger();
        QVERIFY(window.isRecording());
        QVERIFY(button->isChecked());
        QCOMPARE(button->text(), QStringLiteral("Recording"));
        QVERIFY(sampling->isActive());
        QCOMPARE(sampling->interval(), 1000);
        QCOMPARE(tray->isActive(), QSystemTrayIcon::isSystemTrayAvailable());
        QCOMPARE(tray->interval(), 500);
        QVERIFY(!start->isEnabled());
        QVERIFY(pause->isEnabled());
        for (int i = 0; i < 3; ++i) {
            window.updateTrayIcon();
        }
        QCOMPARE(window.trayFrameIndex(), 3);

        pause->trigger();
        QVERIFY(!window.isRecording());
        QCOMPARE(button->text(), QStringLiteral("Paused"));
        QVERIFY(!sampling->isActive());
        QVERIFY(!tray->isActive());
        QCOMPARE(window.trayFrameIndex(), 0);
        QVERIFY(start->isEnabled());
        QVERIFY(!pause->isEnabled());
        // The next start begins the animation from the first frame again.
        button->click();
        window.updateTrayIcon();
        QCOMPARE(window.trayFrameIndex(), 1);
    }

    void recordingStateSurvivesARestart()
    {
        writeIni(true);
        {
            MainWindow window;
            QVERIFY(window.isRecording());
            window.findChild<QPushButton*>(QStringLiteral("btnRecord"))->click();
            window.close();
        }
        QCOMPARE(readIni().value(QStringLiteral("Application/Started")).toBool(), false);
        Registry::drop();
        MainWindow again;
        QVERIFY(!again.isRecording());
    }

    void closingWithoutATrayEndsTheWindowAndSaves_data()
    {
        QTest::addColumn<bool>("exitAction");
        QTest::newRow("window closed") << false;
        QTest::newRow("Exit") << true;
    }

    void closingWithoutATrayEndsTheWindowAndSaves()
    {
        QFETCH(bool, exitAction);
        writeIni(false);
        MainWindow window;
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        // Close-to-tray is on, but with no tray to come back from the window really closes.
        QVERIFY(Registry::instance()->closeToTray());
        QVERIFY(QApplication::quitOnLastWindowClosed());
        if (exitAction) {
            window.findChild<QAction*>(QStringLiteral("actionExit"))->trigger();
        } else {
            QVERIFY(window.close());
        }
        QVERIFY(!window.isVisible());
        QSettings ini = readIni();
        QVERIFY(!ini.value(QStringLiteral("Window/Geometry")).toByteArray().isEmpty());
        QVERIFY(!ini.value(QStringLiteral("Window/State")).toByteArray().isEmpty());
        QVERIFY(ini.contains(QStringLiteral("Application/IdleLimit")));
    }

    void statusTipsDoNotOverwriteTheStatusBar()
    {
        writeIni(false);
        MainWindow window;
        window.statusBar()->showMessage(QStringLiteral("Ready"));
        QStatusTipEvent tip(QStringLiteral("hovered menu"));
        QApplication::sendEvent(&window, &tip);
        QCOMPARE(window.statusBar()->currentMessage(), QStringLiteral("Ready"));
    }

    void settingsFromTheTrayEditTheRegistryOnly()
    {
        writeIni(false);
        MainWindow window;
        const auto typeName = [&window](const QString& name, bool accept) {
            onNextModal([name, accept](QWidget* modal) {
                modal->findChild<QLineEdit*>(QStringLiteral("editUsername"))->setText(name);
                accept ? static_cast<QDialog*>(modal)->accept() : static_cast<QDialog*>(modal)->reject();
            });
            window.onTrayMenuOptions();
        };
        typeName(QStringLiteral("bob@example.com"), true);
        QCOMPARE(Registry::instance()->username(), QStringLiteral("bob@example.com"));
        // The file only changes at the next close.
        QVERIFY(!readIni().contains(QStringLiteral("API/Username")));
        typeName(QStringLiteral("eve@example.com"), false);
        QCOMPARE(Registry::instance()->username(), QStringLiteral("bob@example.com"));
    }

    void unopenableDatabaseIsReported()
    {
        writeIni(false);
        QDir().mkpath(DataPaths::databaseFile()); // a folder where the file should be
        QString title;
        QString text;
        onNextModal([&](QWidget* modal) {
            auto* box = qobject_cast<QMessageBox*>(modal);
            if (box) {
                title = box->windowTitle();
                text = box->text();
                box->accept();
            }
        });
        MainWindow window;
        QCOMPARE(title, QStringLiteral("Database error"));
        QVERIFY(text.startsWith(QStringLiteral("Could not open database: ") + DataPaths::databaseFile() +
                                QStringLiteral("\n")));
    }

    // What the recorder writes shows up in today's tree at once, and the calendar's other days
    // come from the same database.
    void recordedTimeShowsLive()
    {
        writeIni(false, 60);
        ManualClock clock(QDateTime(QDate(2026, 3, 9), QTime(0, 2, 0)));
        MainWindow window(&clock);
        QAbstractItemModel* view = window.form()->appList->model();
        QTRY_COMPARE(view->headerData(0, Qt::Horizontal).toString(), QStringLiteral("Entries not linked with Verrin"));
        QCOMPARE(window.views()->shownDate(), clock.today());
        QCOMPARE(window.views()->unlinkedModel()->getHideUnder(), 60); // the stored threshold, from the start
        const QDateTime start = QDateTime(clock.today(), QTime(0, 0, 5));
        QSqlQuery query;
        QVERIFY(
            query.exec(QStringLiteral("INSERT INTO applications (id, path, name) VALUES (1, '/usr/bin/ed', 'Ed')")));
        query.prepare(QStringLiteral("INSERT INTO entries (title, application_id, start_time, end_time) VALUES "
                                     "('notes', 1, :start, :end)"));
        query.bindValue(QStringLiteral(":start"), start.toString(QStringLiteral("yyyy-MM-dd hh:mm:ss")));
        query.bindValue(QStringLiteral(":end"), start.addSecs(75).toString(QStringLiteral("yyyy-MM-dd hh:mm:ss")));
        QVERIFY(query.exec());
        AppStruct app;
        app.path = QStringLiteral("/usr/bin/ed");
        app.name = QStringLiteral("Ed");
        app.title = QStringLiteral("notes");
        emit window.activityRecorder()->entryWritten(start, start.addSecs(75), app, 1, query.lastInsertId().toInt());

        auto* model = qobject_cast<TreeModel*>(window.form()->appList->model());
        QVERIFY(model);
        QCOMPARE(model->getTotalTime(), 75);
        QCOMPARE(model->root()->childCount(), 1);
        QCOMPARE(model->root()->child(0)->data(0).toString(), QStringLiteral("Ed"));
        QCOMPARE(window.form()->labelTotalTime->text(), model->data(model->index(0, 1), Qt::DisplayRole).toString());
    }

    // A failing write: recording stops, the reason stays in the status bar, the user gets one box
    // however often it fails again, and recording resumes once the held time is stored, unless the
    // user paused meanwhile.
    void aFailingWriteIsReportedOnceAndRecordingResumes_data()
    {
        QTest::addColumn<bool>("pausedMeanwhile");
        QTest::newRow("resumes") << false;
        QTest::newRow("paused by the user meanwhile") << true;
    }

    void aFailingWriteIsReportedOnceAndRecordingResumes()
    {
        QFETCH(bool, pausedMeanwhile);
        writeIni(true);
        MainWindow window;
        QPushButton* record = window.form()->btnRecord;
        QVERIFY(record->isChecked());
        auto* label = window.findChild<QLabel*>(QStringLiteral("writeFailureLabel"));
        QVERIFY(label);
        QVERIFY(label->isHidden());

        int boxes = 0;
        QString text;
        onNextModal([&](QWidget* modal) {
            ++boxes;
            text = static_cast<QMessageBox*>(modal)->text();
            static_cast<QMessageBox*>(modal)->accept();
        });
        emit window.activityRecorder()->writeFailed(QStringLiteral("database or disk is full"), false);
        QCOMPARE(boxes, 1);
        QVERIFY(text.contains(DataPaths::databaseFile()));
        QVERIFY(text.contains(QStringLiteral("database or disk is full")));
        QVERIFY(!record->isChecked());
        QVERIFY(!label->isHidden());
        QVERIFY(label->text().contains(QStringLiteral("database or disk is full")));
        // Passing messages do not hide why nothing is recorded.
        window.statusBar()->showMessage(QStringLiteral("Could not connect to Verrin."));
        QVERIFY(!label->isHidden());

        emit window.activityRecorder()->writeFailed(QStringLiteral("database or disk is full"), true);
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
