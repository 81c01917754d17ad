// SPDX-License-Identifier: LGPL-2.1-or-later
// The cipher and its framing, and the coded property-list files written with them.
#include "QJBlowfish.h"
#include "QJBlowfishCoding.h"
#include "QJPropertyListSerialization.h"
#include "qjscratchfs.h"
#include "qjtestsupport.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QScopeGuard>
#include <QSize>
#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>

#include <cstdlib>
#include <cstring>

#include <unistd.h>

using namespace Qt::StringLiterals;
using namespace QJBlowfishCoding;
using QJTest::writeFile;

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

QJDictionary sample()
{
    return QJDictionary {{u"title"_s, u"Draft – Ψυχή"_s}, {u"size"_s, 12}, {u"visible"_s, true},
        {u"recent"_s, QJArray {u"a.txt"_s, u"b.txt"_s}}, {u"window"_s, QJDictionary {{u"width"_s, 640}}}};
}

QByteArray xmlOf(const QJValue &plist)
{
    return QJPropertyListSerialization::dataFromPropertyList(plist);
}
} // namespace

class TestBlowfishCoding : public QObject
{
    Q_OBJECT
    QTemporaryDir m_dir;
    QString path(const QString &name) const { return m_dir.filePath(name); }

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
        QCOMPARE((QList<quint32> {l, r}), (QList<quint32> {word(cipher, 0), word(cipher, 4)}));
        QJBlowfish_Decrypt(&context, &l, &r);
        QCOMPARE((QList<quint32> {l, r}), (QList<quint32> {word(plain, 0), word(plain, 4)}));
    }

    void emptyKeyReadsAsZeroBytes()
    {
        const QJBlowfishContext empty = keyed(QByteArray());
        const QJBlowfishContext zeros = keyed(QByteArray(4, 0));
        QVERIFY(std::memcmp(&empty, &zeros, sizeof empty) == 0);
    }

    // Every byte's chunk is the block (c, 255 - c) enciphered and framed; decoding gives it back.
    // The coding functions give the same bytes, taking the key as UTF-8.
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
        QCOMPARE(encodeWithBlowfishKey(plain, QString::fromUtf8(key)), expected);
        QCOMPARE(decodeWithBlowfishKey(expected, QString::fromUtf8(key)), plain);
    }

    // The cipher's encoder stops at a zero byte; the coding refuses data that holds one.
    void zeroBytes()
    {
        const QByteArray coded = run(QJBlowfish_Encode, QByteArray("AB\0CD", 5), "key", 21);
        QCOMPARE(coded, run(QJBlowfish_Encode, "AB", "key", 21));
        QCOMPARE(qstrlen(coded.constData()), size_t(20));
        QCOMPARE(encodeWithBlowfishKey(QByteArray("ab\0cd", 5), u"k"_s), QByteArray());
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

    // The cipher's whole result buffer: the plain bytes, then zeros up to and including index
    // chunk count. The coding gives the first chunk count bytes and refuses a zero byte.
    void decodeFraming_data()
    {
        QTest::addColumn<QByteArray>("coded");
        QTest::addColumn<QByteArray>("buffer");
        QTest::addColumn<QByteArray>("plain");
        const QJBlowfishContext context = keyed("key");
        const QByteArray a = chunk(context, 'A', 255 - 'A');
        const QByteArray b = chunk(context, 'B', 255 - 'B');
        QTest::newRow("empty") << QByteArray() << QByteArray(1, 0) << QByteArray();
        // The halves 0x12345678 and 0xFFFFFFFF, digit by digit.
        quint32 exampleL = 0x12345678;
        quint32 exampleR = 0xFFFFFFFF;
        QJBlowfish_Decrypt(&context, &exampleL, &exampleR);
        QTest::newRow("example halves") << QByteArray("\x01\x40\x2F\x66\x37\x06\x2D\x8A\x7E\x71")
                                        << QByteArray(1, char(exampleL & 0xFF)) + '\0'
                                        << QByteArray(1, char(exampleL & 0xFF));
        QTest::newRow("partial chunk ignored")
            << a + b + "\x05\x05\x05\x05\x05" << QByteArray("AB\0", 3) << QByteArray("AB");
        QTest::newRow("nine bytes") << a.left(9) << QByteArray(1, 0) << QByteArray();
        // A chunk deciphering to a zero byte adds nothing, but still counts.
        QTest::newRow("zero byte adds nothing")
            << a + chunk(context, 0x100, 7) + b << QByteArray("AB\0\0", 4) << QByteArray("AB\0", 3);
        QTest::newRow("zero byte in the coded text") << a + '\0' + b << QByteArray("A\0", 2) << QByteArray();
        // Digits 6, 0, 0, 0, 0 weigh 6 * 169^4 = 4894384326, which wraps to 599417030.
        quint32 l = 599417030;
        quint32 r = 0;
        QJBlowfish_Decrypt(&context, &l, &r);
        QVERIFY(l & 0xFF);
        QTest::newRow("half above 32 bits wraps")
            << QByteArray("\x07\x01\x01\x01\x01\x01\x01\x01\x01\x01") << QByteArray(1, char(l & 0xFF)) + '\0'
            << QByteArray(1, char(l & 0xFF));
    }

    void decodeFraming()
    {
        QFETCH(QByteArray, coded);
        QFETCH(QByteArray, buffer);
        QFETCH(QByteArray, plain);
        QCOMPARE(run(QJBlowfish_Decode, coded, "key", buffer.size()), buffer);
        QCOMPARE(decodeWithBlowfishKey(coded, u"key"_s), plain);
    }

    void keyConstantsHaveTheirForms_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<int>("units");
        QTest::addColumn<int>("ascii");
        QTest::addColumn<int>("utf8");
        QTest::newRow("primary") << QJCodedFilePrimaryKey << 46 << 23 << 72;
        QTest::newRow("fallback") << QJCodedFileFallbackKey << 72 << 23 << 141;
    }

    void keyConstantsHaveTheirForms()
    {
        QFETCH(QString, key);
        QFETCH(int, units);
        QFETCH(int, ascii);
        QFETCH(int, utf8);
        QCOMPARE(key.size(), units);
        QCOMPARE(int(std::count_if(key.cbegin(), key.cend(), [](QChar c) { return c.unicode() < 0x80; })), ascii);
        QVERIFY(std::all_of(key.cbegin(), key.cend(), [](QChar c) { return c.unicode() >= 0x20 && c != u'\x7F'; }));
        QCOMPARE(key.toUtf8().size(), utf8);
        QVERIFY(QJCodedFilePrimaryKey.toUtf8().left(72) != QJCodedFileFallbackKey.toUtf8().left(72));
    }

    // Strings go through the 8-bit encoding; a coded string survives only when its bytes are ASCII.
    void stringForms()
    {
        const QString text = u"Hi"_s;
        const auto ascii = [](const QByteArray &b) {
            return !b.isEmpty() && std::all_of(b.cbegin(), b.cend(), [](char c) { return c > 0; });
        };
        QString key;
        QByteArray coded;
        for (int i = 0; i < 1000 && !ascii(coded); ++i) {
            key = u"key%1"_s.arg(i);
            coded = encodeWithBlowfishKey(text.toLocal8Bit(), key);
        }
        QVERIFY(ascii(coded));
        const QString codedString = encodeWithBlowfishKey(text, key);
        QCOMPARE(codedString, QString::fromLatin1(coded));
        QCOMPARE(decodeWithBlowfishKey(codedString, key), text);
        QCOMPARE(encodeWithBlowfishKey(u"Hi\0there"_s, key), codedString);
    }

    void readCodedFile_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<QJValue>("expected");
        const QByteArray xml = xmlOf(sample());
        const QByteArray primary = encodeWithBlowfishKey(xml, QJCodedFilePrimaryKey);
        const QByteArray fallback = encodeWithBlowfishKey(xml, QJCodedFileFallbackKey);
        QByteArray damaged = primary;
        damaged[3] = char(damaged[3] == 'x' ? 'y' : 'x');
        QTest::newRow("primary key") << primary << QJValue(sample());
        QTest::newRow("fallback key") << fallback << QJValue(sample());
        QTest::newRow("other key") << encodeWithBlowfishKey(xml, u"another"_s) << QJValue();
        QTest::newRow("cut inside the last chunk") << primary.chopped(3) << QJValue(sample());
        QTest::newRow("cut in half") << primary.left(primary.size() / 2) << QJValue();
        QTest::newRow("first chunk damaged") << damaged << QJValue();
        QTest::newRow("zero byte inside") << primary.left(50) + '\0' + primary.mid(50) << QJValue();
        QTest::newRow("plain XML") << xml << QJValue();
        QTest::newRow("empty") << QByteArray("") << QJValue();
        QTest::newRow("missing file") << QByteArray() << QJValue(); // null: nothing is written
        const QJArray array {u"one"_s, 2};
        QTest::newRow("array") << encodeWithBlowfishKey(xmlOf(array), QJCodedFilePrimaryKey) << QJValue(array);
    }

    void readCodedFile()
    {
        QFETCH(QByteArray, contents);
        QFETCH(QJValue, expected);
        const QString file = path(u"read.coded"_s);
        QFile::remove(file);
        if (!contents.isNull())
            QVERIFY(writeFile(file, contents));
        const QJValue read = readFromCodedFile(file);
        QCOMPARE(read, expected);
        QVERIFY(!read.isDictionary() || !read.toDictionary().isMutable());
    }

    // A hard link sees the new contents only when the file is rewritten in place.
    void writeReplacesInPlace()
    {
        const QString file = path(u"inplace.coded"_s);
        const QString link = path(u"inplace-link.coded"_s);
        QVERIFY(writeCodedToFile(QJDictionary {{u"old"_s, true}}, file));
        QCOMPARE(::link(QFile::encodeName(file).constData(), QFile::encodeName(link).constData()), 0);
        QVERIFY(writeCodedToFile(sample(), file));
        QCOMPARE(readFromCodedFile(link), QJValue(sample()));
        // Shorter contents cut the file to their length.
        QVERIFY(writeCodedToFile(QJDictionary {{u"old"_s, true}}, file));
        QCOMPARE(readFromCodedFile(link), QJValue(QJDictionary {{u"old"_s, true}}));
        QCOMPARE(QFileInfo(link).size(), xmlOf(QJDictionary {{u"old"_s, true}}).size() * 10);
    }

    // A full disk, a read-only file system and a folder the writer may not change: the write
    // fails with the system's reason and the existing file stays whole, except that a file is
    // rewritten in place wherever the file itself may be written.
    void writeWhereItCannotBeDone_data()
    {
        QTest::addColumn<QString>("place");
        QTest::addColumn<bool>("inPlaceWorks");
        QTest::addColumn<QString>("why");
        QTest::newRow("full disk") << u"full"_s << false << u"No space left on device"_s;
        QTest::newRow("read-only file system") << u"read-only"_s << false << u"Read-only file system"_s;
        QTest::newRow("folder without write permission") << u"locked folder"_s << true << u"Permission denied"_s;
        QTest::newRow("file without write permission") << u"locked file"_s << false << u"Permission denied"_s;
    }

    void writeWhereItCannotBeDone()
    {
        QFETCH(QString, place);
        QFETCH(bool, inPlaceWorks);
        QFETCH(QString, why);
        const QString dir = path(place);
        QVERIFY(QDir().mkpath(dir));
        const QString file = dir + u"/existing.coded"_s;
        const QString fresh = dir + u"/fresh.coded"_s;
        const QJDictionary old {{u"version"_s, 1}};
        // Coded, ten times its 20 kB of XML: more than the whole 64 kB scratch file system.
        const QJDictionary large {{u"text"_s, QString(20000, u'x')}};
        const auto restore = qScopeGuard([&] {
            QFile::setPermissions(dir, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
            QFile::setPermissions(file, QFile::ReadOwner | QFile::WriteOwner);
        });
        QJ_RUN_IN_SCRATCH(dir, place == u"full" || place == u"read-only" ? 64 : 0, [&](QJTest::Scratch &scratch) {
            if (!writeCodedToFile(old, file))
                return u"the existing file cannot be made"_s;
            if (const QString failed = scratch.makeUnwritable(place, place == u"locked folder" ? dir : file);
                !failed.isEmpty())
                return failed;
            const QJDictionary next = place == u"full" ? large : QJDictionary {{u"version"_s, 2}};
            QString error;
            if (writeCodedToFile(next, file, &error) != inPlaceWorks)
                return u"rewriting the existing file answered %1"_s.arg(!inPlaceWorks);
            if (!inPlaceWorks && error != why)
                return u"rewriting the existing file failed with \"%1\""_s.arg(error);
            if (readFromCodedFile(file) != QJValue(inPlaceWorks ? next : old))
                return u"the existing file holds %1"_s.arg(readFromCodedFile(file).description());
            if (place != u"locked file" && (writeCodedToFile(next, fresh, &error) || QFile::exists(fresh)))
                return u"a new file was written or left behind"_s;
            if (place != u"locked file" && error != why)
                return u"writing a new file failed with \"%1\""_s.arg(error);
            return QString();
        });
    }

    void writeRefused_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QJDictionary>("dictionary");
        QTest::addColumn<QString>("why");
        // Where the path cannot be a file, the reason says what is in the way.
        QTest::newRow("a folder") << u"folder.coded"_s << sample() << u"Is a directory"_s;
        QTest::newRow("below a file") << u"plain-file/x.coded"_s << sample() << u"Not a directory"_s;
        QTest::newRow("missing folder") << u"missing/x.coded"_s << sample() << u"No such file or directory"_s;
        QTest::newRow("no property list")
            << u"unwritten.coded"_s << QJDictionary {{u"o"_s, QJValue::fromObject(QVariant(QSize(1, 2)))}}
            << u"a property list cannot hold an object of type QSize"_s;
    }

    // Nothing is written or left behind, and what was in the way stays as it was.
    void writeRefused()
    {
        QFETCH(QString, name);
        QFETCH(QJDictionary, dictionary);
        QFETCH(QString, why);
        QVERIFY(QDir().mkpath(path(u"folder.coded/inside"_s)));
        QVERIFY(writeFile(path(u"plain-file"_s), "x"));
        QString error;
        QVERIFY(!writeCodedToFile(dictionary, path(name), &error));
        QCOMPARE(error, why);
        QCOMPARE(QDir(path(u"folder.coded"_s)).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
            QStringList {u"inside"_s});
        QVERIFY(!QFile::exists(path(u"missing"_s)) && !QFile::exists(path(u"unwritten.coded"_s)));
        QVERIFY(readFromCodedFile(path(u"folder.coded"_s)).isNone());
    }

    // Reading stops at what cannot be coded data, and what is too large is refused unread, so
    // memory stays bounded whatever the file is.
    void readingIsBounded()
    {
        constexpr qint64 limit = QJPropertyListSerialization::MaximumSize * 10;
        QFile sparse(path(u"sparse.coded"_s));
        bool allNone = true;
        const qint64 rise = QJTest::peakMemoryRiseKiB([&] {
            allNone = readFromCodedFile(u"/dev/zero"_s).isNone(); // endless, and a zero byte at once
            for (qint64 size : {limit, limit + 1}) {
                // Holes: nothing is written, and they read as zero bytes.
                if (!sparse.open(QIODevice::WriteOnly | QIODevice::Truncate) || !sparse.resize(size))
                    allNone = false;
                sparse.close();
                allNone = allNone && readFromCodedFile(sparse.fileName()).isNone();
            }
        });
        QVERIFY(allNone);
        if (rise < 0)
            QSKIP("the kernel does not report peak memory");
        QVERIFY2(rise < 64 * 1024, qPrintable(u"memory rose by %1 KiB"_s.arg(rise)));
    }
};

QTEST_GUILESS_MAIN(TestBlowfishCoding)
#include "tst_blowfishcoding.moc"
