#pragma once

#include <QByteArray>
#include <QString>
#include <QXmlStreamWriter>

// Writes one reply document: the root carries "status", results are its children.
class XmlReply
{
public:
    explicit XmlReply(const QString& status) : writer(&bytes)
    {
        writer.setAutoFormatting(true);
        writer.writeStartDocument();
        writer.writeStartElement(QStringLiteral("rsp"));
        writer.writeAttribute(QStringLiteral("status"), status);
    }

    QXmlStreamWriter& xml() { return writer; }

    QByteArray finish()
    {
        writer.writeEndDocument();
        return bytes;
    }

    void textElement(const QString& name, const QString& text) { writer.writeTextElement(name, text); }

private:
    QByteArray bytes;
    QXmlStreamWriter writer;
};
