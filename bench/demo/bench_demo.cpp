// SPDX-License-Identifier: LGPL-2.1-or-later
// What the demo's status bar costs while the user types: a keystroke in a document of 1 MB with the
// running statistics attached, the same keystroke without them, and counting the whole text again.
#include "DocumentStatistics.h"

#include <benchmark/benchmark.h>

#include <QApplication>
#include <QPlainTextEdit>
#include <QTextCursor>
#include <QTextDocument>

using namespace Qt::StringLiterals;

namespace
{
constexpr qsizetype Size = 1024 * 1024;
constexpr quint32 Width = 80;

// Prose in paragraphs of a few hundred characters, as the demo's sample is written.
QString megabyte()
{
    const QString paragraph = u"The lantern by the harbour had been lit before the evening train arrived. Nobody on "
                              "the platform noticed it, except the writer, who had come to finish a letter she had "
                              "started three winters ago and never sent.\n\n"_s;
    QString text;
    text.reserve(Size + paragraph.size());
    while (text.size() < Size)
        text += paragraph;
    return text;
}

// One keystroke and its undoing by Backspace, in the middle of the text.
void typeAndDelete(benchmark::State &state, bool withStatistics)
{
    // In an editor, as in the demo: its layout takes part in every edit either way.
    QPlainTextEdit editor;
    editor.resize(800, 600);
    QTextDocument &document = *editor.document();
    document.setUndoRedoEnabled(false);
    editor.setPlainText(megabyte());
    std::unique_ptr<DocumentStatistics> statistics;
    if (withStatistics) {
        statistics = std::make_unique<DocumentStatistics>(&document);
        statistics->setLineWidth(Width);
    }
    QTextCursor cursor(&document);
    const int middle = document.characterCount() / 2;
    for (auto _ : state) {
        cursor.setPosition(middle);
        cursor.insertText(u"x"_s);
        cursor.deletePreviousChar();
    }
    if (statistics
        && statistics->totals()
            != DocumentStatistics::count(statistics->text(), {0, quint32(statistics->text().size())}, Width))
        state.SkipWithError("the running totals went wrong");
    state.SetLabel("1 MB document, two edits per iteration");
}

void BM_KeystrokeWithRunningStatistics(benchmark::State &state)
{
    typeAndDelete(state, true);
}

void BM_KeystrokeWithoutStatistics(benchmark::State &state)
{
    typeAndDelete(state, false);
}

// What a status bar without running totals would do after every keystroke.
void BM_FullRecount(benchmark::State &state)
{
    QPlainTextEdit editor;
    QTextDocument &document = *editor.document();
    editor.setPlainText(megabyte());
    for (auto _ : state) {
        const QString text = document.toPlainText();
        benchmark::DoNotOptimize(DocumentStatistics::count(text, {0, quint32(text.size())}, Width));
    }
    state.SetBytesProcessed(state.iterations() * Size);
}
} // namespace

BENCHMARK(BM_KeystrokeWithRunningStatistics)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_KeystrokeWithoutStatistics)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_FullRecount)->Unit(benchmark::kMicrosecond);

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
