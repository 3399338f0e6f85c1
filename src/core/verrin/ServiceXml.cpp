#include "verrin/ServiceXml.h"

#include <QStringDecoder>
#include <QXmlStreamReader>

namespace servicexml {

namespace {
// The deepest reply is the catalogue: root, projects, project, task_lists, task_list, tasks, task.
// Anything much deeper is not a reply of the service and could only exhaust the stack.
constexpr int kMaxDepth = 32;

void setError(QString* error, const QString& text)
{
    if (error) {
        *error = text;
    }
}

} // namespace

// One pass with the stream reader before the DOM sees the text, because the DOM parser would expand
// internal entities and recurse on deep nesting.
bool preflight(const QString& text, QString* error)
{
    QXmlStreamReader reader(text);
    int depth = 0;
    while (!reader.atEnd()) {
        switch (reader.readNext()) {
        case QXmlStreamReader::DTD:
            setError(error, QStringLiteral("document type declarations are not accepted"));
            return false;
        case QXmlStreamReader::EntityReference:
            setError(error, QStringLiteral("entity references are not accepted"));
            return false;
        case QXmlStreamReader::StartElement:
            if (++depth > kMaxDepth) {
                setError(error, QStringLiteral("elements nested deeper than %1 levels").arg(kMaxDepth));
                return false;
            }
            break;
        case QXmlStreamReader::EndElement:
            --depth;
            break;
        default:
            break;
        }
    }
    if (reader.hasError()) {
        setError(error, QStringLiteral("not well-formed XML at line %1, column %2: %3")
                            .arg(reader.lineNumber())
                            .arg(reader.columnNumber())
                            .arg(reader.errorString()));
        return false;
    }
    return true;
}

bool load(const QString& text, QDomDocument& doc, QString* error)
{
    doc = QDomDocument();
    if (text.trimmed().isEmpty()) {
        setError(error, QStringLiteral("empty text"));
        return false;
    }
    if (!preflight(text, error)) {
        return false;
    }
    QString message;
    int line = 0;
    int column = 0;
    if (!doc.setContent(text, &message, &line, &column)) {
        doc = QDomDocument();
        setError(error,
                 QStringLiteral("not well-formed XML at line %1, column %2: %3").arg(line).arg(column).arg(message));
        return false;
    }
    if (doc.documentElement().isNull()) {
        setError(error, QStringLiteral("no root element"));
        return false;
    }
    return true;
}

QString status(const QString& text)
{
    QDomDocument doc;
    if (!load(text, doc, nullptr)) {
        return QString();
    }
    return doc.documentElement().attribute(QStringLiteral("status"));
}

QString decode8Bit(const QString& value)
{
    for (QChar c : value) {
        if (c.unicode() > 0xFF) {
            return value;
        }
    }
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString decoded = decoder(value.toLatin1());
    if (decoder.hasError()) {
        return value;
    }
    return decoded;
}

QString encode8Bit(const QString& text)
{
    return QString::fromLatin1(text.toUtf8());
}

} // namespace servicexml
