#include "TestMain.h"

#include <QApplication>
#include <QTest>

std::vector<TestFactory>& registeredTests()
{
    static std::vector<TestFactory> tests;
    return tests;
}

// Every registered class with the same arguments; fails when any of them failed.
int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    app.setAttribute(Qt::AA_Use96Dpi, true);
    int failed = 0;
    for (const TestFactory& make : registeredTests()) {
        const std::unique_ptr<QObject> test = make();
        failed += QTest::qExec(test.get(), argc, argv);
    }
    return failed;
}
