#include "reports/ShownRows.h"

#include "reports/DayQueries.h"

size_t qHash(const ShownRows::Texts& texts, size_t seed)
{
    return qHashMulti(seed, texts.appPath, texts.appName, texts.title);
}

void ShownRows::insert(const DayRow& row)
{
    const Texts texts{row.appPath, row.appName, row.title};
    auto found = known.constFind(texts);
    if (found == known.constEnd()) {
        found = known.insert(texts, std::make_shared<const Texts>(texts));
    }
    rows.insert(row.id, Row{row.startSecond, row.seconds, *found});
}

void ShownRows::clear()
{
    rows.clear();
    known.clear();
}
