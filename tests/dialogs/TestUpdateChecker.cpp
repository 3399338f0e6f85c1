#include "ModalDialogHelper.h"
#include "StaticHttpServer.h"
#include "TestKit.h"
#include "dialogs/UpdatePresenter.h"
#include "updates/UpdateChecker.h"

#include <QDialog>
#include <QLabel>
#include <QNetworkAccessManager>

Q_DECLARE_METATYPE(UpdateInfo::Status)

namespace {
QByteArray channel(const QByteArray& items)
{
    return "<rss xmlns:sparkle=\"http://www.andymatuschak.org/xml-namespaces/sparkle\"><channel>" + items +
           "</channel></rss>";
}

QByteArray feed(const QList<QByteArray>& versions)
{
    QByteArray items;
    for (const QByteArray& v : versions) {
        items += "<item><sparkle:releaseNotesLink>https://example.test/notes/" + v +
                 ".html</sparkle:releaseNotesLink><enclosure url=\"https://example.test/VerrinPlus-" + v +
                 ".tar.gz\" sparkle:version=\"" + v + "\"/></item>";
    }
    return channel(items);
}
} // namespace

class TestUpdateChecker : public QObject
{
    Q_OBJECT

private slots:
    void parse_data()
    {
        QTest::addColumn<QByteArray>("xml");
        QTest::addColumn<UpdateInfo::Status>("status");
        QTest::addColumn<QString>("version");
        using S = UpdateInfo::Status;
        QTest::newRow("same") << feed({"1.0.10"}) << S::UpToDate << "1.0.10";
        // 1.0.10 is newer than 1.0.9: versions compare as numbers, not as text.
        QTest::newRow("older") << feed({"1.0.9"}) << S::UpToDate << "1.0.9";
        QTest::newRow("newest of several") << feed({"1.0.9", "1.3.0", "1.0.11"}) << S::UpdateAvailable << "1.3.0";
        QTest::newRow("element version")
            << channel("<item><sparkle:version>2.0</sparkle:version><link>https://example.test/dl</link></item>")
            << S::UpdateAvailable << "2.0";
        // A hostile link is dropped rather than offered to the user.
        QTest::newRow("hostile link")
            << channel("<item><enclosure url=\"javascript:alert(1)\" sparkle:version=\"9.0\"/></item>")
            << S::UpdateAvailable << "9.0";
        QTest::newRow("not xml") << QByteArray("<html><body>502 Bad Gateway") << S::Failed << "";
        QTest::newRow("version garbage") << feed({"banana"}) << S::Failed << "";
    }

    void parse()
    {
        QFETCH(QByteArray, xml);
        QFETCH(UpdateInfo::Status, status);
        QFETCH(QString, version);
        const UpdateInfo info = UpdateChecker::parseFeed(xml, QVersionNumber(1, 0, 10));
        QCOMPARE(info.status, status);
        QCOMPARE(info.version, version);
        QCOMPARE(info.error.isEmpty(), status != UpdateInfo::Status::Failed);
        // The links are those of the newest item, and only web links.
        QVERIFY(info.download.isEmpty() || info.download.scheme() == "https");
        if (status != UpdateInfo::Status::Failed && xml.contains("releaseNotesLink")) {
            QCOMPARE(info.releaseNotes, QUrl("https://example.test/notes/" + version + ".html"));
            QCOMPARE(info.download, QUrl("https://example.test/VerrinPlus-" + version + ".tar.gz"));
        }
    }

    void servedFeed_data()
    {
        QTest::addColumn<int>("httpStatus"); // -1: the server never answers
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<bool>("interactive"); // the user asks while the quiet check at start still waits
        QTest::addColumn<UpdateInfo::Status>("status");
        QTest::addColumn<QStringList>("told"); // what the message box says; empty: none is shown
        using S = UpdateInfo::Status;
        QTest::newRow("newer") << 200 << feed({"1.1.0"}) << false << S::UpdateAvailable
                               << QStringList{"https://example.test/notes/1.1.0.html",
                                              "https://example.test/VerrinPlus-1.1.0.tar.gz"};
        QTest::newRow("server error, quietly") << 500 << feed({"1.1.0"}) << false << S::Failed << QStringList();
        QTest::newRow("2 MiB feed") << 200 << feed({"1.1.0"}) + QByteArray(2 * 1024 * 1024, ' ') << true << S::Failed
                                    << QStringList{"larger than"};
        QTest::newRow("64 levels deep") << 200 << QByteArray("<a>").repeated(64) + QByteArray("</a>").repeated(64)
                                        << true << S::Failed << QStringList{"could not be read"};
        QTest::newRow("no answer") << -1 << QByteArray() << true << S::Failed
                                   << QStringList{"did not answer within 2 seconds"};
    }

    void servedFeed()
    {
        QFETCH(int, httpStatus);
        QFETCH(QByteArray, body);
        QFETCH(bool, interactive);
        QFETCH(UpdateInfo::Status, status);
        QFETCH(QStringList, told);
        StaticHttpServer server;
        QVERIFY(server.start());
        server.setReply(httpStatus, body);
        QNetworkAccessManager network;
        QWidget window;
        UpdateChecker checker(&network, server.url(), QStringLiteral("1.0.10"));
        checker.setTimeoutMs(2000);
        UpdatePresenter presenter(&checker, &window);
        QSignalSpy finished(&checker, &UpdateChecker::finished);
        QString shown;
        onNextModal([&shown](QWidget* modal) {
            shown = modal->findChild<QLabel*>(QStringLiteral("qt_msgbox_label"))->text();
            qobject_cast<QDialog*>(modal)->accept();
        });
        checker.check(false);
        // Asked again while the request runs: no second request, but the user is told the outcome.
        checker.check(interactive);
        QVERIFY(finished.wait(10000));
        cancelModalHandlers();
        QCOMPARE(finished.size(), 1);
        const UpdateInfo info = finished.at(0).at(0).value<UpdateInfo>();
        QCOMPARE(info.status, status);
        QCOMPARE(info.error.isEmpty(), status != UpdateInfo::Status::Failed);
        QCOMPARE(finished.at(0).at(1).toBool(), interactive);
        QCOMPARE(shown.isEmpty(), told.isEmpty());
        for (const QString& part : told) {
            QVERIFY2(shown.contains(part), qPrintable(shown));
        }
        QVERIFY(!checker.isChecking());
        QCOMPARE(server.requestCount(), 1);
        QVERIFY(server.lastRequest().contains("User-Agent: VerrinPlus/"));
    }

    void whatTheUserIsTold()
    {
        const UpdateInfo same = UpdateChecker::parseFeed(feed({"1.0.10"}), QVersionNumber(1, 0, 10));
        UpdateInfo failed;
        failed.error = QStringLiteral("Connection refused <b>");
        // Nothing new is only worth saying when asked; an error is shown as text, not markup.
        QVERIFY(UpdatePresenter::message(same, false, "1.0.10").isEmpty());
        QVERIFY(UpdatePresenter::message(same, true, "1.0.10").contains("up to date"));
        QVERIFY(UpdatePresenter::message(failed, true, "1.0.10").contains("&lt;b&gt;"));
    }
};

VERRIN_TEST(TestUpdateChecker)
#include "TestUpdateChecker.moc"
