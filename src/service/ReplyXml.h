#pragma once

#include <QDomDocument>
#include <QString>

// Reads reply texts of the service. Replies come from the network, so a text that is not XML, is
// absurdly large or nests without end is refused with a reason instead of being handed to the DOM.
class ReplyXml
{
public:
    static constexpr int maxDepth = 64;
    static constexpr qsizetype maxLength = 64 * 1024 * 1024;

    // On failure `error` says why (line and column for syntax errors).
    static bool parse(const QString& text, QDomDocument* document, QString* error);

    // The root's "status" attribute; empty when the text does not parse (the reason goes to `error`).
    static QString status(const QString& text, QString* error = nullptr);
};
