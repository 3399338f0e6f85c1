#include "TestMain.h"

#include <QApplication>
#include <QMetaObject>
#include <QSet>
#include <QTest>

#include <algorithm>

std::vector<TestFactory>& registeredTests()
{
    static std::vector<TestFactory> tests;
    return tests;
}

namespace {
// The test functions named on the command line ("name" or "name:tag"), so a class that has none of
// them is skipped instead of failing on a name it does not know.
QStringList namedFunctions(int argc, char** argv)
{
    static const QSet<QByteArray> withValue{"-o", "-maxwarnings", "-eventdelay", "-keydelay", "-mousedelay", "-seed"};
    QStringList names;
    for (int i = 1; i < argc; ++i) {
        const QByteArray arg(argv[i]);
        if (withValue.contains(arg)) {
            ++i;
        } else if (!arg.startsWith('-')) {
            names << QString::fromLocal8Bit(arg).section(QLatin1Char(':'), 0, 0);
        }
    }
    return names;
}
} // namespace

// Every registered class with the same arguments; fails when any of them failed.
int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    app.setAttribute(Qt::AA_Use96Dpi, true);
    const QStringList names = namedFunctions(argc, argv);
    int failed = 0;
    bool ran = false;
    for (const TestFactory& make : registeredTests()) {
        const std::unique_ptr<QObject> test = make();
        const bool named = std::any_of(names.begin(), names.end(), [&](const QString& name) {
            return test->metaObject()->indexOfMethod(QMetaObject::normalizedSignature(qPrintable(name + "()"))) >= 0;
        });
        if (names.isEmpty() || named) {
            failed += QTest::qExec(test.get(), argc, argv);
            ran = true;
        }
    }
    if (!ran) {
        qWarning("No test class here has the functions %s", qPrintable(names.join(QLatin1Char(' '))));
        return 1;
    }
    return failed;
}
