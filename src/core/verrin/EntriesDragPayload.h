#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

class QMimeData;

// What a drag of recorded time carries from the unlinked view to a task of the projects tree:
// the entry ids, notes (empty when the drag starts) and the worked seconds. The bytes are a
// QDataStream of the id list, the notes and a 32-bit seconds value, in that order, so any
// program that speaks the same layout can drop time on the tree.
//
// A drop may come from another process, so decoding trusts nothing: a short, oversized or
// otherwise broken payload is refused, and only positive decimal integers pass as entry ids
// (they end up pasted into SQL id lists).
class EntriesDragPayload
{
public:
    static QString mimeType() { return QStringLiteral("application/x-verrin"); }

    QStringList entryIds;
    QString notes;
    qint32 seconds = 0;

    QByteArray encode() const;
    // False (and a log line, and the reason in `error`) when the bytes are not a whole payload.
    // The payload is left unchanged then.
    bool decode(const QByteArray& bytes, QString* error = nullptr);

    // A new mime data object holding the encoded payload; the caller (usually a QDrag) owns it.
    QMimeData* toMimeData() const;
    // False when the format is missing or its bytes do not decode.
    bool fromMimeData(const QMimeData* data, QString* error = nullptr);

    bool operator==(const EntriesDragPayload& other) const = default;
};
