// SPDX-License-Identifier: LGPL-2.1-or-later
// Property lists in every format, strings tables, the bundles that hold them, and their files
// and settings files where writing fails, or where reading meets a file that is huge, endless or
// not a file at all.
#include "QJBundle.h"
#include "QJPropertyListSerialization.h"
#include "QJUserDefaults.h"
#include "qjplistformats_p.h"
#include "qjscratchfs.h"
#include "qjtestsupport.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QLocale>
#include <QProcess>
#include <QRandomGenerator>
#include <QScopeGuard>
#include <QStringEncoder>
#include <QTemporaryDir>
#include <QTest>

#include <functional>

#include <sys/resource.h>

using namespace Qt::StringLiterals;
using PL = QJPropertyListSerialization;
using QJTest::readFile;
using QJTest::writeFile;

namespace
{
QByteArray wrap(const QByteArray &body)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n" + body + "\n</plist>\n";
}

QByteArray nested(int depth)
{
    return QByteArray("<array>").repeated(depth) + QByteArray("</array>").repeated(depth);
}

bool allContainersHave(const QJValue &v, bool mutableFlag)
{
    const QList<QJValue> children = v.isArray() ? v.toArray().toList()
        : v.isDictionary()                      ? v.toDictionary().allValues()
                                                : QList<QJValue>();
    if ((v.isArray() && v.toArray().isMutable() != mutableFlag)
        || (v.isDictionary() && v.toDictionary().isMutable() != mutableFlag))
        return false;
    return std::all_of(
        children.cbegin(), children.cend(), [=](const QJValue &e) { return allContainersHave(e, mutableFlag); });
}

// A binary property list of @p objects, object 0 the top one: one-byte references, two-byte offsets.
QByteArray binaryList(const QList<QByteArray> &objects)
{
    QByteArray data("bplist00");
    QByteArray offsets;
    for (const QByteArray &object : objects) {
        offsets += char(data.size() >> 8);
        offsets += char(data.size() & 0xFF);
        data += object;
    }
    QByteArray trailer(32, '\0');
    trailer[6] = 2;
    trailer[7] = 1;
    trailer[15] = char(objects.size());
    trailer[30] = char(data.size() >> 8);
    trailer[31] = char(data.size() & 0xFF);
    return data + offsets + trailer;
}

// Each of `levels` arrays holds the next one twice: 2^levels paths through a few bytes per level.
QByteArray doublingBinaryList(int levels)
{
    QList<QByteArray> objects;
    for (int i = 0; i < levels; ++i)
        objects.append(QByteArray("\xA2") + char(i + 1) + char(i + 1));
    objects.append("\x09"); // true
    return binaryList(objects);
}
} // namespace

class TestQJPropertyList : public QObject
{
    Q_OBJECT
    QTemporaryDir m_cases;
    int m_caseCount = 40;
    QTemporaryDir m_dir;

private Q_SLOTS:
    void initTestCase()
    {
        // Reference files come from Python's plistlib, generated afresh with a fixed seed.
        QVERIFY(m_cases.isValid());
        const int status = QProcess::execute(u"python3"_s,
            {QJTest::dataPath(u"make_plists.py"_s), m_cases.path(), QString::number(m_caseCount), u"20261121"_s});
        QCOMPARE(status, 0);
    }

    void writesWhatAReferenceSerializerWrites_data()
    {
        QTest::addColumn<QString>("input");
        QTest::addColumn<QString>("reference");
        for (int i = 0; i < m_caseCount; ++i) {
            const QString base = m_cases.filePath(QString::number(i));
            QTest::addRow("xml %d", i) << base + u".xml"_s << base + u".xml"_s;
            QTest::addRow("binary %d", i) << base + u".bplist"_s << base + u".xml"_s;
        }
    }

    // Read mutable or immutable, every container is so, and the trees are equal.
    void writesWhatAReferenceSerializerWrites()
    {
        QFETCH(QString, input);
        QFETCH(QString, reference);
        QString error;
        const QJValue plist = PL::propertyListFromFile(input, QJMutability::Immutable, nullptr, &error);
        QVERIFY2(!plist.isNone(), qPrintable(error));
        QCOMPARE(PL::dataFromPropertyList(plist), readFile(reference));
        QByteArray pieces;
        QVERIFY(PL::writePropertyList(plist, [&](QByteArrayView piece) {
            pieces += piece;
            return true;
        }));
        QCOMPARE(pieces, readFile(reference));
        const QJValue mutableTree = PL::propertyListFromFile(input, QJMutability::Mutable);
        QVERIFY(allContainersHave(plist, false));
        QVERIFY(allContainersHave(mutableTree, true));
        QCOMPARE(mutableTree, plist);
    }

    void writerRefusesWhatIsNotAPropertyList_data()
    {
        QTest::addColumn<QJValue>("plist");
        QTest::addColumn<QString>("reason");
        QTest::newRow("none") << QJValue() << u"missing value"_s;
        QTest::newRow("none in an array") << QJValue(QJArray {1, QJValue()}) << u"missing value"_s;
        QTest::newRow("object leaf") << QJValue::fromObject(QVariant::fromValue(QPoint(1, 2))) << u"QPoint"_s;
        QTest::newRow("control character") << QJValue(QJDictionary {{u"k"_s, u"bell\x07"_s}}) << u"U+0007"_s;
        QTest::newRow("noncharacter") << QJValue(u"a\uffffb"_s) << u"U+ffff"_s;
        QTest::newRow("unpaired surrogate") << QJValue(QString(QChar(0xD800))) << u"surrogate"_s;
        // A string with several faults is refused for its surrogate first, wherever the others are.
        QTest::newRow("control character, then surrogate")
            << QJValue(u"\x01\xFFFF"_s + QChar(0xDC00)) << u"surrogate"_s;
        QJValue deep = 1;
        for (int i = 0; i < 513; ++i)
            deep = QJArray {deep};
        QTest::newRow("too deep") << deep << u"deeper than 512"_s;
    }

    void writerRefusesWhatIsNotAPropertyList()
    {
        QFETCH(QJValue, plist);
        QFETCH(QString, reason);
        QString error;
        QVERIFY(PL::dataFromPropertyList(plist, PL::XmlFormat_v1_0, &error).isEmpty());
        QVERIFY2(error.contains(reason), qPrintable(error));
        QVERIFY(!PL::propertyListIsValidForFormat(plist));
        // Written in pieces, not one piece goes out, and the reason is the same.
        QString piecesError;
        int pieces = 0;
        QVERIFY(!PL::writePropertyList(
            plist, [&](QByteArrayView) { return ++pieces > 0; }, &piecesError));
        QCOMPARE(pieces, 0);
        QCOMPARE(piecesError, error);
        QVERIFY(PL::dataFromPropertyList(QJValue(1), PL::BinaryFormat_v1_0, &error).isEmpty());
    }

    void lineEndsInStringsBecomeLineFeeds()
    {
        const QByteArray xml = PL::dataFromPropertyList(QJValue(u"a\r\nb\rc\td"_s));
        QVERIFY(xml.contains("<string>a\nb\nc\td</string>"));
        QCOMPARE(PL::propertyListFromData(xml), QJValue(u"a\nb\nc\td"_s));
    }

    void readsTheOldStyleFormat()
    {
        const QByteArray text = "// settings\n{ name = \"The \\\"Long\\\" Night\"; tags = (draft, \"two words\",); "
                                "cover = <0001 ff>; nested = { e = \"caf\\U00e9\\n\"; }; /* done */ }";
        PL::Format format {};
        QString error;
        const QJValue plist = PL::propertyListFromData(text, QJMutability::Mutable, &format, &error);
        QVERIFY2(plist.isDictionary(), qPrintable(error));
        QCOMPARE(format, PL::OpenStepFormat);
        QCOMPARE(plist.valueForKey(u"name"_s), QJValue(u"The \"Long\" Night"_s));
        QCOMPARE(plist.valueForKey(u"tags"_s), QJValue(QJArray {u"draft"_s, u"two words"_s}));
        QCOMPARE(plist.valueForKey(u"cover"_s), QJValue(QByteArray::fromHex("0001ff")));
        QCOMPARE(plist.valueForKeyPath(u"nested.e"_s), QJValue(u"caf\u00e9\n"_s));
        QVERIFY(plist.valueForKey(u"nested"_s).toDictionary().isMutable());
    }

    void badInputAnswersNoneWithAReason_data()
    {
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<QString>("reason");
        QTest::newRow("empty") << QByteArray() << u"empty"_s;
        QTest::newRow("malformed XML") << wrap("<dict><key>a</key><string>x</dict>") << u"mismatch"_s;
        QTest::newRow("wrong root") << QByteArray("<html><body/></html>") << u"unknown element <html>"_s;
        QTest::newRow("unknown tag") << wrap("<array><float>1</float></array>") << u"unknown element <float>"_s;
        QTest::newRow("two values") << wrap("<true/><false/>") << u"more than one value"_s;
        QTest::newRow("empty plist") << wrap("") << u"empty"_s;
        QTest::newRow("key without value") << wrap("<dict><key>a</key></dict>") << u"has no value"_s;
        QTest::newRow("value without key") << wrap("<dict><string>a</string></dict>") << u"where a <key> belongs"_s;
        QTest::newRow("key outside dict") << wrap("<key>a</key>") << u"outside a dictionary"_s;
        QTest::newRow("invalid base64") << wrap("<data>AB$C</data>") << u"base64"_s;
        QTest::newRow("invalid date") << wrap("<date>2024-02-30T00:00:00Z</date>") << u"not a valid date"_s;
        QTest::newRow("date without zone") << wrap("<date>2024-01-01T00:00:00</date>") << u"ISO 8601"_s;
        QTest::newRow("integer out of range") << wrap("<integer>18446744073709551616</integer>") << u"in range"_s;
        QTest::newRow("real that is not") << wrap("<real>1.2.3</real>") << u"not a real"_s;
        QTest::newRow("text in true") << wrap("<true>yes</true>") << u"must be empty"_s;
        QTest::newRow("markup in string") << wrap("<string>a<b/></string>") << u"Expected character data"_s;
        QTest::newRow("entity declaration")
            << QByteArray("<?xml version=\"1.0\"?><!DOCTYPE plist [<!ENTITY a \"aaaa\">"
                          "<!ENTITY b \"&a;&a;&a;&a;\">]><plist><string>&b;</string></plist>")
            << u"entity declarations"_s;
        QTest::newRow("undeclared entity") << wrap("<string>&nope;</string>") << u"nope"_s;
        QTest::newRow("binary trailer only") << QByteArray("bplist00") + QByteArray(32, '\0') << u"trailer"_s;
        QTest::newRow("not UTF-8 text") << QByteArray("{ a = \"\xff\"; }") << u"UTF-8"_s;
        QTest::newRow("old style unterminated") << QByteArray("{ a = (1, 2; }") << u"expected"_s;
        // Nesting is bounded at 512 in every format (512 levels read: a row of the subset reader's table).
        QTest::newRow("XML 513 levels") << wrap(nested(513)) << u"deeper than 512"_s;
        QTest::newRow("old style nested deeply") << QByteArray("(").repeated(100000) << u"deeper than 512"_s;
    }

    void badInputAnswersNoneWithAReason()
    {
        QFETCH(QByteArray, data);
        QFETCH(QString, reason);
        QString error;
        const QJValue plist = PL::propertyListFromData(data, QJMutability::Immutable, nullptr, &error);
        QCOMPARE(plist.type(), QJValue::None);
        QVERIFY2(error.contains(reason, Qt::CaseInsensitive), qPrintable(error));
    }

    void subsetReaderReadsAsTheGeneralReader_data()
    {
        QTest::addColumn<QByteArray>("document");
        QTest::addColumn<bool>("subset"); // whether the subset reader reads it itself
        const QByteArray header = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist PUBLIC \"-//Apple//DTD "
                                  "PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n";
        // What the writer writes, with its header.
        QTest::newRow("written") << header
                + "<plist version=\"1.0\">\n<dict>\n\t<key>a</key>\n\t<array>\n"
                  "\t\t<integer>-3</integer>\n\t\t<real>0.5</real>\n\t\t<true/>\n"
                  "\t\t<date>2024-05-01T12:30:00Z</date>\n\t\t<data>\n\t\tAAEC\n\t\t</data>\n"
                  "\t</array>\n</dict>\n</plist>\n"
                                 << true;
        // Line ends in text become line feeds, in CDATA too; a character reference keeps its CR.
        QTest::newRow("line ends") << wrap("<string>a\r\nb\rc<![CDATA[\r\n]]>&#13;</string>") << true;
        // The five entities, references in decimal and hex, and text beyond ASCII.
        QTest::newRow("references") << wrap("<string>&lt;&gt;&amp;&apos;&quot;&#65;&#x1F600;\xc3\xa9</string>") << true;
        // A byte-order mark that starts a text is a character of it, not a mark to drop.
        QTest::newRow("byte-order mark in text") << wrap("<array><string>\xef\xbb\xbf"
                                                         "a</string>"
                                                         "<integer>\xef\xbb\xbf"
                                                         "5</integer></array>")
                                                 << false;
        QTest::newRow("byte-order mark in a string") << wrap("<string>\xef\xbb\xbf\xef\xbb\xbf"
                                                             "a</string>")
                                                     << true;
        // Comments, processing instructions and CDATA inside a leaf; markup kept inside CDATA.
        QTest::newRow("inside a leaf") << wrap("<string>a<?p x?><![CDATA[<x>]]><!-- c -->b</string>") << true;
        // White space, comments and instructions between elements, before and after the root.
        QTest::newRow("between elements") << QByteArray("\xEF\xBB\xBF<!-- a --><?p?>\n<plist version='1.0'>\r\n"
                                                        "<!-- b --><array> <true/>\t<false /></array>\n</plist>\n<?q?>")
                                          << true;
        // Empty elements: an empty key and empty text.
        QTest::newRow("empty elements") << wrap("<dict><key/><string/></dict>") << true;
        // A value without the plist element around it.
        QTest::newRow("bare root") << QByteArray("<dict><key>k</key><string>v</string></dict>") << true;
        // A key given again keeps its place and takes the later value, below and above the indexed size.
        QTest::newRow("key again") << wrap("<dict><key>a</key><true/><key>b</key><true/><key>a</key><false/></dict>")
                                   << true;
        QByteArray many = "<dict>";
        for (int i = 0; i < 20; ++i)
            many += "<key>k" + QByteArray::number(i % 15) + "</key><integer>" + QByteArray::number(i) + "</integer>";
        QTest::newRow("key again, indexed") << wrap(many + "</dict>") << true;
        // Leaves with white space around their text, and numbers or dates the subset does not convert itself.
        QTest::newRow("unusual leaves") << wrap("<array><integer> 0x1F </integer><integer>+5</integer><real>.5</real>"
                                                "<real>4.9e-324</real><real>-0</real><real> NaN </real>"
                                                "<date>2024Z</date><data>AA\n EC</data><true> </true></array>")
                                        << true;
        // Non-ASCII white space is trimmed as QString::trimmed() does.
        QTest::newRow("no-break space") << wrap("<array><integer>\xc2\xa0"
                                                "5</integer><data>AA\xc2\xa0"
                                                "EC</data></array>")
                                        << true;
        // Nesting at the limit.
        QTest::newRow("512 levels") << wrap(nested(512)) << true;
        // Declined: well-formed, but beyond the subset; the general reader reads them.
        QTest::newRow("other encoding") << QByteArray(
            "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><string>\xe9</string>")
                                        << false;
        QTest::newRow("internal subset") << QByteArray("<!DOCTYPE plist [ ]><plist><true/></plist>") << false;
        QTest::newRow("namespaces") << QByteArray("<plist xmlns=\"urn:x\"><true/></plist>") << false;
        QTest::newRow("DOCTYPE after the root") << QByteArray("<plist><true/></plist><!DOCTYPE plist>") << false;
        // Declined: malformed or refused; the general reader says why.
        QTest::newRow("513 levels") << wrap(nested(513)) << false;
        QTest::newRow("]]> in text") << wrap("<string>a]]>b</string>") << false;
        QTest::newRow("attribute repeated") << QByteArray("<plist a=\"1\" a=\"2\"><true/></plist>") << false;
        QTest::newRow("reference to NUL") << wrap("<string>&#0;</string>") << false;
        QTest::newRow("U+FFFE") << wrap("<string>\xef\xbf\xbe</string>") << false;
        QTest::newRow("surrogate in UTF-8") << wrap("<string>\xed\xa0\x80</string>") << false;
        QTest::newRow("overlong UTF-8") << wrap("<string>\xc0\xaf</string>") << false;
        QTest::newRow("control character") << wrap("<string>\x01</string>") << false;
        QTest::newRow("-- in a comment") << wrap("<!-- a -- b --><true/>") << false;
        QTest::newRow("real out of range") << wrap("<real>1e400</real>") << false;
        QTest::newRow("unknown entity") << wrap("<string>&nope;</string>") << false;
        QTest::newRow("element in a leaf") << wrap("<string>a<b/></string>") << false;
        QTest::newRow("end tag of another") << wrap("<string>a</key>") << false;
        QTest::newRow("text after the root") << wrap("<true/>") + "x" << false;
        QTest::newRow("declaration not first") << " " + header + wrap("<true/>") << false;
        QTest::newRow("unterminated") << wrap("<array><true/>").chopped(9) << false;
        QTest::newRow("empty plist") << wrap("") << false;
        QTest::newRow("key without value") << wrap("<dict><key>a</key></dict>") << false;
    }

    void subsetReaderReadsAsTheGeneralReader()
    {
        QFETCH(QByteArray, document);
        QFETCH(bool, subset);
        QJValue fast;
        const bool accepted = QJPlist::readXmlSubset(document, QJMutability::Mutable, &fast);
        QString error;
        const QJValue general = QJPlist::readXmlGeneral(document, QJMutability::Mutable, &error);
        QCOMPARE(accepted, subset);
        // Compared as written text: NaN equals nothing.
        if (accepted)
            QCOMPARE(PL::dataFromPropertyList(fast), PL::dataFromPropertyList(general));
        // Through the public reader, the same value or the same reason.
        QString publicError;
        const QJValue read = PL::propertyListFromData(document, QJMutability::Mutable, nullptr, &publicError);
        QCOMPARE(PL::dataFromPropertyList(read), PL::dataFromPropertyList(general));
        QCOMPARE(publicError, error);
    }

    void subsetReaderAgreesOnRandomDocuments()
    {
        // Random lists whose leaves hold text that needs care, a third of them damaged by a byte: whatever
        // the subset reader accepts, the general reader accepts as the same value.
        static const char *const leaves[] = {"string", "integer", "real", "date", "data", "true", "key"};
        static const char *const texts[] = {" ", "\n", "\r\n", "\r", "7", "-0", "1e5", "0x1F", ".5",
            "2024-05-01T12:30:00Z", "AAEC", "=", "a", "\xc3\xa9", "\xc2\xa0", "&amp;", "&#13;", "&#x20;", "&#0;",
            "&bad;", "<![CDATA[<&\r\n]]>", "]]>", "<!-- c -->", "<?p x?>", "\xef\xbf\xbe", "\xff", "\x01"};
        QRandomGenerator random(20261121);
        const auto pick = [&](const auto &list) { return list[random.bounded(int(std::size(list)))]; };
        std::function<QByteArray(int)> value = [&](int depth) -> QByteArray {
            const int kind = random.bounded(depth < 3 ? 9 : 7);
            QByteArray out;
            if (kind < 7) {
                out = QByteArray("<") + leaves[kind] + ">";
                for (int n = random.bounded(3); n > 0; --n)
                    out += pick(texts);
                return out + "</" + leaves[kind] + ">";
            }
            out = kind == 7 ? "<array>" : "<dict>";
            for (int n = random.bounded(4); n > 0; --n)
                out += (kind == 8 ? "<key>" + QByteArray(pick(texts)) + "</key>" : QByteArray()) + value(depth + 1);
            return out + (kind == 7 ? "</array>" : "</dict>");
        };
        int accepted = 0;
        for (int round = 0; round < 5000; ++round) {
            QByteArray document = wrap(value(0));
            if (round % 3 == 0)
                document[random.bounded(document.size())] = char(random.bounded(256));
            QJValue fast;
            if (!QJPlist::readXmlSubset(document, QJMutability::Immutable, &fast))
                continue;
            ++accepted;
            const QJValue general = QJPlist::readXmlGeneral(document, QJMutability::Immutable, nullptr);
            QVERIFY2(!general.isNone(), document.constData());
            QVERIFY2(PL::dataFromPropertyList(fast) == PL::dataFromPropertyList(general), document.constData());
        }
        QVERIFY2(accepted > 1000, qPrintable(QString::number(accepted)));
    }

    void largeListsGoInPiecesAndFromMappedFiles()
    {
        QJArray strings(QJMutability::Mutable);
        for (int i = 0; i < 200000; ++i)
            strings.append(u"line %1 & more"_s.arg(i));
        const QByteArray whole = PL::dataFromPropertyList(strings);
        QVERIFY(whole.size() > 6 * 1024 * 1024);
        // Pieces of bounded size that add up to the whole; a write told to stop stops.
        QByteArray joined;
        qsizetype pieces = 0;
        QVERIFY(PL::writePropertyList(strings, [&](QByteArrayView piece) {
            joined += piece;
            return ++pieces > 0;
        }));
        QVERIFY(pieces > 2);
        QCOMPARE(joined, whole);
        QVERIFY(!PL::writePropertyList(strings, [](QByteArrayView) { return false; }));
        // Read from its file, which the subset reader declines only at its end, after it has let go of the
        // pages before: the general reader reads the file again, all of it.
        QTemporaryDir dir;
        const QString path = dir.filePath(u"large.plist"_s);
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(whole + "<!DOCTYPE plist>") > 0);
        file.close();
        QCOMPARE(PL::propertyListFromFile(path), QJValue(strings));
        QVERIFY(PL::writePropertyListToFile(strings, path, false));
        QCOMPARE(PL::propertyListFromFile(path, QJMutability::Mutable), QJValue(strings));
    }

    void damagedBinaryNeverCrashes()
    {
        const QByteArray original = readFile(m_cases.filePath(u"0.bplist"_s));
        QVERIFY(original.startsWith("bplist00"));
        QRandomGenerator random(42);
        int refused = 0;
        for (int round = 0; round < 3000; ++round) {
            QByteArray damaged = original;
            for (int hits = 1 + random.bounded(4); hits > 0; --hits)
                damaged[random.bounded(damaged.size())] = char(random.bounded(256));
            if (round % 10 == 0)
                damaged.truncate(random.bounded(damaged.size()));
            QString error;
            const QJValue result = PL::propertyListFromData(damaged, QJMutability::Mutable, nullptr, &error);
            if (result.isNone()) {
                ++refused;
                QVERIFY(!error.isEmpty());
            }
        }
        QVERIFY(refused > 0);
    }

    void sharedBinaryObjectsAreBounded()
    {
        // Read immutably, a container referenced twice is read once and shared.
        const QJValue shared = PL::propertyListFromData(doublingBinaryList(4), QJMutability::Immutable);
        QVERIFY(shared.isArray());
        QVERIFY(shared.toArray().at(0).isSameObject(shared.toArray().at(1)));
        // Whoever walks the result visits a shared container once per path, so the reader counts the
        // whole expansion, shared or not, and refuses what would exhaust memory when written out. A
        // list that contains itself is refused, not followed.
        for (QJMutability mutability : {QJMutability::Immutable, QJMutability::Mutable}) {
            QString error;
            QVERIFY(PL::propertyListFromData(doublingBinaryList(40), mutability, nullptr, &error).isNone());
            QVERIFY2(error.contains(u"too large"_s), qPrintable(error));
            QVERIFY(PL::propertyListFromData(binaryList({"\xA1\x00"_ba}), mutability, nullptr, &error).isNone());
            QVERIFY2(error.contains(u"contains itself"_s), qPrintable(error));
        }
    }

    void writesFilesAtomicallyOrInPlace()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(u"out.plist"_s);
        const QJDictionary dict {{u"b"_s, QJArray {1, 2.5, true}}, {u"a"_s, QByteArray("xyz")}};
        for (bool atomically : {true, false}) {
            QVERIFY(PL::writePropertyListToFile(QJDictionary {{u"old"_s, u"long old contents"_s}}, path, atomically));
            QVERIFY(PL::writePropertyListToFile(dict, path, atomically));
            QCOMPARE(PL::propertyListFromFile(path), QJValue(dict));
        }
        const QString missing = dir.filePath(u"no/such/dir/x.plist"_s);
        QString error, readError;
        QVERIFY(!PL::writePropertyListToFile(dict, missing, false, &error));
        QVERIFY(PL::propertyListFromFile(missing, QJMutability::Immutable, nullptr, &readError).isNone());
        QVERIFY(!error.isEmpty() && !readError.isEmpty());
        QVERIFY(!PL::writePropertyListToFile(QJValue(), path, false, &error));
        QCOMPARE(PL::propertyListFromFile(path), QJValue(dict)); // a refused write leaves the file alone
    }

    void stringsTablesParse_data()
    {
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<QJValue>("table"); // none: refused with a reason
        using D = QJDictionary;
        QTest::newRow("plain") << QByteArray("\"greeting\" = \"Hello\";\n\"bye\"=\"Bye\";")
                               << QJValue(D {{u"greeting"_s, u"Hello"_s}, {u"bye"_s, u"Bye"_s}});
        QTest::newRow("comments") << QByteArray(
            "/* The title\n   of the window */\n\"title\" = \"Main\"; // trailing\n")
                                  << QJValue(D {{u"title"_s, u"Main"_s}});
        // Not a raw string: moc loses its place in one that holds \" and silently drops every later slot.
        QTest::newRow("escapes") << QByteArray(
            "\"k\" = \"tab\\there \\\"quoted\\\" back\\\\slash\\nnew \\U00e9 \\101\";")
                                 << QJValue(D {{u"k"_s, u"tab\there \"quoted\" back\\slash\nnew \u00e9 A"_s}});
        QTest::newRow("unquoted key and shorthand") << QByteArray(
            "version = \"%@ (%@)\"; \"Same\";") << QJValue(D {{u"version"_s, u"%@ (%@)"_s}, {u"Same"_s, u"Same"_s}});
        QTest::newRow("UTF-8 text and byte-order mark")
            << QByteArray("\xEF\xBB\xBF\"...\" = \"\xE2\x80\xA6\";") << QJValue(D {{u"..."_s, u"\u2026"_s}});
        const QByteArray utf16 = QStringEncoder(QStringEncoder::Utf16LE)(u"\"a\" = \"\u00fc\";");
        QTest::newRow("UTF-16 little endian") << "\xFF\xFE"_ba + utf16 << QJValue(D {{u"a"_s, u"\u00fc"_s}});
        QTest::newRow("XML property list")
            << PL::dataFromPropertyList(D {{u"x"_s, u"y"_s}}) << QJValue(D {{u"x"_s, u"y"_s}});
        QTest::newRow("empty") << QByteArray("  /* nothing */ ") << QJValue(D {});
        QTest::newRow("missing semicolon") << QByteArray("\"a\" = \"b\"\n\"c\" = \"d\";") << QJValue();
        QTest::newRow("unterminated string") << QByteArray("\"a\" = \"b;") << QJValue();
        QTest::newRow("unterminated comment") << QByteArray("/* \"a\" = \"b\";") << QJValue();
        QTest::newRow("not a dictionary") << PL::dataFromPropertyList(QJArray {1}) << QJValue();
        QTest::newRow("invalid UTF-8") << QByteArray("\"a\" = \"\xC3\x28\";") << QJValue();
    }

    void stringsTablesParse()
    {
        QFETCH(QByteArray, data);
        QFETCH(QJValue, table);
        QString error;
        QCOMPARE(PL::stringsTableFromData(data, &error), table);
        QVERIFY2(error.isEmpty() == !table.isNone(), qPrintable(error));
    }

    void localizedStringsFallBackByLanguageThenKey()
    {
        QTemporaryDir dir;
        writeFile(dir.filePath(u"en.lproj/Menu.strings"_s), "\"open\" = \"Open\"; \"save\" = \"Save\";");
        writeFile(dir.filePath(u"de.lproj/Menu.strings"_s),
            "\"open\" = \"\xC3\x96"
            "ffnen\";");
        writeFile(dir.filePath(u"en.lproj/Localizable.strings"_s), "\"...\" = \"\xE2\x80\xA6\";");
        const QJBundle bundle(dir.path());

        QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
        const QStringList languages = QJBundle::preferredLanguages();
        QVERIFY(languages.contains(u"de-DE"_s) && languages.contains(u"de_DE"_s)); // both spellings of a region
        QVERIFY(languages.indexOf(u"de"_s) >= 0 && languages.indexOf(u"de"_s) < languages.indexOf(u"en"_s));
        QCOMPARE(languages.last(), u"en"_s);
        QCOMPARE(bundle.localizedStringForKey(u"open"_s, QString(), u"Menu"_s), u"\u00d6ffnen"_s);
        QCOMPARE(bundle.localizedStringForKey(u"save"_s, QString(), u"Menu"_s), u"Save"_s); // from English
        QCOMPARE(bundle.localizedStringForKey(u"quit"_s, u"Quit"_s, u"Menu"_s), u"Quit"_s); // the given value
        QCOMPARE(bundle.localizedStringForKey(u"quit"_s, QString(), u"Menu"_s), u"quit"_s); // the key itself
        QCOMPARE(bundle.localizedStringForKey(u"..."_s), u"\u2026"_s); // default table
        QCOMPARE(bundle.localizedStringForKey(u"open"_s, QString(), u"NoSuchTable"_s), u"open"_s);
        QCOMPARE(bundle.stringsTable(u"Menu"_s, u"de"_s).count(), 1);

        QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
        QCOMPARE(bundle.localizedStringForKey(u"open"_s, QString(), u"Menu"_s), u"Open"_s);
    }

    void infoDictionaryComesFromInfoPlistThenTheApplication()
    {
        QCoreApplication::setApplicationName(u"Scribe"_s);
        QCoreApplication::setApplicationVersion(u"2.1"_s);
        QTemporaryDir plain;
        QJBundle::setMainBundlePath(plain.path());
        QJBundle main = QJBundle::mainBundle();
        QCOMPARE(main.objectForInfoDictionaryKey(u"CFBundleName"_s), QJValue(u"Scribe"_s));
        QCOMPARE(main.objectForInfoDictionaryKey(u"CFBundleShortVersionString"_s), QJValue(u"2.1"_s));
        QCOMPARE(main.objectForInfoDictionaryKey(u"CFBundleVersion"_s), QJValue(u"2.1"_s));
        QVERIFY(!main.infoDictionary().isMutable());

        QTemporaryDir shipped;
        QVERIFY(writeFile(shipped.filePath(u"Resources/Info.plist"_s),
            PL::dataFromPropertyList(QJDictionary {{u"CFBundleVersion"_s, u"2.1.345"_s}, {u"Extra"_s, true}})));
        QJBundle::setMainBundlePath(shipped.path());
        main = QJBundle::mainBundle();
        QCOMPARE(main.resourcePath(), shipped.filePath(u"Resources"_s));
        QCOMPARE(main.objectForInfoDictionaryKey(u"CFBundleVersion"_s), QJValue(u"2.1.345"_s)); // the file wins
        QCOMPARE(main.objectForInfoDictionaryKey(u"CFBundleName"_s), QJValue(u"Scribe"_s)); // filled in
        QCOMPARE(main.objectForInfoDictionaryKey(u"Extra"_s), QJValue(true));
        main.setObjectForInfoDictionaryKey(u"http://127.0.0.1/AppServices/Versions/"_s, u"QJAutoUpdateBaseURL"_s);
        QCOMPARE(QJBundle::mainBundle().objectForInfoDictionaryKey(u"QJAutoUpdateBaseURL"_s).toString(),
            u"http://127.0.0.1/AppServices/Versions/"_s);
    }

    void resourcesPreferLocalizedCopies()
    {
        QTemporaryDir dir;
        QVERIFY(writeFile(dir.filePath(u"credits.html"_s), "plain"));
        QVERIFY(writeFile(dir.filePath(u"fr.lproj/credits.html"_s), "french"));
        QVERIFY(writeFile(dir.filePath(u"logo.svg"_s), "<svg/>"));
        const QJBundle bundle(dir.path());
        QLocale::setDefault(QLocale(QLocale::French, QLocale::France));
        QCOMPARE(bundle.pathForResource(u"credits"_s, u"html"_s), dir.filePath(u"fr.lproj/credits.html"_s));
        QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
        QCOMPARE(bundle.pathForResource(u"credits.html"_s, QString()), dir.filePath(u"credits.html"_s));
        QCOMPARE(bundle.pathForImageResource(u"logo"_s), dir.filePath(u"logo.svg"_s));
        QVERIFY(bundle.pathForResource(u"missing"_s, u"txt"_s).isEmpty());
    }

    void frameworkBundleIsCompiledIn()
    {
        const QJBundle framework = QJBundle::frameworkBundle();
        QCOMPARE(framework.bundlePath(), u":/qjkit"_s);
        QCOMPARE(framework.objectForInfoDictionaryKey(u"CFBundleName"_s), QJValue(u"QJKit"_s));
        QVERIFY(!(framework == QJBundle::mainBundle()));
    }

    void settingsWhereTheyCannotBeWritten_data()
    {
        QTest::addColumn<QString>("place");
        QTest::newRow("full disk") << u"full"_s;
        QTest::newRow("read-only file system") << u"read-only"_s;
        QTest::newRow("folder without write permission") << u"locked folder"_s;
        QTest::newRow("file without write permission") << u"locked file"_s;
    }

    // Synchronizing fails, the file keeps its bytes, nothing is left beside it, and the change stays
    // pending in memory.
    void settingsWhereTheyCannotBeWritten()
    {
        QFETCH(QString, place);
        const QString dir = m_dir.filePath(place);
        QVERIFY(QDir().mkpath(dir));
        const QString file = dir + u"/settings.plist"_s;
        const auto restore = qScopeGuard([&] {
            QFile::setPermissions(dir, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
            QFile::setPermissions(file, QFile::ReadOwner | QFile::WriteOwner);
        });
        QJ_RUN_IN_SCRATCH(dir, place == u"full" || place == u"read-only" ? 64 : 0, [&](QJTest::Scratch &scratch) {
            QJUserDefaults defaults(file);
            defaults.setObject(u"one"_s, u"version"_s);
            if (!defaults.synchronize())
                return u"the first settings cannot be written"_s;
            const QByteArray before = readFile(file);
            if (const QString failed = scratch.makeUnwritable(place, place == u"locked folder" ? dir : file);
                !failed.isEmpty())
                return failed;
            // 100 kB: more than the whole 64 kB scratch file system.
            const QJValue next = place == u"full" ? QJValue(QString(100000, u'x')) : QJValue(u"two"_s);
            defaults.setObject(next, u"version"_s);
            if (defaults.synchronize())
                return u"synchronize() answered success"_s;
            if (readFile(file) != before)
                return u"the file changed to: "_s + QString::fromUtf8(readFile(file).left(300));
            if (QDir(dir).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden)
                != QStringList {u"settings.plist"_s})
                return u"left beside the file: "_s
                    + QDir(dir).entryList(QDir::AllEntries | QDir::NoDotAndDotDot).join(u' ');
            if (defaults.objectForKey(u"version"_s) != next)
                return u"the change was lost in memory"_s;
            return QString();
        });
    }

    void settingsAtPathsThatAreNoFile()
    {
        const QString dir = m_dir.filePath(u"folder.plist"_s);
        QVERIFY(QDir().mkpath(dir + u"/inside"_s));
        const QString plain = m_dir.filePath(u"plain-file"_s);
        QVERIFY(QJTest::writeFile(plain, "x"));
        for (const QString &path : {dir, plain + u"/settings.plist"_s}) {
            QJUserDefaults defaults(path);
            QVERIFY(defaults.objectForKey(u"k"_s).isNone());
            defaults.setObject(u"v"_s, u"k"_s);
            QVERIFY(!defaults.synchronize());
        }
        QVERIFY(QFileInfo(dir).isDir());
        QCOMPARE(QDir(dir).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList {u"inside"_s});
        QCOMPARE(readFile(plain), QByteArray("x"));
    }

    // A property list, settings file or strings table larger than the limit is not read at all:
    // memory does not rise by the file's size.
    void hugeFilesAreRefusedUnread()
    {
        const QString settings = m_dir.filePath(u"huge.plist"_s);
        const QString table = m_dir.filePath(u"bundle/en.lproj/Huge.strings"_s);
        QVERIFY(QDir().mkpath(QFileInfo(table).absolutePath()));
        QVERIFY(QJTest::makeSparseFile(settings, PL::MaximumSize + 1));
        QVERIFY(QJTest::makeSparseFile(table, PL::MaximumSize + 1));
        QJValue value, plist;
        QString localized, plistError, tableError;
        const qint64 rise = QJTest::peakMemoryRiseKiB([&] {
            plist = PL::propertyListFromFile(settings, QJMutability::Immutable, nullptr, &plistError);
            value = QJUserDefaults(settings).objectForKey(u"k"_s);
            localized = QJBundle(m_dir.filePath(u"bundle"_s)).localizedStringForKey(u"k"_s, QString(), u"Huge"_s);
            PL::stringsTableFromFile(table, &tableError);
        });
        QVERIFY(value.isNone() && plist.isNone());
        QCOMPARE(localized, u"k"_s);
        QCOMPARE(plistError, u"the file is larger than %1 bytes"_s.arg(PL::MaximumSize));
        QCOMPARE(tableError, u"the strings table is larger than %1 bytes"_s.arg(PL::MaximumSize));
        if (rise < 0)
            QSKIP("the kernel does not report peak memory");
        QVERIFY2(rise < 64 * 1024, qPrintable(u"memory rose by %1 KiB"_s.arg(rise)));
    }

    // Reading a small file must not reserve room for the largest one: with its address space limited
    // to 128 MB above what it uses, a process still reads a property list, a settings file and a
    // strings table (a reservation it cannot get throws std::bad_alloc).
    void smallFilesReserveLittleMemory()
    {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
        QSKIP("a sanitizer reserves terabytes of address space for itself");
#endif
        const QString plist = m_dir.filePath(u"small.plist"_s);
        QVERIFY(PL::writePropertyListToFile(QJDictionary {{u"k"_s, u"v"_s}}, plist, false));
        const QString table = m_dir.filePath(u"small/en.lproj/Small.strings"_s);
        QVERIFY(QDir().mkpath(QFileInfo(table).absolutePath()));
        QVERIFY(QFile::copy(plist, table));
        QJ_RUN_IN_SCRATCH(QString(), 0, [&](QJTest::Scratch &) {
            const rlim_t used = rlim_t(QJTest::residentKiB("VmSize")) * 1024;
            const rlimit limit {used + (rlim_t(128) << 20), used + (rlim_t(128) << 20)};
            if (::setrlimit(RLIMIT_AS, &limit) != 0)
                return u"cannot limit the address space"_s;
            try {
                if (PL::propertyListFromFile(plist).valueForKey(u"k"_s) != QJValue(u"v"_s))
                    return u"the property list did not read"_s;
                if (QJUserDefaults(plist).objectForKey(u"k"_s) != QJValue(u"v"_s))
                    return u"the settings did not read"_s;
                if (QJBundle(m_dir.filePath(u"small"_s)).localizedStringForKey(u"k"_s, QString(), u"Small"_s) != u"v")
                    return u"the strings table did not read"_s;
            } catch (const std::bad_alloc &) {
                return u"reading a small file ran out of address space"_s;
            }
            return QString();
        });
    }
};

QTEST_GUILESS_MAIN(TestQJPropertyList)
#include "tst_qjpropertylist.moc"
