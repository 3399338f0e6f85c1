#include "FakePlatform.h"
#include "TestKit.h"
#include "app/Registry.h"
#include "recording/AppIcons.h"
#include "recording/ForegroundProbe.h"
#include "recording/TitleCleanup.h"

namespace {
// Counts how often the desktop is asked for an icon.
class CountingPlatform : public FakePlatform
{
public:
    QIcon iconForPath(const QString& path) override
    {
        ++iconLookups;
        return FakePlatform::iconForPath(path);
    }
    int iconLookups = 0;
};

QIcon solidIcon(Qt::GlobalColor color)
{
    QPixmap pixmap(16, 16);
    pixmap.fill(color);
    return QIcon(pixmap);
}

QImage imageOf(const QIcon& icon)
{
    return icon.pixmap(16, 16).toImage();
}
} // namespace

class TestForegroundProbe : public QObject
{
    Q_OBJECT

private slots:
    void init() { Registry::drop(); }

    void cleanupTitle_data()
    {
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("expected");
        const auto row = [](const char* title, const char* expected) {
            QTest::newRow(*title ? title : "empty") << QString::fromUtf8(title) << QString::fromUtf8(expected);
        };
        row("photo.psd @ 66,7% (Layer 1, RGB/8) *", "photo.psd");
        row("photo.psd @ 100%", "photo.psd");
        row("photo.psd @ 12.5% (RGB/8#)", "photo.psd");
        row("a.psd @ 50% (Group (copy), RGB/8)", "a.psd");
        row("a.psd @ 50% (RGB/8) extra", "a.psd extra");
        row("report.txt *", "report.txt");
        row("Inbox - Mail", "Inbox - Mail");
        row("a.psd @ 100", "a.psd");
        row("a.psd @ 50% (Layer 1, RGB *", "a.psd @ 50% (Layer 1, RGB"); // unclosed: the text stays
        row("a.psd @ 50% (", "a.psd @ 50% (");
        row("Total @ 5,000 items", "Totalitems"); // any application's title
        row("user@host: ~", "user@host: ~");
        row("file*", "file*");
        row("a @ 1% b @ 2%", "a b @ 2%"); // only the first match
        row("", "");
        row("Bild äöü.psd @ 25% (Ebene 1, RGB/8) *", "Bild äöü.psd");
    }

    void cleanupTitle()
    {
        QFETCH(QString, title);
        QFETCH(QString, expected);
        QCOMPARE(util::cleanupPhotoshopTitle(title), expected);
    }

    void probe_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("title");
        QTest::addColumn<bool>("cleanup");
        QTest::addColumn<QString>("expectedName");
        QTest::addColumn<QString>("expectedTitle");
        const auto row = [](const char* tag, const char* name, const char* path, const QString& title, bool cleanup,
                            const char* expectedName, const QString& expectedTitle) {
            QTest::newRow(tag) << name << path << title << cleanup << expectedName << expectedTitle;
        };
        const char* editor = "/usr/bin/editor";
        row("as reported", "Editor", editor, "notes.txt", true, "Editor", "notes.txt");
        row("clean-up on", "Editor", editor, "a.psd @ 100% *", true, "Editor", "a.psd");
        row("clean-up off keeps the title", "Editor", editor, "a.psd @ 100% *", false, "Editor", "a.psd @ 100% *");
        row("no name: the file name", "", "/usr/share/applications/gimp.desktop", "x", true, "gimp.desktop", "x");
        row("no title", "Editor", editor, "", true, "Editor", "(no title)");
        row("title that cleans up to nothing", "Editor", editor, " *", true, "Editor", "(no title)");
        row("script panel is no document", "Adobe Photoshop", "/opt/ps", "ScriptUIFlexServer", true, "Adobe Photoshop",
            "(no title)");
        row("that title in other applications", "Editor", editor, "ScriptUIFlexServer", true, "Editor",
            "ScriptUIFlexServer");
        // Huge titles are cut to the stored length, never inside a UTF-16 surrogate pair.
        const int max = util::kMaxTitleLength;
        const QString full(max, QLatin1Char('a'));
        const QString emoji = QString::fromUtf8("\xF0\x9F\x98\x80");
        row("1 MiB", "Editor", editor, QString(1024 * 1024, QLatin1Char('a')), true, "Editor", full);
        row("exactly the limit", "Editor", editor, full, true, "Editor", full);
        row("a pair across the limit", "Editor", editor, full.left(max - 1) + emoji + "zz", true, "Editor",
            full.left(max - 1));
        row("a pair just inside", "Editor", editor, full.left(max - 2) + emoji + "zz", true, "Editor",
            full.left(max - 2) + emoji);
    }

    void probe()
    {
        QFETCH(QString, name);
        QFETCH(QString, path);
        QFETCH(QString, title);
        QFETCH(bool, cleanup);
        QFETCH(QString, expectedName);
        QFETCH(QString, expectedTitle);
        Registry::instance()->setTitleCleanupEnabled(cleanup);
        FakePlatform platform;
        platform.setWindow(name, path, title);
        ForegroundProbe probe(&platform);
        bool valid = false;
        const AppStruct app = probe.getForegroundApp(&valid);
        QVERIFY(valid);
        QCOMPARE(app.productName, QString());
        QCOMPARE(app.path, path);
        QCOMPARE(app.name, expectedName);
        QCOMPARE(app.title, expectedTitle);
        QVERIFY(!app.icon.isNull());
        platform.setNoWindow();
        probe.getForegroundApp(&valid);
        QVERIFY(!valid);
    }

    void iconsComeFromTheDesktopOncePerPath()
    {
        QTemporaryDir dir;
        const QString editor = dir.filePath(QStringLiteral("editor.desktop"));
        const QString viewer = dir.filePath(QStringLiteral("viewer.desktop"));
        for (const QString& path : {editor, viewer}) {
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly));
        }
        CountingPlatform platform;
        platform.icons.insert(editor, solidIcon(Qt::red));
        platform.icons.insert(viewer, solidIcon(Qt::blue));
        ForegroundProbe probe(&platform);

        for (int i = 0; i < 5; ++i) {
            platform.setWindow(QStringLiteral("Editor"), editor, QStringLiteral("doc %1").arg(i));
            QCOMPARE(imageOf(probe.getForegroundApp().icon), imageOf(platform.icons.value(editor)));
            platform.setWindow(QStringLiteral("Viewer"), viewer, QStringLiteral("pic"));
            QCOMPARE(imageOf(probe.getForegroundApp().icon), imageOf(platform.icons.value(viewer)));
        }
        QCOMPARE(platform.iconLookups, 2);
        QCOMPARE(probe.cachedIcons(), 2);
    }

    void iconFallbacks()
    {
        QTemporaryDir dir;
        const QString exists = dir.filePath(QStringLiteral("app"));
        QFile file(exists);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.close();

        FakePlatform platform;
        const QImage generic = imageOf(QIcon(QStringLiteral(":/icons/res/app.png")));
        const QImage awayIcon = imageOf(QIcon(QStringLiteral(":/icons/res/away.png")));
        QVERIFY(!generic.isNull());
        QVERIFY(!awayIcon.isNull());

        // The desktop knows no icon for an existing path, the path is gone, or there is no desktop at all.
        QCOMPARE(imageOf(util::get_file_icon(exists, &platform)), generic);
        platform.icons.insert(QStringLiteral("/no/such/app"), solidIcon(Qt::red));
        QCOMPARE(imageOf(util::get_file_icon(QStringLiteral("/no/such/app"), &platform)), generic);
        QCOMPARE(imageOf(util::get_file_icon(exists)), generic);
        QCOMPARE(imageOf(util::get_file_icon(QString(), &platform)), generic);

        QCOMPARE(imageOf(util::get_file_icon(QStringLiteral("verrin://idle"), &platform)), awayIcon);
        QCOMPARE(imageOf(util::idle_app().icon), awayIcon);

        // The process-wide platform is used once set.
        platform.icons.insert(exists, solidIcon(Qt::green));
        util::set_icon_platform(&platform);
        QCOMPARE(imageOf(util::get_file_icon(exists)), imageOf(platform.icons.value(exists)));
        util::set_icon_platform(nullptr);
    }
};

VERRIN_TEST(TestForegroundProbe)
#include "TestForegroundProbe.moc"
