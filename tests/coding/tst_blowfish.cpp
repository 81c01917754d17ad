// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJBlowfish.h"

#include <QFile>
#include <QTest>
#include <QtEndian>

#include <cstdlib>
#include <cstring>

using namespace Qt::StringLiterals;

namespace
{
QJBlowfishContext keyed(const QByteArray &key)
{
    QJBlowfishContext context;
    QJBlowfish_Init(&context, reinterpret_cast<const unsigned char *>(key.constData()), size_t(key.size()));
    return context;
}

// The framing of one half, written independently of the library: five base-169 digits plus one.
QByteArray half(quint32 x)
{
    QByteArray digits(5, 0);
    for (int k = 4; k >= 0; --k, x /= 169)
        digits[k] = char(x % 169 + 1);
    return digits;
}

QByteArray chunk(const QJBlowfishContext &context, quint32 l, quint32 r)
{
    QJBlowfish_Encrypt(&context, &l, &r);
    return half(l) + half(r);
}

// Runs an encode or decode and hands back its whole buffer, including the bytes after the string.
QByteArray run(char *(*coder)(const char *, const char *), const QByteArray &in, const QByteArray &key, qsizetype size)
{
    char *out = coder(in.constData(), key.constData());
    const QByteArray result(out, size);
    std::free(out);
    return result;
}
} // namespace

class TestBlowfish : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void knownAnswers_data()
    {
        QTest::addColumn<QByteArray>("key");
        QTest::addColumn<QByteArray>("plain");
        QTest::addColumn<QByteArray>("cipher");
        QFile file(qEnvironmentVariable("QJKIT_TEST_DATA") + u"/blowfish-ecb-vectors.txt"_s);
        QVERIFY2(file.open(QIODevice::ReadOnly), qPrintable(file.fileName()));
        QByteArray section;
        int rows = 0;
        while (!file.atEnd()) {
            const QByteArray line = file.readLine().trimmed();
            if (line.startsWith("# Section")) {
                section = line.mid(2, line.indexOf(':') - 2); // "Section 1"
                continue;
            }
            const QList<QByteArray> fields = line.split(' ');
            if (line.isEmpty() || line.startsWith('#') || fields.size() != 3)
                continue;
            QTest::addRow("%s %s", section.constData(), fields[0].constData())
                << QByteArray::fromHex(fields[0]) << QByteArray::fromHex(fields[1]) << QByteArray::fromHex(fields[2]);
            ++rows;
        }
        QCOMPARE(rows, 57);
    }

    void knownAnswers()
    {
        QFETCH(QByteArray, key);
        QFETCH(QByteArray, plain);
        QFETCH(QByteArray, cipher);
        const QJBlowfishContext context = keyed(key);
        const auto word = [](const QByteArray &b, int at) { return qFromBigEndian<quint32>(b.constData() + at); };
        quint32 l = word(plain, 0);
        quint32 r = word(plain, 4);
        QJBlowfish_Encrypt(&context, &l, &r);
        QCOMPARE(l, word(cipher, 0));
        QCOMPARE(r, word(cipher, 4));
        QJBlowfish_Decrypt(&context, &l, &r);
        QCOMPARE(l, word(plain, 0));
        QCOMPARE(r, word(plain, 4));
    }

    void emptyKeyReadsAsZeroBytes()
    {
        const QJBlowfishContext empty = keyed(QByteArray());
        const QJBlowfishContext zeros = keyed(QByteArray(4, 0));
        QVERIFY(std::memcmp(&empty, &zeros, sizeof empty) == 0);
    }

    // Every byte's chunk is the block (c, 255 - c) enciphered and framed; decoding gives it back.
    void encodeFramesEachByte_data()
    {
        QTest::addColumn<QByteArray>("key");
        QTest::newRow("short") << QByteArray("k");
        QTest::newRow("bytes above 127") << u"clé ✎"_s.toUtf8();
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("80 bytes") << QByteArray(80, 'x');
    }

    void encodeFramesEachByte()
    {
        QFETCH(QByteArray, key);
        QByteArray plain;
        for (int c = 1; c < 256; ++c)
            plain += char(c);
        plain += plain; // repeated bytes come from the same chunk
        const QJBlowfishContext context = keyed(key);
        QByteArray expected;
        for (const char c : std::as_const(plain))
            expected += chunk(context, quint8(c), 255 - quint8(c));
        QCOMPARE(run(QJBlowfish_Encode, plain, key, expected.size() + 1), expected + '\0');
        QCOMPARE(run(QJBlowfish_Decode, expected, key, plain.size() + 1), plain + '\0');
    }

    void encodeStopsAtZeroByte()
    {
        const QByteArray coded = run(QJBlowfish_Encode, QByteArray("AB\0CD", 5), "key", 21);
        QCOMPARE(coded, run(QJBlowfish_Encode, "AB", "key", 21));
        QCOMPARE(qstrlen(coded.constData()), size_t(20));
    }

    void onlyTheFirst72KeyBytesCount()
    {
        QByteArray key;
        for (int i = 0; i < 100; ++i)
            key += char('A' + i % 50);
        const QByteArray coded = run(QJBlowfish_Encode, "settings", key, 81);
        QCOMPARE(coded, run(QJBlowfish_Encode, "settings", key.left(72), 81));
        QVERIFY(coded != run(QJBlowfish_Encode, "settings", key.left(71), 81));
    }

    // The whole result buffer: the plain bytes, then zeros up to and including index chunk count.
    void decodeFraming_data()
    {
        QTest::addColumn<QByteArray>("coded");
        QTest::addColumn<QByteArray>("buffer");
        const QJBlowfishContext context = keyed("key");
        const QByteArray a = chunk(context, 'A', 255 - 'A');
        const QByteArray b = chunk(context, 'B', 255 - 'B');
        QTest::newRow("empty") << QByteArray() << QByteArray(1, 0);
        // The halves 0x12345678 and 0xFFFFFFFF, digit by digit.
        quint32 exampleL = 0x12345678;
        quint32 exampleR = 0xFFFFFFFF;
        QJBlowfish_Decrypt(&context, &exampleL, &exampleR);
        QTest::newRow("example halves") << QByteArray("\x01\x40\x2F\x66\x37\x06\x2D\x8A\x7E\x71")
                                        << QByteArray(1, char(exampleL & 0xFF)) + '\0';
        QTest::newRow("partial chunk ignored") << a + b + "\x05\x05\x05\x05\x05" << QByteArray("AB\0", 3);
        QTest::newRow("nine bytes") << a.left(9) << QByteArray(1, 0);
        QTest::newRow("zero byte adds nothing") << a + chunk(context, 0x100, 7) + b << QByteArray("AB\0\0", 4);
        // Digits 6, 0, 0, 0, 0 weigh 6 * 169^4 = 4894384326, which wraps to 599417030.
        quint32 l = 599417030;
        quint32 r = 0;
        QJBlowfish_Decrypt(&context, &l, &r);
        QVERIFY(l & 0xFF);
        QTest::newRow("half above 32 bits wraps")
            << QByteArray("\x07\x01\x01\x01\x01\x01\x01\x01\x01\x01") << QByteArray(1, char(l & 0xFF)) + '\0';
    }

    void decodeFraming()
    {
        QFETCH(QByteArray, coded);
        QFETCH(QByteArray, buffer);
        QCOMPARE(run(QJBlowfish_Decode, coded, "key", buffer.size()), buffer);
    }
};

QTEST_APPLESS_MAIN(TestBlowfish)
#include "tst_blowfish.moc"
