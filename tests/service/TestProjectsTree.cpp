#include <QTest>
class TestProjectsTree : public QObject
{
    Q_OBJECT
};
QTEST_MAIN(TestProjectsTree)
#include "TestProjectsTree.moc"
