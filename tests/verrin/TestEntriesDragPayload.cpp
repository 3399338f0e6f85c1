#include "TestKit.h"
#include "verrin/EntriesDragPayload.h"

#include <QMimeData>
#include <QRegularExpression>
#include <QtEndian>

namespace {
// The layout written out byte by byte, independent of QDataStream's own string operators:
// 32-bit big-endian count, then per id a 32-bit byte length and UTF-16 big-endian code units,
// the notes the same way, and the seconds as a 32-bit big-endian signed integer.
void putUInt32(QByteArray& bytes, quint32 value)
{
    char raw[4];
    qToBigEndian(value, raw);
    bytes.append(raw, 4);
}

void putString(QByteArray& bytes, const QString& text)
{
    putUInt32(bytes, quint32(text.size() * 2));
    for (QChar c : text) {
        bytes.append(char(c.unicode() >> 8));
        bytes.append(char(c.unicode() & 0xff));
    }
}

QByteArray handBuilt(const QStringList& ids, const QString& notes, qint32 seconds)
{
    QByteArray bytes;
    putUInt32(bytes, quint32(ids.size()));
    for (const QString& id : ids)
        putString(bytes, id);
    putString(bytes, notes);
    putUInt32(bytes, quint32(seconds));
    return bytes;
}

const QRegularExpression kRefusal(QStringLiteral("^refusing dragged entries payload"));
} // namespace

class TestEntriesDragPayload : public QObject
{
    Q_OBJECT

private slots:
    void bytesFollowTheLayout_data()
    {
        QTest::addColumn<QStringList>("ids");
        QTest::addColumn<QString>("notes");
        QTest::addColumn<int>("seconds");
        QStringList manyIds;
        for (int i = 1; i <= 1000; ++i)
            manyIds << QString::number(i * 7919);
        QTest::newRow("one id, empty notes") << QStringList{"17"} << QStringLiteral("") << 0;
        // An unset text must not go out as the null marker 0xffffffff: it is the empty text.
        QTest::newRow("unset notes travel as empty") << QStringList{"3", "4"} << QString() << 90;
        QTest::newRow("several ids") << QStringList{"1", "22", "333", "4444"} << QStringLiteral("") << 3723;
        QTest::newRow("unicode notes") << QStringList{"5"} << QStringLiteral("Überstunden – 日本 😀 \"x\"") << 59;
        QTest::newRow("nothing selected") << QStringList() << QStringLiteral("") << 0;
        QTest::newRow("a thousand ids, a long day") << manyIds << QStringLiteral("") << 2147483647;
    }

    void bytesFollowTheLayout()
    {
        QFETCH(QStringList, ids);
        QFETCH(QString, notes);
        QFETCH(int, seconds);
        const EntriesDragPayload payload{ids, notes, seconds};
        const QByteArray expected = handBuilt(ids, notes, seconds);
        QCOMPARE(payload.encode(), expected);
        EntriesDragPayload read;
        QVERIFY(read.decode(expected));
        QCOMPARE(read, payload);

        std::unique_ptr<QMimeData> mime(payload.toMimeData());
        QCOMPARE(mime->formats(), QStringList{"application/x-verrin"});
        EntriesDragPayload viaMime;
        QVERIFY(viaMime.fromMimeData(mime.get()));
        QCOMPARE(viaMime, read);
    }

    void everyTruncationIsRefused()
    {
        const QByteArray whole = handBuilt({"12", "345"}, QStringLiteral("Ä note"), 61);
        EntriesDragPayload kept;
        kept.entryIds = QStringList{"99"};
        for (qsizetype length = 0; length < whole.size(); ++length) {
            QTest::ignoreMessage(QtWarningMsg, kRefusal);
            EntriesDragPayload payload = kept;
            QString error;
            QVERIFY2(!payload.decode(whole.left(length), &error), qPrintable(QString::number(length)));
            QVERIFY(!error.isEmpty());
            QCOMPARE(payload, kept); // a refused payload leaves the old values alone
        }
    }

    void malformedPayloadsAreRefused_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QByteArray hugeCount;
        putUInt32(hugeCount, 0xffffffffu);
        putString(hugeCount, QStringLiteral("1"));
        QTest::newRow("count far beyond the bytes") << hugeCount;

        QByteArray hugeString;
        putUInt32(hugeString, 1);
        putUInt32(hugeString, 0x7ffffffe);
        hugeString.append("\0\x31", 2);
        QTest::newRow("id length beyond the bytes") << hugeString;

        QByteArray oddLength;
        putUInt32(oddLength, 1);
        putUInt32(oddLength, 3);
        oddLength.append("\0\x31\0", 3);
        putString(oddLength, QString());
        putUInt32(oddLength, 0);
        QTest::newRow("odd byte length") << oddLength;

        QByteArray nullId;
        putUInt32(nullId, 1);
        putUInt32(nullId, 0xffffffffu);
        putString(nullId, QString());
        putUInt32(nullId, 0);
        QTest::newRow("null id") << nullId;

        QTest::newRow("letters in an id") << handBuilt({"12a"}, QString(), 1);
        QTest::newRow("id zero") << handBuilt({"0"}, QString(), 1);
        QTest::newRow("id with a sign") << handBuilt({"-4"}, QString(), 1);
        QTest::newRow("statement text as an id") << handBuilt({"1) OR (1=1"}, QString(), 1);
        QTest::newRow("blank around an id") << handBuilt({" 7"}, QString(), 1);
        QTest::newRow("negative time") << handBuilt({"7"}, QString(), -5);
        QTest::newRow("a byte too many") << handBuilt({"7"}, QString(), 5) + QByteArray(1, '\0');
    }

    void malformedPayloadsAreRefused()
    {
        QFETCH(QByteArray, bytes);
        QTest::ignoreMessage(QtWarningMsg, kRefusal);
        EntriesDragPayload payload;
        QVERIFY(!payload.decode(bytes));
        QVERIFY(payload.entryIds.isEmpty());
    }

    void otherMimeDataIsRefused()
    {
        EntriesDragPayload payload;
        QVERIFY(!payload.fromMimeData(nullptr));
        QMimeData text;
        text.setText(QStringLiteral("12"));
        QString error;
        QVERIFY(!payload.fromMimeData(&text, &error));
        QVERIFY(error.contains("application/x-verrin"));
    }
};

VERRIN_TEST(TestEntriesDragPayload)
#include "TestEntriesDragPayload.moc"
