#include "verrin/EntriesDragPayload.h"

#include <QDataStream>
#include <QDebug>
#include <QIODevice>
#include <QMimeData>
#include <QRegularExpression>

namespace {
// A null string would go out as the 0xffffffff marker; the layout wants a length, so an unset
// text travels as the empty one.
QString present(const QString& text)
{
    return text.isNull() ? QStringLiteral("") : text;
}

// Reads the stream's fields one by one and checks every length against the bytes that are really
// there before anything is allocated, so a forged count cannot make us reserve gigabytes.
class PayloadReader
{
public:
    explicit PayloadReader(const QByteArray& bytes) : size(bytes.size()), in(bytes) {}

    qint64 remaining() const { return size - in.device()->pos(); }
    bool atEnd() const { return remaining() == 0; }

    bool readCount(quint32* count)
    {
        if (remaining() < 4) {
            return false;
        }
        in >> *count;
        return in.status() == QDataStream::Ok;
    }

    bool readInt(qint32* value)
    {
        if (remaining() < 4) {
            return false;
        }
        in >> *value;
        return in.status() == QDataStream::Ok;
    }

    // The QDataStream string form: a 32-bit byte length (0xffffffff for a null string), then
    // UTF-16 big-endian code units.
    bool readString(QString* text, QString* error)
    {
        quint32 length = 0;
        if (!readCount(&length)) {
            *error = QStringLiteral("text length cut off");
            return false;
        }
        if (length == 0xffffffffu) {
            *text = QString();
            return true;
        }
        if (length % 2 != 0) {
            *error = QStringLiteral("text of an odd byte length %1").arg(length);
            return false;
        }
        if (length > remaining()) {
            *error = QStringLiteral("text of %1 bytes with only %2 left").arg(length).arg(remaining());
            return false;
        }
        QByteArray raw(qsizetype(length), Qt::Uninitialized);
        if (in.readRawData(raw.data(), int(length)) != int(length)) {
            *error = QStringLiteral("text cut off");
            return false;
        }
        QString result(qsizetype(length / 2), Qt::Uninitialized);
        for (qsizetype i = 0; i < result.size(); ++i) {
            result[i] = QChar(ushort((uchar(raw[2 * i]) << 8) | uchar(raw[2 * i + 1])));
        }
        *text = result;
        return true;
    }

private:
    qint64 size;
    QDataStream in;
};

bool isEntryId(const QString& id)
{
    static const QRegularExpression digits(QStringLiteral("^[1-9][0-9]{0,17}$"));
    return digits.match(id).hasMatch();
}
} // namespace

QByteArray EntriesDragPayload::encode() const
{
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out << quint32(entryIds.size());
    for (const QString& id : entryIds) {
        out << present(id);
    }
    out << present(notes) << seconds;
    return bytes;
}

bool EntriesDragPayload::decode(const QByteArray& bytes, QString* error)
{
    QString reason;
    EntriesDragPayload read;
    PayloadReader in(bytes);
    quint32 count = 0;
    if (!in.readCount(&count)) {
        reason = QStringLiteral("no id count");
    } else if (count > in.remaining() / 4) {
        // Every id takes at least its 4-byte length.
        reason = QStringLiteral("%1 ids announced in %2 bytes").arg(count).arg(in.remaining());
    }
    for (quint32 i = 0; reason.isEmpty() && i < count; ++i) {
        QString id;
        if (!in.readString(&id, &reason)) {
            reason = QStringLiteral("id %1: ").arg(i + 1) + reason;
        } else if (!isEntryId(id)) {
            reason = QStringLiteral("id %1 is not an entry id: \"%2\"").arg(i + 1).arg(id.left(40));
        } else {
            read.entryIds << id;
        }
    }
    if (reason.isEmpty() && !in.readString(&read.notes, &reason)) {
        reason = QStringLiteral("notes: ") + reason;
    }
    if (reason.isEmpty() && !in.readInt(&read.seconds)) {
        reason = QStringLiteral("worked time cut off");
    }
    if (reason.isEmpty() && read.seconds < 0) {
        reason = QStringLiteral("negative worked time %1").arg(read.seconds);
    }
    if (reason.isEmpty() && !in.atEnd()) {
        reason = QStringLiteral("%1 bytes after the worked time").arg(in.remaining());
    }
    if (!reason.isEmpty()) {
        qWarning().noquote() << "refusing dragged entries payload (" + QString::number(bytes.size()) +
                                    " bytes): " + reason;
        if (error) {
            *error = reason;
        }
        return false;
    }
    *this = read;
    return true;
}

QMimeData* EntriesDragPayload::toMimeData() const
{
    auto* data = new QMimeData;
    data->setData(mimeType(), encode());
    return data;
}

bool EntriesDragPayload::fromMimeData(const QMimeData* data, QString* error)
{
    if (!data || !data->hasFormat(mimeType())) {
        if (error) {
            *error = QStringLiteral("no ") + mimeType() + QStringLiteral(" data");
        }
        return false;
    }
    return decode(data->data(mimeType()), error);
}
