#pragma once

#include <QObject>

#include <functional>
#include <memory>
#include <vector>

// Several test classes in one executable, so they link once: each file registers its class with
// VERRIN_TEST(Class) instead of QTEST_MAIN, and the shared main runs them in turn.
using TestFactory = std::function<std::unique_ptr<QObject>()>;
std::vector<TestFactory>& registeredTests();

#define VERRIN_TEST(Class)                                                                                             \
    static const bool registered##Class =                                                                              \
        (registeredTests().push_back([] { return std::unique_ptr<QObject>(new Class); }), true);
