// SPDX-License-Identifier: LGPL-2.1-or-later
// The interning table, the diff engine and the facade on text-like token sequences: a vocabulary
// drawn with a Zipf-like frequency, the new side differing in 1% of its tokens. facadeUtf8Runs
// is the path of "qjkit diff": UTF-8 texts in, runs' UTF-8 values out.
#include <Dict.h>
#include <DiffEngine.h>
#include <QJDifferenceEngine.h>
#include <QJDifferenceJson.h>

#include <benchmark/benchmark.h>

#include <QByteArray>
#include <QString>

#include <map>
#include <random>
#include <string>
#include <vector>

namespace
{
struct Texts
{
    std::vector<std::string> vocabulary;
    std::vector<const char *> from, to;
};

const Texts &texts(std::size_t n)
{
    static std::map<std::size_t, Texts> cache;
    Texts &t = cache[n];
    if (!t.from.empty())
        return t;
    std::mt19937 rng(42);
    for (int i = 0; i < 40000; ++i) {
        std::string w;
        for (int k = 1 + int(rng() % 9); k > 0; --k)
            w += char('a' + rng() % 26);
        t.vocabulary.push_back(w + std::to_string(i % 7));
    }
    std::vector<double> weights;
    for (std::size_t r = 0; r < t.vocabulary.size(); ++r)
        weights.push_back(1.0 / double(r + 1));
    std::discrete_distribution<std::size_t> zipf(weights.begin(), weights.end());
    for (std::size_t i = 0; i < n; ++i)
        t.from.push_back(t.vocabulary[zipf(rng)].c_str());
    t.to = t.from;
    for (std::size_t i = 0; i < n / 100; ++i)
        t.to[rng() % n] = t.vocabulary[rng() % t.vocabulary.size()].c_str();
    return t;
}

QString joined(const std::vector<const char *> &tokens)
{
    std::string s;
    for (std::size_t i = 0; i < tokens.size(); ++i)
        s.append(tokens[i]).append(i % 12 == 11 ? "\n" : " ");
    return QString::fromStdString(s);
}

void dictSetGet(benchmark::State &state)
{
    const Texts &t = texts(std::size_t(state.range(0)));
    for (auto _ : state) {
        Dict d;
        for (const char *k : t.from)
            d.set(k, 1);
        for (const char *k : t.to)
            benchmark::DoNotOptimize(d.get(k));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0) * 2);
}

void engineDiff(benchmark::State &state)
{
    const Texts &t = texts(std::size_t(state.range(0)));
    for (auto _ : state) {
        DiffEngine engine;
        engine.set_from(t.from.data(), int(t.from.size()));
        engine.set_to(t.to.data(), int(t.to.size()));
        benchmark::DoNotOptimize(engine.diff());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0) * 2);
}

void facadeWords(benchmark::State &state)
{
    const Texts &t = texts(std::size_t(state.range(0)));
    const QString oldText = joined(t.from), newText = joined(t.to);
    for (auto _ : state) {
        QJDifferenceEngine engine;
        engine.setComparisonType(ComparisonWords);
        engine.setOldString(oldText);
        engine.setNewString(newText);
        engine.computeDifferences();
        benchmark::DoNotOptimize(engine.matchValue());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0) * 2);
}
void facadeUtf8Json(benchmark::State &state)
{
    const Texts &t = texts(std::size_t(state.range(0)));
    const QByteArray oldText = joined(t.from).toUtf8(), newText = joined(t.to).toUtf8();
    for (auto _ : state) {
        QJDifferenceEngine engine;
        engine.setComparisonType(ComparisonWords);
        engine.setUtf8Strings(oldText, newText);
        engine.computeMatchValueOnly();
        benchmark::DoNotOptimize(QJDifferenceJson::document(engine).size());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0) * 2);
}
} // namespace

BENCHMARK(dictSetGet)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);
// The engine and the facade work on two threads for long inputs: their wall time is what counts.
BENCHMARK(engineDiff)->Arg(100000)->Arg(1000000)->Arg(2000000)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(facadeWords)->Arg(100000)->Arg(1000000)->Arg(2000000)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(facadeUtf8Json)->Arg(100000)->Arg(1000000)->Arg(2000000)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_MAIN();
