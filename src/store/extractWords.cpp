#include "store/extractWords.h"

#include <QRegularExpression>

namespace util {

QStringList extractWords(const QString& pattern)
{
    static const QRegularExpression wordOrPhrase(QStringLiteral("([^\\s\"]+)\\s|\"([^\"]+)\""),
                                                 QRegularExpression::CaseInsensitiveOption);
    // The trailing blank lets the last word end like every other word.
    const QString text = pattern + QLatin1Char(' ');
    QStringList words;
    qsizetype position = 0;
    while (position < text.size()) {
        const QRegularExpressionMatch match = wordOrPhrase.match(text, position);
        if (!match.hasMatch()) {
            break;
        }
        if (!match.captured(1).isEmpty()) {
            words << match.captured(1);
        }
        if (!match.captured(2).isEmpty()) {
            words << match.captured(2);
        }
        position = match.capturedStart() + match.capturedLength();
    }
    return words;
}

} // namespace util
