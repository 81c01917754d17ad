// SPDX-License-Identifier: LGPL-2.1-or-later
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

#include <unistd.h>

using namespace Qt::StringLiterals;
using namespace QJBlowfishCoding;

namespace
{
QByteArray half(quint32 x)
{
    QByteArray digits(5, 0);
    for (int k = 4; k >= 0; --k, x /= 169)
        digits[k] = char(x % 169 + 1);
    return digits;
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

using QJTest::writeFile;

class TestBlowfishCoding : public QObject
{
    Q_OBJECT
private:
    QTemporaryDir m_dir;
    QString path(const QString &name) const { return m_dir.filePath(name); }

private Q_SLOTS:
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

    void dataRoundTrip_data()
    {
        QTest::addColumn<QByteArray>("plain");
        QTest::addColumn<QString>("key");
        QTest::newRow("text") << QByteArray("<plist>settings</plist>\n") << u"secret"_s;
        QTest::newRow("key beyond ASCII") << QByteArray("\xFF\x80\x01 bytes") << u"clé ✎"_s;
        QTest::newRow("empty key") << QByteArray("x") << QString();
        QTest::newRow("empty data") << QByteArray() << u"secret"_s;
    }

    void dataRoundTrip()
    {
        QFETCH(QByteArray, plain);
        QFETCH(QString, key);
        const QByteArray coded = encodeWithBlowfishKey(plain, key);
        QCOMPARE(coded.size(), plain.size() * 10);
        QVERIFY(std::all_of(coded.cbegin(), coded.cend(), [](char c) { return quint8(c) >= 1 && quint8(c) <= 169; }));
        QCOMPARE(decodeWithBlowfishKey(coded, key), plain);
        // The key is taken as UTF-8, the same bytes the cipher is given directly.
        char *direct = QJBlowfish_Encode(plain.constData(), key.toUtf8().constData());
        QCOMPARE(coded, QByteArray(direct));
        free(direct);
    }

    void decodeSizes_data()
    {
        QTest::addColumn<QByteArray>("coded");
        QTest::addColumn<QByteArray>("plain");
        const QByteArray a = encodeWithBlowfishKey(QByteArray("A"), u"k"_s);
        const QByteArray b = encodeWithBlowfishKey(QByteArray("B"), u"k"_s);
        QJBlowfishContext context;
        QJBlowfish_Init(&context, reinterpret_cast<const unsigned char *>("k"), 1);
        quint32 l = 0x4100; // deciphers to a zero low byte
        quint32 r = 0;
        QJBlowfish_Encrypt(&context, &l, &r);
        QTest::newRow("nine bytes") << a.left(9) << QByteArray();
        QTest::newRow("partial chunk") << a + b.left(5) << QByteArray("A");
        QTest::newRow("decoded zero, zero at the end") << a + half(l) + half(r) + b << QByteArray("AB\0", 3);
        QTest::newRow("zero byte refused") << a + '\0' + b << QByteArray();
    }

    void decodeSizes()
    {
        QFETCH(QByteArray, coded);
        QFETCH(QByteArray, plain);
        QCOMPARE(decodeWithBlowfishKey(coded, u"k"_s), plain);
    }

    void zeroByteRefused() { QCOMPARE(encodeWithBlowfishKey(QByteArray("ab\0cd", 5), u"k"_s), QByteArray()); }

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
            if (place == u"read-only" && !scratch.remountReadOnly())
                return u"cannot remount read-only"_s;
            if (place == u"locked folder" || place == u"locked file") {
                if (!QFile::setPermissions(place == u"locked folder" ? dir : file, QFile::ReadOwner | QFile::ExeOwner)
                    || !QJTest::Scratch::obeyPermissions())
                    return u"cannot take the write permission away"_s;
            }
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

    // Where the path cannot be a file at all, the reason says what is in the way.
    void writeToPathsThatAreNoFile()
    {
        const QString dir = path(u"folder.coded"_s);
        QVERIFY(QDir().mkpath(dir + u"/inside"_s));
        QString error;
        QVERIFY(!writeCodedToFile(sample(), dir, &error));
        QCOMPARE(error, u"Is a directory"_s);
        QCOMPARE(QDir(dir).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList {u"inside"_s});
        QVERIFY(writeFile(path(u"plain-file"_s), "x"));
        QVERIFY(!writeCodedToFile(sample(), path(u"plain-file/x.coded"_s), &error));
        QCOMPARE(error, u"Not a directory"_s);
        QVERIFY(readFromCodedFile(dir).isNone());
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

    // A dictionary that is no property list, or a missing folder: nothing is written or left behind.
    void writeFailures()
    {
        const QJDictionary unwritable {{u"o"_s, QJValue::fromObject(QVariant(QSize(1, 2)))}};
        QVERIFY(!writeCodedToFile(unwritable, path(u"unwritten.coded"_s)));
        QVERIFY(!writeCodedToFile(sample(), path(u"missing/x.coded"_s)));
        QVERIFY(!QFile::exists(path(u"unwritten.coded"_s)) && !QFile::exists(path(u"missing"_s)));
    }
};

QTEST_GUILESS_MAIN(TestBlowfishCoding)
#include "tst_blowfishcoding.moc"
