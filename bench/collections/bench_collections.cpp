// SPDX-License-Identifier: LGPL-2.1-or-later
// Merging and key-path listing as the tree grows: wide trees (ten keys per level) and deep chains.
#include "QJDictionaryExtensions.h"

#include <benchmark/benchmark.h>

#include <cmath>

using namespace Qt::StringLiterals;

namespace
{
// A dictionary `levels` deep with `width` keys per level: width^levels leaves.
QJDictionary wideTree(int levels, int width, QJMutability mutability)
{
    QJDictionary d(QJMutability::Mutable);
    for (int i = 0; i < width; ++i) {
        const QString key = u"key"_s + QString::number(i);
        if (levels > 1)
            d.setObject(wideTree(levels - 1, width, mutability), key);
        else
            d.setObject(i, key);
    }
    return mutability == QJMutability::Mutable ? d : d.copy();
}

QJDictionary chain(int depth, QJMutability mutability)
{
    QJDictionary d({{u"leaf"_s, 1}}, mutability);
    for (int i = 0; i < depth; ++i)
        d = QJDictionary({{u"k"_s, d}}, mutability);
    return d;
}

void mergeWide(benchmark::State &state)
{
    const QJDictionary overlay = wideTree(int(state.range(0)), 10, QJMutability::Immutable);
    for (auto _ : state) {
        state.PauseTiming();
        const QJDictionary base = wideTree(int(state.range(0)), 10, QJMutability::Mutable);
        state.ResumeTiming();
        QJDictionaryExtensions::recursiveAddEntriesFromDictionary(base, overlay);
    }
    state.SetComplexityN(qint64(std::pow(10, state.range(0))));
}

void keyPathsWide(benchmark::State &state)
{
    const QJDictionary tree = wideTree(int(state.range(0)), 10, QJMutability::Mutable);
    for (auto _ : state)
        benchmark::DoNotOptimize(QJDictionaryExtensions::allKeyPaths(tree));
    state.SetComplexityN(qint64(std::pow(10, state.range(0))));
}

void mergeChain(benchmark::State &state)
{
    const QJDictionary overlay = chain(int(state.range(0)), QJMutability::Immutable);
    for (auto _ : state) {
        const QJDictionary base;
        QJDictionaryExtensions::recursiveAddEntriesFromDictionary(base, overlay);
    }
    state.SetComplexityN(state.range(0));
}

void keyPathsChain(benchmark::State &state)
{
    const QJDictionary tree = chain(int(state.range(0)), QJMutability::Mutable);
    for (auto _ : state)
        benchmark::DoNotOptimize(QJDictionaryExtensions::allKeyPaths(tree));
    state.SetComplexityN(state.range(0));
}
} // namespace

BENCHMARK(mergeWide)->DenseRange(3, 5)->Complexity()->Unit(benchmark::kMillisecond);
BENCHMARK(keyPathsWide)->DenseRange(3, 5)->Complexity()->Unit(benchmark::kMillisecond);
BENCHMARK(mergeChain)->RangeMultiplier(10)->Range(1000, 100000)->Complexity()->Unit(benchmark::kMillisecond);
BENCHMARK(keyPathsChain)->RangeMultiplier(10)->Range(1000, 100000)->Complexity()->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
