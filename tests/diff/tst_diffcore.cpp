// SPDX-License-Identifier: LGPL-2.1-or-later
#include <Dict.h>
#include <DiffEngine.h>

#include <QRandomGenerator>
#include <QTest>

#include <algorithm>
#include <cstring>
#include <deque>
#include <random>
#include <string>

#ifdef Q_OS_UNIX
#include <sys/mman.h>
#include <unistd.h>
#endif

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
    void set(const char *key, int value)
    {
        int i = index(key);
        if (i < 0) {
            i = int(keys.size());
            keys.push_back(key);
            counts.push_back(0);
            values.push_back(0);
        }
        values[std::size_t(i)] = value;
        ++counts[std::size_t(i)];
    }
};

// The matching steps of diff() written out over the model table: flags, common tokens and tables.
struct ModelEngine
{
    ModelDict fromDict, toDict;
    std::vector<int> fromChanged, toChanged;
    std::vector<const char *> fromCommon, toCommon;

    void match(const std::vector<const char *> &from, const std::vector<const char *> &to)
    {
        const int nf = int(from.size()), nt = int(to.size());
        fromChanged.assign(from.size(), 0);
        toChanged.assign(to.size(), 0);
        fromCommon.clear();
        toCommon.clear();
        int p = 0;
        while (p < nf && p < nt && std::strcmp(from[std::size_t(p)], to[std::size_t(p)]) == 0)
            ++p;
        int s = 0;
        for (int i = nf - 1, j = nt - 1; i > p && j > p && std::strcmp(from[std::size_t(i)], to[std::size_t(j)]) == 0;
             --i, --j)
            ++s;
        for (int i = p; i < nf - s; ++i)
            fromDict.set(from[std::size_t(i)], 1);
        const auto lookUp = [](ModelDict &d, const char *t, int &flag) {
            const int e = d.index(t);
            flag = 1;
            if (e >= 0) {
                --d.counts[std::size_t(e)];
                flag = d.values[std::size_t(e)] == 0 ? 1 : 0;
            }
            return flag == 0;
        };
        for (int j = p; j < nt - s; ++j) {
            if (lookUp(fromDict, to[std::size_t(j)], toChanged[std::size_t(j)])) {
                toDict.set(to[std::size_t(j)], 1);
                toCommon.push_back(to[std::size_t(j)]);
            }
        }
        for (int i = p; i < nf - s; ++i) {
            if (lookUp(toDict, from[std::size_t(i)], fromChanged[std::size_t(i)]))
                fromCommon.push_back(from[std::size_t(i)]);
        }
    }
};

// Checks a table entry by entry, and the empty entry that ends it, against the model.
void compareDict(const Dict &d, const ModelDict &m)
{
    QCOMPARE(d._length(), int(m.keys.size()) + 1);
    for (int i = 0; i < d._length() - 1; ++i) {
        QCOMPARE(d.key_at(i), m.keys[std::size_t(i)]);
        QCOMPARE(d.count_at(i), m.counts[std::size_t(i)]);
        QCOMPARE(d.value_at(i), m.values[std::size_t(i)]);
    }
    QCOMPARE(d.key_at(d._length() - 1), nullptr);
}

// Checks the engine's state after a diff() against the model's after the same steps.
void compareState(const DiffEngine &engine, const ModelEngine &model)
{
    compareDict(*engine.from_dict, model.fromDict);
    compareDict(*engine.to_dict, model.toDict);
    for (std::size_t i = 0; i < model.fromChanged.size(); ++i)
        QCOMPARE(int(engine.from_changed[i]), model.fromChanged[i]);
    for (std::size_t j = 0; j < model.toChanged.size(); ++j)
        QCOMPARE(int(engine.to_changed[j]), model.toChanged[j]);
    QCOMPARE(std::vector<const char *>(engine.from_common.begin(), engine.from_common.begin() + engine.n_from_common),
        model.fromCommon);
    QCOMPARE(std::vector<const char *>(engine.to_common.begin(), engine.to_common.begin() + engine.n_to_common),
        model.toCommon);
}

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
                model.set(k, value);
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
        compareDict(dict, model);
    }

    void diff_data()
    {
        QTest::addColumn<QByteArray>("from");
        QTest::addColumn<QByteArray>("to");
        QTest::addColumn<QString>("ops");
        QTest::newRow("both empty") << QByteArray("") << QByteArray("") << u""_s;
        QTest::newRow("identical") << QByteArray("a b c") << QByteArray("a b c") << u"= a b c > a b c"_s;
        QTest::newRow("all added") << QByteArray("") << QByteArray("x y") << u"+ > x y"_s;
        QTest::newRow("all deleted") << QByteArray("x y") << QByteArray("") << u"- x y >"_s;
        QTest::newRow("reordered is unchanged") << QByteArray("a b") << QByteArray("b a") << u"= a b > a b"_s;
        QTest::newRow("delete, copy, add") << QByteArray("x a") << QByteArray("a y") << u"- x >; = a > a; + > y"_s;
        QTest::newRow("change between copies")
            << QByteArray("a b c") << QByteArray("a x c") << u"= a > a; ~ b > x; = c > c"_s;
        QTest::newRow("one more occurrence") << QByteArray("a") << QByteArray("a a") << u"= a > a; + > a"_s;
        QTest::newRow("suffix stops above 0") << QByteArray("b a") << QByteArray("c b a") << u"+ > c; = b a > b a"_s;
        QTest::newRow("suffix never takes index p")
            << QByteArray("a") << QByteArray("x a a") << u"+ > x; = a > a; + > a"_s;
        QTest::newRow("first occurrences match; copies pair by position")
            << QByteArray("a a a b") << QByteArray("b a") << u"= a > a; - a a >; = b > b"_s;
        QTest::newRow("case matters") << QByteArray("A") << QByteArray("a") << u"~ A > a"_s;
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

    // A first diff() works out its tables and flags from string counts, numbering the to side
    // along an alignment with the from side; it must leave what the steps leave, for sequences
    // that align well, badly or not at all, short and long (long ones use two threads).
    void matchingAgainstSteps_data()
    {
        QTest::addColumn<int>("tokens");
        QTest::addColumn<int>("vocabulary");
        QTest::addColumn<QString>("edit");
        for (const QString &edit : {u"few"_s, u"many"_s, u"blocks"_s, u"shuffled"_s, u"unrelated"_s}) {
            QTest::addRow("short, %s", qPrintable(edit)) << 40 << 8 << edit;
            QTest::addRow("medium, %s", qPrintable(edit)) << 3000 << 300 << edit;
        }
        QTest::newRow("long, blocks") << 40000 << 60 << u"blocks"_s;
    }
    void matchingAgainstSteps()
    {
        QFETCH(int, tokens);
        QFETCH(int, vocabulary);
        QFETCH(QString, edit);
        QRandomGenerator rng {uint(tokens * 31 + vocabulary) + uint(qHash(edit))};
        // Words of 0 to 40 bytes, some sharing their first 16, each use at its own address.
        std::vector<std::string> words;
        for (int w = 0; w < vocabulary; ++w) {
            std::string word(std::size_t(rng.bounded(41)), 'x');
            for (char &c : word)
                c = char('a' + rng.bounded(3));
            words.push_back(word);
        }
        std::deque<std::string> storage;
        const auto word = [&] { return storage.emplace_back(words[std::size_t(rng.bounded(vocabulary))]).c_str(); };
        const auto copy = [&](const char *t) { return storage.emplace_back(t).c_str(); };
        std::vector<const char *> from, to;
        for (int i = 0; i < tokens; ++i)
            from.push_back(word());
        if (edit == u"unrelated") {
            for (int i = 0; i < tokens; ++i)
                to.push_back(word());
        } else {
            for (const char *t : from)
                to.push_back(copy(t));
            const int edits = edit == u"few" ? 1 + tokens / 100 : tokens / 10;
            for (int e = 0; e < edits && edit != u"shuffled"; ++e) {
                const int at = int(rng.bounded(int(to.size()) + 1));
                const int length = edit == u"blocks" ? 1 + int(rng.bounded(90)) : 1;
                switch (rng.bounded(3)) {
                case 0: // replaced
                    for (int k = at; k < at + length && k < int(to.size()); ++k)
                        to[std::size_t(k)] = word();
                    break;
                case 1: // added
                    for (int k = 0; k < length; ++k)
                        to.insert(to.begin() + at, word());
                    break;
                default: // removed
                    to.erase(to.begin() + at, to.begin() + std::min(at + length, int(to.size())));
                }
            }
            if (edit == u"shuffled")
                std::shuffle(to.begin(), to.end(), std::mt19937(rng()));
        }

        DiffEngine engine;
        engine.set_from(from.data(), int(from.size()));
        engine.set_to(to.data(), int(to.size()));
        ModelEngine model;
        const QString first = render(engine.diff());
        model.match(from, to);
        compareState(engine, model);
        // Again on the filled tables: the step-by-step path, with the same operations.
        QCOMPARE(render(engine.diff()), first);
        model.match(from, to);
        compareState(engine, model);
    }

    // Keys are read a word at a time where that stays inside their memory page: a key that ends
    // at the very end of a readable page hashes without touching the next one, as anywhere else.
    void hashAtPageEnd()
    {
#ifdef Q_OS_UNIX
        const long page = sysconf(_SC_PAGESIZE);
        char *pages = static_cast<char *>(
            mmap(nullptr, std::size_t(2 * page), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        QVERIFY(pages != MAP_FAILED);
        QCOMPARE(mprotect(pages + page, std::size_t(page), PROT_NONE), 0);
        for (int length = 0; length <= 40; ++length) {
            const std::string key(std::size_t(length), char('a' + length % 26));
            char *end = pages + page - length - 1;
            std::memcpy(end, key.c_str(), std::size_t(length) + 1);
            const Dict::hashed_key a = Dict::hash(end);
            const Dict::hashed_key b = Dict::hash(key.c_str());
            QCOMPARE(a.length, std::size_t(length));
            QCOMPARE(a.hash, b.hash);
            QCOMPARE(a.head[0], b.head[0]);
            QCOMPARE(a.head[1], b.head[1]);
            Dict d;
            d.set(key.c_str(), 1);
            QCOMPARE(d._index(end), 0);
        }
        munmap(pages, std::size_t(2 * page));
#else
        QSKIP("needs mmap");
#endif
    }
};

QTEST_APPLESS_MAIN(TestDiffCore)
#include "tst_diffcore.moc"
