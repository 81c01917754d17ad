// SPDX-License-Identifier: LGPL-2.1-or-later
// One whole update check against a version server on 127.0.0.1 that lists N versions newer than
// the installed build (the index and N records are fetched).
#include "QJPropertyListSerialization.h"
#include "QJUpdateChecker.h"
#include "VersionServer.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

using namespace Qt::StringLiterals;

namespace
{
// A version directory with @p count versions after build 100, each with a record of a few lines.
void writeDirectory(const QString &root, int count)
{
    const QString directory = root + u"/benchwriter/"_s;
    QDir().mkpath(directory);
    QJDictionary index;
    for (int i = 0; i <= count; ++i) {
        const QString key = QString::number(100 + i);
        index.setObject(QJDictionary {{u"date"_s, u"2026-11-21"_s}}, key);
        const QJDictionary record {{u"version"_s, u"5.%1"_s.arg(i)},
            {u"en"_s, u"Release %1: faster saving, a word counter, and fixes for printing footnotes."_s.arg(i)}};
        QFile file(directory + key + u".plist"_s);
        if (file.open(QIODevice::WriteOnly))
            file.write(QJPropertyListSerialization::dataFromPropertyList(record));
    }
    QFile file(directory + u"info.plist"_s);
    if (file.open(QIODevice::WriteOnly))
        file.write(QJPropertyListSerialization::dataFromPropertyList(index));
}

void BM_UpdateCheck(benchmark::State &state)
{
    const int count = int(state.range(0));
    QTemporaryDir root;
    writeDirectory(root.path(), count);
    VersionServer server(root.path());
    if (!server.listen())
        state.SkipWithError("the version server cannot listen");
    for (auto _ : state) {
        QJUpdateChecker checker;
        checker.setBaseUrl(server.baseUrl());
        checker.setApplicationName(u"Bench Writer"_s);
        checker.setInstalledBuild(u"100"_s);
        checker.setMaximumVersions(count);
        const QJUpdateCheckResult result = checker.check();
        if (result.records.size() != count)
            state.SkipWithError("the check did not list every version");
        benchmark::DoNotOptimize(result);
    }
    state.SetItemsProcessed(state.iterations() * (count + 1)); // requests
}
BENCHMARK(BM_UpdateCheck)->Arg(10)->Arg(100)->Arg(1000)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_NewerVersions(benchmark::State &state)
{
    QStringList keys;
    for (int i = 0; i < state.range(0); ++i)
        keys << u"%1.%2.%3b%4"_s.arg(i % 7).arg(i % 13).arg(i).arg(i % 5, 0, 16);
    for (auto _ : state)
        benchmark::DoNotOptimize(QJUpdateChecker::newerVersions(keys, u"3.5"_s));
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_NewerVersions)->Arg(100)->Arg(10000)->Unit(benchmark::kMicrosecond);
} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
