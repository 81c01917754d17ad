// SPDX-License-Identifier: LGPL-2.1-or-later
// Reading and writing XML property lists as they grow: a library of document records of every
// property-list kind, in the shape bench/foundation/gen_plist.py writes for compare.sh.
#include "QJPropertyListSerialization.h"

#include <benchmark/benchmark.h>

using namespace Qt::StringLiterals;

namespace
{
const char *const words[] = {"harbour", "lantern", "quay", "tide", "gull", "rope", "anchor", "mast", "keel", "chart",
    "north", "spray", "dock", "crane", "ferry", "buoy", "swell", "pier", "net", "sail"};
constexpr int wordCount = int(std::size(words));

QJDictionary record(int i)
{
    const auto word = [](int k) { return QString::fromLatin1(words[k % wordCount]); };
    QByteArray checksum(24, '\0');
    for (int k = 0; k < checksum.size(); ++k)
        checksum[k] = char((i * k + k) % 256);
    QJArray tags;
    for (int k = 0; k < i % 5; ++k)
        tags.append(word(i + k));
    const QDateTime epoch(QDate(2021, 1, 1), QTime(0, 0), Qt::UTC);
    return QJDictionary {
        {u"identifier"_s, u"doc-%1"_s.arg(i, 7, 10, QLatin1Char('0'))},
        {u"title"_s, u"Chapter %1: %2 & %3 <draft>"_s.arg(i).arg(word(i), word(i * 7))},
        {u"wordCount"_s, (i * 7919) % 100003},
        {u"progress"_s, ((i * 37) % 1000) / 1000.0},
        {u"draft"_s, i % 3 == 0},
        {u"modified"_s, epoch.addSecs(qint64(i) * 97)},
        {u"checksum"_s, checksum},
        {u"tags"_s, tags},
        {u"outline"_s,
            QJDictionary {{u"sections"_s, i % 12}, {u"open"_s, i % 2 == 0},
                {u"summary"_s, u"Section %1 of %2"_s.arg(i % 12).arg(word(i))}}},
    };
}

QJDictionary library(int records)
{
    QJArray documents;
    for (int i = 0; i < records; ++i)
        documents.append(record(i));
    return QJDictionary {{u"name"_s, u"Bench Library"_s}, {u"version"_s, 3}, {u"documents"_s, documents}};
}

void writeXml(benchmark::State &state)
{
    const QJDictionary plist = library(int(state.range(0)));
    qint64 bytes = 0;
    for (auto _ : state) {
        const QByteArray xml = QJPropertyListSerialization::dataFromPropertyList(plist);
        bytes = xml.size();
        benchmark::DoNotOptimize(xml.constData());
    }
    state.SetBytesProcessed(state.iterations() * bytes);
    state.counters["MB"] = double(bytes) / 1e6;
}

void readXml(benchmark::State &state)
{
    const QByteArray xml = QJPropertyListSerialization::dataFromPropertyList(library(int(state.range(0))));
    for (auto _ : state) {
        const QJValue plist = QJPropertyListSerialization::propertyListFromData(xml);
        if (!plist.isDictionary())
            state.SkipWithError("the property list did not read back");
        benchmark::DoNotOptimize(plist);
    }
    state.SetBytesProcessed(state.iterations() * xml.size());
    state.counters["MB"] = double(xml.size()) / 1e6;
}

void readMutableXml(benchmark::State &state)
{
    const QByteArray xml = QJPropertyListSerialization::dataFromPropertyList(library(int(state.range(0))));
    for (auto _ : state)
        benchmark::DoNotOptimize(QJPropertyListSerialization::propertyListFromData(xml, QJMutability::Mutable));
    state.SetBytesProcessed(state.iterations() * xml.size());
}
} // namespace

// 1 000 records are about 0.7 MB of XML; 70 000 about 50 MB (compare.sh converts 110 000, 78 MB).
BENCHMARK(writeXml)->Arg(1000)->Arg(10000)->Arg(70000)->Unit(benchmark::kMillisecond);
BENCHMARK(readXml)->Arg(1000)->Arg(10000)->Arg(70000)->Unit(benchmark::kMillisecond);
BENCHMARK(readMutableXml)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
