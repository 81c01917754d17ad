// SPDX-License-Identifier: LGPL-2.1-or-later
#include <QJDifferenceEngine.h>
#include <QJDifferenceHtml.h>
#include <QJDifferenceJson.h>
#include <qjdifftokens_p.h>
#include <qjtestsupport.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRandomGenerator>
#include <QStringDecoder>
#include <QTest>

#include <cmath>
#include <thread>
#include <vector>

using namespace Qt::StringLiterals;

namespace
{
// Renders runs as "type:old/new" joined with " | ".
QString render(const QList<DiffObject> &differences)
{
    QStringList parts;
    for (const DiffObject &d : differences)
        parts.append(u"%1:%2/%3"_s.arg(d.type()).arg(d.oldValue(), d.newValue()));
    return parts.join(u" | "_s);
}

// Every ASCII character but blank and line feed, the separators.
QString asciiControls()
{
    QString text;
    for (char16_t c = 1; c < 128; ++c) {
        if (c != u' ' && c != u'\n')
            text += QChar(c);
    }
    return text;
}

// {"differences":[…]} as QJsonDocument writes it from the DiffObjects.
QByteArray differencesJson(const QJDifferenceEngine &engine)
{
    QJsonArray differences;
    for (const DiffObject &d : engine.differences())
        differences.append(QJsonObject {{u"new"_s, d.newValue()}, {u"old"_s, d.oldValue()}, {u"type"_s, d.type()}});
    return QJsonDocument(QJsonObject {{u"differences"_s, differences}}).toJson(QJsonDocument::Compact);
}

// A random text: words, marks, tabs, characters of two to four UTF-8 bytes, byte order marks,
// control characters and specials of JSON and HTML, between random separators.
QString randomText(QRandomGenerator &rng, int pieces)
{
    static const QStringList words {u"a"_s, u"b"_s, u"the"_s, u"Word"_s, u"é"_s, u"café"_s, u"中文"_s, u"😀"_s, u"a😀b"_s,
        u"\ufeff"_s, u"\ufeffa"_s, u"!"_s, u","_s, u"(x)"_s, u"end."_s, u"a\tb"_s, u"\r"_s, u"\"q\""_s, u"\\"_s,
        u"<&>"_s, QString(QChar(1)), QString(QChar(0)), u"\u2028"_s, u"ab"_s.repeated(12), asciiControls()};
    static const QStringList separators {u" "_s, u" "_s, u"\n"_s, u"  "_s, u" \n"_s, u""_s};
    QString text;
    for (int i = 0; i < pieces; ++i)
        text += words.at(rng.bounded(words.size())) + separators.at(rng.bounded(separators.size()));
    return text;
}

QList<DiffObject> compare(int type, const QString &oldText, const QString &newText, float *match = nullptr)
{
    QJDifferenceEngine engine;
    engine.setComparisonType(type);
    engine.setOldString(oldText);
    engine.setNewString(newText);
    engine.computeDifferences();
    if (match)
        *match = engine.matchValue();
    return engine.differences();
}
} // namespace

class TestDifferenceEngine : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void split_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QByteArrayList>("tokens");
        QTest::newRow("words") << 0 << u"  a b\n\nc \n"_s << QByteArrayList {"a", "b", "c"};
        QTest::newRow("words keep tabs and returns") << 0 << u"a\tb\r\nc"_s << QByteArrayList {"a\tb\r", "c"};
        QTest::newRow("lines keep blanks") << 1 << u"one two\nthree\n"_s << QByteArrayList {"one two", "three"};
        QTest::newRow("mark split off") << 2 << u"Yes!"_s << QByteArrayList {"Yes", "!"};
        QTest::newRow("mark first dropped") << 2 << u"!Yes"_s << QByteArrayList {"Yes"};
        QTest::newRow("marks after a blank dropped") << 2 << u"(a) b !!"_s << QByteArrayList {"a", ")", "b"};
        QTest::newRow("mark after a mark kept") << 2 << u"a!!"_s << QByteArrayList {"a", "!", "!"};
        QTest::newRow("mark starts a token") << 2 << u"a, b x.y"_s << QByteArrayList {"a", ",", "b", "x", ".y"};
        QTest::newRow("other type: one token") << 7 << u" a, b\n"_s << QByteArrayList {" a, b\n"};
        QTest::newRow("other type, empty") << -1 << u""_s << QByteArrayList {};
        // The scan stops after as many bytes as the text has UTF-16 units.
        QTest::newRow("cut after a character") << 0 << u"aé b"_s << QByteArrayList {"a\xc3\xa9"};
        QTest::newRow("cut inside a character") << 0 << u"x é"_s << QByteArrayList {"x", "\xc3"};
        QTest::newRow("surrogate pair") << 0 << u"😀 a b"_s << QByteArrayList {"\xf0\x9f\x98\x80", "a"};
    }
    void split()
    {
        QFETCH(int, type);
        QFETCH(QString, text);
        QFETCH(QByteArrayList, tokens);
        QJDiffTokens out;
        QJDiffTokenizer::split(out, u"stale tokens"_s, 0);
        QJDiffTokenizer::split(out, text, type);
        QByteArrayList got;
        for (const char *t : out.tokens)
            got.append(QByteArray(t));
        QCOMPARE(got, tokens);
    }

    // The UTF-16 length of UTF-8 text, or -1 where the decoder finds an error.
    void utf16Length_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<qsizetype>("length");
        QTest::newRow("ASCII") << "plain text, long enough for words"_ba << qsizetype(33);
        QTest::newRow("two, three, four bytes") << "\xc3\xa9\xe4\xb8\xad\xf0\x9f\x98\x80"_ba << qsizetype(4);
        QTest::newRow("noncharacters") << "\xef\xbf\xbe\xef\xbf\xbf\xf4\x8f\xbf\xbf"_ba << qsizetype(4);
        QTest::newRow("byte order mark kept") << "\xef\xbb\xbf"_ba << qsizetype(1);
        QTest::newRow("surrogate") << "a\xed\xa0\x80"_ba << qsizetype(-1);
        QTest::newRow("overlong") << "\xc1\xbf"_ba << qsizetype(-1);
        QTest::newRow("overlong, three bytes") << "\xe0\x9f\xbf"_ba << qsizetype(-1);
        QTest::newRow("beyond U+10FFFF") << "\xf4\x90\x80\x80"_ba << qsizetype(-1);
        QTest::newRow("cut") << "abcdefgh\xe4\xb8"_ba << qsizetype(-1);
        QTest::newRow("stray continuation") << "abcdefghijklmnop\x80"_ba << qsizetype(-1);
    }
    void utf16Length()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(qsizetype, length);
        QCOMPARE(QJDiffTokenizer::utf16Length(bytes), length);
        // Random bytes, mostly valid, against the decoder.
        QRandomGenerator rng {uint(bytes.size())};
        static const QByteArrayList pieces {"a", "bcdefghij", "\xc3\xa9", "\xe4\xb8\xad", "\xf0\x9f\x98\x80", "\xff",
            "\xc3", "\x80", "\xed\xb0\x80", "\xf5\x80\x80\x80", "\x00"};
        for (int round = 0; round < 200; ++round) {
            QByteArray random;
            for (int k = int(rng.bounded(30)); k > 0; --k)
                random += pieces.at(rng.bounded(round % 2 ? 5 : pieces.size()));
            QStringDecoder decoder(
                QStringDecoder::Utf8, QStringDecoder::Flag::Stateless | QStringDecoder::Flag::ConvertInitialBom);
            const QString decoded = decoder(random);
            QCOMPARE(QJDiffTokenizer::utf16Length(random), decoder.hasError() ? -1 : decoded.size());
        }
    }

    // Texts given in UTF-8 compare exactly as their decoded strings, and the HTML and JSON written
    // from the runs are those of the DiffObjects; long texts are split on two threads.
    void utf8AndRuns_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<int>("pieces");
        for (int type : {0, 1, 2, 7}) {
            QTest::addRow("type %d, short", type) << type << 12;
            QTest::addRow("type %d, long", type) << type << 20000;
        }
        QTest::newRow("runs longer than the JSON writer's chunks") << 0 << -1;
    }
    void utf8AndRuns()
    {
        QFETCH(int, type);
        QFETCH(int, pieces);
        QRandomGenerator rng {uint(type * 1000 + pieces)};
        for (int round = 0; round < (pieces < 0 ? 1 : pieces > 100 ? 3 : 300); ++round) {
            QString oldText = randomText(rng, pieces);
            QString newText = round % 5 ? oldText : randomText(rng, pieces);
            for (int k = int(rng.bounded(pieces / 10 + 2)); k > 0; --k)
                newText.insert(rng.bounded(newText.size() + 1), randomText(rng, 2));
            if (pieces < 0) {
                // A copy and a change longer than the JSON writer's chunks, both sides of the change
                // starting with a byte order mark; the old one ends cut inside a character.
                QStringList same, changed, added;
                for (int k = 0; k < 200000; ++k)
                    same << u"s%1"_s.arg(k), changed << u"w%1"_s.arg(k), added << u"v%1"_s.arg(k);
                oldText = same.join(u' ') + u"\n\ufeff"_s + changed.join(u' ') + u" ééé"_s;
                newText = same.join(u' ') + u"\n\ufeff"_s + added.join(u' ');
            }
            QByteArray oldBytes = oldText.toUtf8();
            const QByteArray newBytes = newText.toUtf8();
            if (round % 7 == 1)
                oldBytes.prepend("\xef\xbb\xbf");
            const bool oldValid = round % 11 != 3;
            if (!oldValid)
                oldBytes.insert(rng.bounded(oldBytes.size() + 1), '\xff');

            QJDifferenceEngine strings;
            strings.setComparisonType(type);
            strings.setOldString(QString::fromUtf8(oldBytes));
            strings.setNewString(QString::fromUtf8(newBytes));
            strings.computeDifferences();
            QJDifferenceEngine utf8;
            utf8.setComparisonType(type);
            QCOMPARE(utf8.setUtf8Strings(oldBytes, newBytes), oldValid);
            utf8.computeDifferences();
            QCOMPARE(utf8.differences(), strings.differences());
            QCOMPARE(utf8.oldString(), strings.oldString());
            QCOMPARE(utf8.newString(), strings.newString());

            QCOMPARE(std::isnan(utf8.matchValue()), std::isnan(strings.matchValue()));
            if (!std::isnan(strings.matchValue()))
                QCOMPARE(utf8.matchValue(), strings.matchValue());

            // The writers take the runs kept by a match-only computation.
            utf8.computeMatchValueOnly();
            QCOMPARE(
                QJDifferenceHtml::htmlFragment(utf8), QJDifferenceHtml::htmlFragment(strings.differences()).toUtf8());
            const QByteArray json = QJDifferenceJson::document(utf8);
            const qsizetype match = json.lastIndexOf(",\"match\":");
            QCOMPARE(json.left(match) + '}', differencesJson(strings));
            const QJsonValue value = QJsonDocument::fromJson(json)[u"match"_s];
            QCOMPARE(value.isNull(), std::isnan(strings.matchValue()));
            QVERIFY(value.isNull() || float(value.toDouble()) == strings.matchValue());
        }
    }

    void compareTexts_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<QString>("oldText");
        QTest::addColumn<QString>("newText");
        QTest::addColumn<QString>("runs");
        QTest::addColumn<float>("match");
        const float nan = std::nanf("");
        QTest::newRow("both empty: 0/0") << 0 << u""_s << u""_s << u""_s << nan;
        QTest::newRow("identical") << 1 << u"a\nb"_s << u"a\nb"_s << u"0:a b/a b"_s << 1.0f;
        QTest::newRow("one word changed")
            << 0 << u"a b c"_s << u"a x c"_s << u"0:a/a | 1:b/x | 0:c/c"_s << 2.0f / (2.0f * 0.5f + 2.0f);
        QTest::newRow("all added") << 0 << u""_s << u"x y"_s << u"3:/x y"_s << 0.0f;
        QTest::newRow("punctuation joined with blanks")
            << 2 << u"Hello, world"_s << u"Hello world"_s << u"0:Hello/Hello | 2:,/ | 0:world/world"_s << 0.8f;
        QTest::newRow("token cut inside a character") << 0 << u"é"_s << u"é"_s << u"0:(null)/(null)"_s << 1.0f;
    }
    void compareTexts()
    {
        QFETCH(int, type);
        QFETCH(QString, oldText);
        QFETCH(QString, newText);
        QFETCH(QString, runs);
        QFETCH(float, match);
        float got = 0;
        QCOMPARE(render(compare(type, oldText, newText, &got)), runs);
        if (std::isnan(match))
            QVERIFY(std::isnan(got));
        else
            QCOMPARE(got, match);
    }

    void callingOrder()
    {
        QJDifferenceEngine engine;
        QCOMPARE(engine.comparisonType(), int(ComparisonLines));
        engine.computeDifferences(); // nothing set: both sides read as empty
        QVERIFY(engine.differences().isEmpty() && std::isnan(engine.matchValue()));
        engine.setNewString(u"x y"_s);
        engine.computeDifferences();
        QCOMPARE(render(engine.differences()), u"3:/x y"_s);

        // Changing the type does not re-split texts already given.
        engine.setOldString(u"a b"_s);
        engine.setNewString(u"a c"_s);
        engine.setComparisonType(ComparisonWords);
        engine.computeDifferences();
        QCOMPARE(render(engine.differences()), u"1:a b/a c"_s);
        engine.setOldString(u"a b"_s);
        engine.setNewString(u"a c"_s);
        engine.computeDifferences();
        const QList<DiffObject> detailed = engine.differences();
        QCOMPARE(render(detailed), u"0:a/a | 1:b/c"_s);

        // A match-only computation leaves the last detailed runs in place.
        engine.setNewString(u"a b"_s);
        engine.computeMatchValueOnly();
        QCOMPARE(engine.matchValue(), 1.0f);
        QCOMPARE(engine.differences(), detailed);
    }

    // Engines share nothing: several worker threads compare at once and agree with one thread.
    void threads()
    {
        const QString oldText = u"the quick brown fox jumps over the lazy dog "_s.repeated(200);
        std::vector<QList<DiffObject>> expected, got(4);
        std::vector<std::thread> workers;
        for (int i = 0; i < 4; ++i) {
            const QString newText = QString(oldText).replace(i * 37, 9, u"slow red "_s);
            expected.push_back(compare(ComparisonWords, oldText, newText));
            workers.emplace_back([&got, i, oldText, newText] { got[i] = compare(0, oldText, newText); });
        }
        for (std::thread &w : workers)
            w.join();
        QCOMPARE(got, expected);
    }
};

QTEST_GUILESS_MAIN(TestDifferenceEngine)
#include "tst_differenceengine.moc"
