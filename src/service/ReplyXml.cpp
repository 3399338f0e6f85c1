#include "ReplyXml.h"

#include <QXmlStreamReader>

bool ReplyXml::parse(const QString& text, QDomDocument* document, QString* error)
{
    if (text.size() > maxLength) {
        *error = QStringLiteral("reply too large (%1 characters)").arg(text.size());
        return false;
    }
    // A streaming pass first: it catches syntax errors and runaway nesting cheaply, before the DOM
    // would build (and later tear down recursively) a tree of any depth.
    QXmlStreamReader reader(text);
    int depth = 0;
    while (!reader.atEnd()) {
        const QXmlStreamReader::TokenType token = reader.readNext();
        if (token == QXmlStreamReader::StartElement && ++depth > maxDepth) {
            *error = QStringLiteral("reply nests deeper than %1 elements").arg(maxDepth);
            return false;
        }
        if (token == QXmlStreamReader::EndElement)
            --depth;
    }
    if (reader.hasError()) {
        *error = QStringLiteral("reply is not valid XML (line %1, column %2): %3")
                     .arg(reader.lineNumber())
                     .arg(reader.columnNumber())
                     .arg(reader.errorString());
        return false;
    }
    QString message;
    int line = 0;
    int column = 0;
    if (!document->setContent(text, &message, &line, &column)) {
        *error = QStringLiteral("reply is not valid XML (line %1, column %2): %3").arg(line).arg(column).arg(message);
        return false;
    }
    return true;
}

QString ReplyXml::status(const QString& text, QString* error)
{
    QDomDocument document;
    QString reason;
    if (!parse(text, &document, &reason)) {
        if (error)
            *error = reason;
        return QString();
    }
    return document.documentElement().attribute(QStringLiteral("status"));
}
