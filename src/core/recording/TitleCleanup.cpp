#include "recording/TitleCleanup.h"

#include <QRegularExpression>

namespace util {

QString cutTitle(const QString& title)
{
    if (title.size() <= kMaxTitleLength) {
        return title;
    }
    qsizetype length = kMaxTitleLength;
    // A character outside the basic plane takes two units; the pair stays whole or goes whole.
    if (title.at(length - 1).isHighSurrogate()) {
        --length;
    }
    return title.left(length);
}

QString cleanupPhotoshopTitle(const QString& title)
{
    static const QRegularExpression zoom(QStringLiteral("\\s@\\s[\\d\\.,]+"));
    QString result = title;
    const QRegularExpressionMatch match = zoom.match(result);
    if (match.hasMatch()) {
        const qsizetype pos = match.capturedStart();
        const qsizetype len = match.capturedLength();
        const qsizetype end = pos + len;
        // The character right after the match is normally the percent sign; a layer description in
        // parentheses may follow it.
        if (result.mid(end + 1, 2) == QLatin1String(" (")) {
            int depth = 1;
            qsizetype close = -1;
            for (qsizetype i = end + 3; i < result.size(); ++i) {
                if (result.at(i) == QLatin1Char('(')) {
                    ++depth;
                } else if (result.at(i) == QLatin1Char(')')) {
                    --depth;
                }
                if (depth < 1) {
                    close = i;
                    break;
                }
            }
            // An unbalanced description is left alone rather than guessed at.
            if (close >= 0) {
                result.remove(pos, close - pos + 1);
            }
        } else {
            result.remove(pos, len + 1);
        }
    }
    if (result.endsWith(QLatin1String(" *"))) {
        result.chop(2);
    }
    return result;
}

} // namespace util
