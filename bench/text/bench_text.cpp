// SPDX-License-Identifier: LGPL-2.1-or-later
// In-process speed of the text utilities on generated prose and file names.
#include "textgen.h"

#include "NaturalStringComparison.h"
#include "QJStringCounting.h"
#include "StringSizingWidgets.h"
#include "StringWebExtensions.h"

#include <QGuiApplication>

#include <QString>
#include <QStringList>

#include <benchmark/benchmark.h>

#include <algorithm>

namespace
{
const QString &prose()
{
    static const QString text = [] {
        const std::string bytes = textgen::prose(32 * 1000 * 1000);
        return QString::fromUtf8(bytes.data(), qsizetype(bytes.size()));
    }();
    return text;
}

const QStringList &names()
{
    static const QStringList list
        = [] { return QString::fromStdString(textgen::names(100000)).split(u'\n', Qt::SkipEmptyParts); }();
    return list;
}

// Arguments: whole lines, count spaces.
void countForRange(benchmark::State &state)
{
    const QString &text = prose();
    const bool wholeLines = state.range(0);
    const bool countSpaces = state.range(1);
    for (auto _ : state) {
        qint32 paragraphs = 0, lines = 0, chars = 0, words = 0;
        QJStringCounting::countForRange(text, {0, quint32(text.size())}, false, wholeLines, &paragraphs, &lines, &chars,
            &words, 0, false, countSpaces, 1);
        benchmark::DoNotOptimize(words);
        benchmark::DoNotOptimize(lines);
    }
    state.SetBytesProcessed(state.iterations() * text.size() * qint64(sizeof(char16_t)));
}
BENCHMARK(countForRange)->ArgNames({"wholeLines", "countSpaces"})->Args({0, 0})->Args({1, 0})->Args({0, 1});

// The same counts straight from the UTF-8 bytes, in 1 MiB pieces as qjkit stats reads them.
void utf8Counter(benchmark::State &state)
{
    const QByteArray bytes = prose().toUtf8();
    for (auto _ : state) {
        QJStringCounting::Utf8Counter counter(state.range(0), 0, false, false);
        for (qsizetype at = 0; at < bytes.size(); at += 1 << 20)
            counter.add(QByteArrayView(bytes).sliced(at, qMin<qsizetype>(1 << 20, bytes.size() - at)));
        qint32 paragraphs = 0, lines = 0, chars = 0, words = 0;
        counter.finish(&paragraphs, &lines, &chars, &words, 1);
        benchmark::DoNotOptimize(words);
    }
    state.SetBytesProcessed(state.iterations() * bytes.size());
}
BENCHMARK(utf8Counter)->ArgName("wholeLines")->Arg(0)->Arg(1);

void fromUtf8(benchmark::State &state)
{
    const QByteArray bytes = prose().toUtf8();
    for (auto _ : state) {
        QString text = QString::fromUtf8(bytes);
        benchmark::DoNotOptimize(text.constData());
    }
    state.SetBytesProcessed(state.iterations() * bytes.size());
}
BENCHMARK(fromUtf8);

template<typename Order>
void sortNames(benchmark::State &state)
{
    for (auto _ : state) {
        state.PauseTiming();
        QStringList list = names();
        list.detach();
        state.ResumeTiming();
        std::stable_sort(list.begin(), list.end(), Order());
        benchmark::DoNotOptimize(list.constData());
    }
    state.SetItemsProcessed(state.iterations() * names().size());
}
BENCHMARK(sortNames<NaturalStringComparison::NaturalOrder>)->Unit(benchmark::kMillisecond);
BENCHMARK(sortNames<NaturalStringComparison::HexanumericalOrder>)->Unit(benchmark::kMillisecond);

void netEncode(benchmark::State &state)
{
    const QStringView text = QStringView(prose()).first(1000000);
    for (auto _ : state)
        benchmark::DoNotOptimize(StringWebExtensions::netEncode(text).constData());
    state.SetBytesProcessed(state.iterations() * text.size() * qint64(sizeof(char16_t)));
}
BENCHMARK(netEncode);

// Fitting a megabyte of text into a 100-point label, measured in the small system font: the cost
// must not grow with the text (it grew with its square).
void fit(benchmark::State &state)
{
    const QString text = prose().first(1000000);
    const bool keepStart = state.range(0) != 0;
    for (auto _ : state) {
        const QString fitted = keepStart
            ? StringSizing::stringAdjustedToSize(text, QSizeF(100, 0), StringSizing::smallSystemFont())
            : StringSizing::shortenedStringWithSize(text, 100);
        benchmark::DoNotOptimize(fitted.constData());
    }
}
BENCHMARK(fit)->ArgName("keepStart")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
} // namespace

int main(int argc, char **argv)
{
    // Text is measured with fonts, which needs the GUI part of Qt, not a screen.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
