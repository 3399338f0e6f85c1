#include "TestKit.h"
#include "views/CachedTextDelegate.h"

#include <QStandardItemModel>
#include <QTreeView>

namespace {
// A title column and a right-aligned time column, as in the day trees.
struct Rows
{
    QStandardItemModel model;
    explicit Rows(const QList<QStringList>& rows)
    {
        for (const QStringList& row : rows) {
            auto* title = new QStandardItem(QIcon::fromTheme(QStringLiteral("folder")), row.at(0));
            auto* time = new QStandardItem(row.at(1));
            time->setTextAlignment(Qt::AlignRight);
            model.appendRow({title, time});
        }
    }
};

void show(QTreeView& view, QAbstractItemModel* model, int titleWidth)
{
    view.setModel(model);
    view.resize(titleWidth + 100, 140);
    view.setColumnWidth(0, titleWidth);
    view.setColumnWidth(1, 90);
    view.selectionModel()->select(model->index(1, 0), QItemSelectionModel::Select | QItemSelectionModel::Rows);
    view.show();
}

// Pixels whose colour differs visibly: glyph edges may blend a shade apart, text in the wrong place does not.
int differing(QWidget& first, QWidget& second)
{
    const QImage a = first.grab().toImage().convertToFormat(QImage::Format_RGB32);
    const QImage b = second.grab().toImage().convertToFormat(QImage::Format_RGB32);
    int count = 0;
    for (int y = 0; y < a.height(); ++y) {
        for (int x = 0; x < a.width(); ++x) {
            const QRgb p = a.pixel(x, y), q = b.pixel(x, y);
            if (qAbs(qRed(p) - qRed(q)) + qAbs(qGreen(p) - qGreen(q)) + qAbs(qBlue(p) - qBlue(q)) > 96) {
                ++count;
            }
        }
    }
    return count;
}
} // namespace

// The cached text must look exactly as Qt's own delegate draws it: same place, colour and elision.
class TestCachedTextDelegate : public QObject
{
    Q_OBJECT

private slots:
    void drawsAsTheStyleDoes_data()
    {
        QTest::addColumn<QList<QStringList>>("rows");
        QTest::addColumn<int>("titleWidth");
        QTest::newRow("cut titles") << QList<QStringList>{{"A rather long title that cannot fit", "2 s"},
                                                          {"Another long one, selected and cut", "1 h 0 m 0 s"}}
                                    << 120;
        QTest::newRow("times wider than their column")
            << QList<QStringList>{{"x", "123 h 59 m 59 s and more"}, {"y", "12 h 0 m 1 s too"}} << 80;
    }

    void drawsAsTheStyleDoes()
    {
        QFETCH(QList<QStringList>, rows);
        QFETCH(int, titleWidth);
        Rows plain(rows), cached(rows);
        QTreeView styleView, cachedView;
        cachedView.setItemDelegate(new CachedTextDelegate(&cachedView));
        show(styleView, &plain.model, titleWidth);
        show(cachedView, &cached.model, titleWidth);
        QCOMPARE(differing(cachedView, styleView), 0);

        // A text that changes is drawn anew, not from what was kept for the old one.
        for (Rows* r : {&plain, &cached}) {
            r->model.item(0, 0)->setText(QStringLiteral("Renamed"));
            r->model.item(1, 1)->setText(QStringLiteral("7 s"));
        }
        QCOMPARE(differing(cachedView, styleView), 0);
    }
};

VERRIN_TEST(TestCachedTextDelegate)
#include "TestCachedTextDelegate.moc"
