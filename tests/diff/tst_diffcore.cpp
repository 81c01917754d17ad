// SPDX-License-Identifier: LGPL-2.1-or-later
#include <Dict.h>
#include <DiffEngine.h>

#include <QRandomGenerator>
#include <QTest>

#include <cstring>
#include <deque>
#include <string>

using namespace Qt::StringLiterals;

namespace
{
// The table as a plain linear scan, written from its definition, to check the hashed one against.
struct ModelDict
{
    std::vector<int> counts, values;
    std::vector<const char *> keys;
    int index(const char *key) const
    {
        for (std::size_t i = 0; i < keys.size(); ++i)
            if (std::strcmp(key, keys[i]) == 0 && counts[i] > 0)
                return int(i);
        return -1;
    }
};

// Renders operations as "= a b > a b; ~ b > x": type mark, from tokens, ">", to tokens.
QString render(const std::vector<DiffOperation> &ops)
{
    QStringList parts;
    for (const DiffOperation &op : ops) {
        QString s = QString(u"=~-+"_s[op.type]);
        for (const auto *side : {&op.from, &op.to}) {
            for (const char *t : *side)
                s += u' ' + QString::fromUtf8(t);
            s += side == &op.from ? u" >"_s : QString();
        }
        parts.append(s);
    }
    return parts.join(u"; "_s);
}

std::vector<const char *> tokens(const QByteArrayList &words)
{
    std::vector<const char *> pointers;
    for (const QByteArray &w : words)
        pointers.push_back(w.constData());
    return pointers;
}
} // namespace

class TestDiffCore : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void dictAgainstModel_data()
    {
        QTest::addColumn<int>("keyCount");
        QTest::newRow("few keys, many spent entries") << 5;
        QTest::newRow("many keys, index grows") << 3000;
    }
    void dictAgainstModel()
    {
        QFETCH(int, keyCount);
        QRandomGenerator rng {uint(keyCount)};
        std::deque<std::string> keys {""}; // each use gets its own copy: keys compare by content
        Dict dict;
        ModelDict model;
        for (int step = 0; step < 20000; ++step) {
            const char *k = keys.emplace_back(step ? "k" + std::to_string(rng.bounded(keyCount)) : "").c_str();
            int i = model.index(k);
            switch (rng.bounded(4)) {
            case 0: { // set
                const int value = int(rng.bounded(3));
                dict.set(k, value);
                if (i < 0) {
                    i = int(model.keys.size());
                    model.keys.push_back(k);
                    model.counts.push_back(0);
                    model.values.push_back(0);
                }
                model.values[std::size_t(i)] = value;
                ++model.counts[std::size_t(i)];
                break;
            }
            case 1: // get
                QCOMPARE(dict.get(k), i < 0 ? 0 : model.values[std::size_t(i)]);
                if (i >= 0)
                    --model.counts[std::size_t(i)];
                break;
            default: // the engine's way: find, then maybe consume the entry found
                QCOMPARE(dict._index(k), i);
                if (i >= 0 && rng.bounded(2)) {
                    dict.decrement_at(i);
                    --model.counts[std::size_t(i)];
                }
            }
            QCOMPARE(dict._length(), int(model.keys.size()) + 1);
        }
        for (int i = 0; i < dict._length() - 1; ++i) {
            QCOMPARE(dict.count_at(i), model.counts[std::size_t(i)]);
            QCOMPARE(dict.value_at(i), model.values[std::size_t(i)]);
            QCOMPARE(dict.key_at(i), model.keys[std::size_t(i)]);
        }
        QCOMPARE(dict.key_at(dict._length() - 1), nullptr);
    }

    void diff_data()
    {
        QTest::addColumn<QByteArray>("from");
        QTest::addColumn<QByteArray>("to");
        QTest::addColumn<QString>("ops");
        QTest::newRow("both empty") << ""_ba
                                    << ""_ba << u""_s;
        QTest::newRow("identical") << "a b c"_ba
                                   << "a b c"_ba << u"= a b c > a b c"_s;
        QTest::newRow("all added") << ""_ba
                                   << "x y"_ba << u"+ > x y"_s;
        QTest::newRow("all deleted") << "x y"_ba
                                     << ""_ba << u"- x y >"_s;
        QTest::newRow("reordered is unchanged") << "a b"_ba
                                                << "b a"_ba << u"= a b > a b"_s;
        QTest::newRow("delete, copy, add") << "x a"_ba
                                           << "a y"_ba << u"- x >; = a > a; + > y"_s;
        QTest::newRow("change between copies") << "a b c"_ba
                                               << "a x c"_ba << u"= a > a; ~ b > x; = c > c"_s;
        QTest::newRow("one more occurrence") << "a"_ba
                                             << "a a"_ba << u"= a > a; + > a"_s;
        QTest::newRow("suffix stops above 0") << "b a"_ba
                                              << "c b a"_ba << u"+ > c; = b a > b a"_s;
        QTest::newRow("suffix never takes index p") << "a"_ba
                                                    << "x a a"_ba << u"+ > x; = a > a; + > a"_s;
        QTest::newRow("first occurrences match; copies pair by position") << "a a a b"_ba
                                                                          << "b a"_ba << u"= a > a; - a a >; = b > b"_s;
        QTest::newRow("case matters") << "A"_ba
                                      << "a"_ba << u"~ A > a"_s;
    }
    void diff()
    {
        QFETCH(QByteArray, from);
        QFETCH(QByteArray, to);
        QFETCH(QString, ops);
        const QByteArrayList f = from.split(' '), t = to.split(' ');
        const std::vector<const char *> fp = tokens(from.isEmpty() ? QByteArrayList() : f);
        const std::vector<const char *> tp = tokens(to.isEmpty() ? QByteArrayList() : t);
        DiffEngine engine;
        engine.set_to(tp.data(), int(tp.size()));
        engine.set_from(fp.data(), int(fp.size()));
        QCOMPARE(render(engine.diff()), ops);
        // Again on the same inputs: the tables keep their old entries, the result is the same.
        QCOMPARE(render(engine.diff()), ops);
    }

    void repeatedDiffKeepsSpentEntries()
    {
        const QByteArrayList f {"x", "a"}, t {"a", "y"};
        const std::vector<const char *> fp = tokens(f), tp = tokens(t);
        DiffEngine engine;
        engine.set_from(fp.data(), 2);
        engine.set_to(tp.data(), 2);
        for (int run = 0; run < 3; ++run) {
            QCOMPARE(render(engine.diff()), u"- x >; = a > a; + > y"_s);
            // x stays live and is counted up again; spent a entries stay and fresh ones follow.
            QCOMPARE(engine.from_dict->_length(), 3 + run);
            QCOMPARE(engine.to_dict->_length(), 2 + run);
            QCOMPARE(engine.from_dict->count_at(0), run + 1);
        }
        QCOMPARE(engine.n_from_common, 1);
        QCOMPARE(engine.n_to_common, 1);
        QCOMPARE(engine.from_common[0], fp[1]);
        QCOMPARE(engine.to_common[0], tp[0]);
    }
};

QTEST_APPLESS_MAIN(TestDiffCore)
#include "tst_diffcore.moc"
