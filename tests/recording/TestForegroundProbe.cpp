#include "FakePlatform.h"
#include "TestKit.h"
#include "TestTools.h"
#include "app/Registry.h"
#include "recording/ForegroundProbe.h"
#include "recording/TitleCleanup.h"

namespace {
const char* kEditor = "/usr/bin/editor";

struct ProbeCase
{
    QString name;
    QString path;
    QString title;
    bool cleanup;
    QString expectedName;
    QString expectedTitle;
};
} // namespace

Q_DECLARE_METATYPE(ProbeCase)

class TestForegroundProbe : public QObject
{
    Q_OBJECT

private slots:
    void init() { Registry::drop(); }

    void probe_data()
    {
        QTest::addColumn<ProbeCase>("c");
        const auto row = [](const char* tag, const ProbeCase& c) { QTest::newRow(tag) << c; };
        // The editor's title, tagged by itself, with clean-up on.
        const auto editor = [](const char* title, const char* expected) {
            QTest::newRow(title) << ProbeCase{"Editor", kEditor, QString::fromUtf8(title), true, "Editor", expected};
        };
        editor("notes.txt", "notes.txt");
        editor("photo.psd @ 66,7% (Layer 1, RGB/8) *", "photo.psd");
        editor("photo.psd @ 12.5%", "photo.psd");
        editor("a.psd @ 50% (Group (copy), RGB/8)", "a.psd");
        editor("a.psd @ 50% (RGB/8) extra", "a.psd extra");
        editor("a.psd @ 50% (Layer 1, RGB *", "a.psd @ 50% (Layer 1, RGB"); // unclosed: the text stays
        editor("user@host: ~", "user@host: ~");
        editor("file*", "file*");
        editor(" *", "(no title)");
        row("clean-up off keeps the title", {"Editor", kEditor, "a.psd @ 100% *", false, "Editor", "a.psd @ 100% *"});
        row("no name: the file name", {"", "/usr/share/applications/gimp.desktop", "x", true, "gimp.desktop", "x"});
        row("script panel is no document",
            {"Adobe Photoshop", "/opt/ps", "ScriptUIFlexServer", true, "Adobe Photoshop", "(no title)"});
        editor("ScriptUIFlexServer", "ScriptUIFlexServer"); // in other applications
        // Huge titles are cut to the stored length, never inside a UTF-16 surrogate pair.
        const int max = util::kMaxTitleLength;
        const QString full(max, QLatin1Char('a'));
        const QString emoji = QString::fromUtf8("\xF0\x9F\x98\x80");
        row("a pair across the limit",
            {"Editor", kEditor, full.left(max - 1) + emoji + "zz", true, "Editor", full.left(max - 1)});
        row("a pair just inside",
            {"Editor", kEditor, full.left(max - 2) + emoji + "zz", true, "Editor", full.left(max - 2) + emoji});
    }

    void probe()
    {
        QFETCH(ProbeCase, c);
        Registry::instance()->setTitleCleanupEnabled(c.cleanup);
        FakePlatform platform;
        platform.setWindow(c.name, c.path, c.title);
        ForegroundProbe probe(&platform);
        bool valid = false;
        const AppStruct app = probe.getForegroundApp(&valid);
        QVERIFY(valid);
        QCOMPARE(QStringList({app.productName, app.path, app.name, app.title}),
                 QStringList({QString(), c.path, c.expectedName, c.expectedTitle}));
        platform.setNoWindow();
        probe.getForegroundApp(&valid);
        QVERIFY(!valid);
    }

    // The desktop is asked for an application's icon once per path, whatever the title.
    void iconsAreAskedForOncePerPath()
    {
        QTemporaryDir dir;
        const QString editor = dir.filePath(QStringLiteral("editor.desktop"));
        const QString viewer = dir.filePath(QStringLiteral("viewer.desktop"));
        QVERIFY(writeFile(editor, {}) && writeFile(viewer, {}));
        FakePlatform platform;
        ForegroundProbe probe(&platform);
        for (const QString& path : {editor, viewer, editor}) {
            platform.setWindow(QStringLiteral("App"), path, path);
            probe.getForegroundApp();
        }
        QCOMPARE(platform.iconQuestions, 2);
        QCOMPARE(probe.cachedIcons(), 2);
    }
};

VERRIN_TEST(TestForegroundProbe)
#include "TestForegroundProbe.moc"
