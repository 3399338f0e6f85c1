#include "app/Registry.h"

#include <QTest>

class TestRegistry : public QObject
{
    Q_OBJECT

private slots:
    void oneInstanceUntilDropped()
    {
        Registry* first = Registry::instance();
        QCOMPARE(Registry::instance(), first);
        (*first)[QStringLiteral("IdleLimit")] = 7;
        QCOMPARE(Registry::instance()->value(QStringLiteral("IdleLimit")).toInt(), 7);
        // A key never set reads as an empty value rather than failing.
        QVERIFY(!Registry::instance()->value(QStringLiteral("Missing")).isValid());
        QCOMPARE(Registry::instance()->value(QStringLiteral("Missing")).toBool(), false);
        Registry::drop();
        QVERIFY(!Registry::instance()->contains(QStringLiteral("IdleLimit")));
        Registry::drop();
    }
};

QTEST_GUILESS_MAIN(TestRegistry)
#include "TestRegistry.moc"
