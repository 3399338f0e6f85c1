#include <QTest>
class TestServiceDialogs : public QObject
{
    Q_OBJECT
};
QTEST_MAIN(TestServiceDialogs)
#include "TestServiceDialogs.moc"
