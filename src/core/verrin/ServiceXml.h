#pragma once

#include <QDomDocument>
#include <QString>

// Reading and writing the XML texts the Verrin service sends. Replies arrive as 8-bit characters
// (each byte one character), so readable names need a second decoding step, and names written
// back into a cached reply need the matching encoding.
namespace servicexml {

// Parses reply or cache text. Refuses empty text, document type declarations (the door to entity
// expansion and external entities), nesting deeper than any reply has, and anything not
// well-formed. On failure `doc` is left empty and `error` says why.
bool load(const QString& text, QDomDocument& doc, QString* error);

// The checks of load() without building a document: no document type declaration, no entity
// reference, no nesting deeper than 32 levels, well-formed. Also for other outside XML (the update feed).
bool preflight(const QString& text, QString* error);

// The root element's "status" attribute, or an empty text when the text cannot be loaded.
QString status(const QString& text);

// Takes the characters of a reply attribute as bytes and decodes them as UTF-8. Text that is
// already wider than 8 bits, or that is not valid UTF-8, is returned as it is.
QString decode8Bit(const QString& value);

// The inverse of decode8Bit: the UTF-8 bytes of `text`, one character per byte.
QString encode8Bit(const QString& text);

} // namespace servicexml
