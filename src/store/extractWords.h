#pragma once

#include <QString>
#include <QStringList>

namespace util {

// Splits a title pattern into its words and "quoted phrases" (a phrase keeps its inner blanks).
// A quote that is never closed is skipped and the words after it are taken one by one.
QStringList extractWords(const QString& pattern);

} // namespace util
