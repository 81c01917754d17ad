// SPDX-License-Identifier: LGPL-2.1-or-later
// The example of docs/text.md: running statistics, natural ordering, find with wrap-around,
// fitting with an ellipsis and percent-encoding. Exits with 1 if anything does not behave as the
// guide says.
#include <QJKit/NSStringDeletion.h>
#include <QJKit/NSStringTextFinding.h>
#include <QJKit/NaturalStringComparison.h>
#include <QJKit/QJStringCounting.h>
#include <QJKit/StringSizing.h>
#include <QJKit/StringWebExtensions.h>

#include <QStringList>
#include <QTextStream>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{
//! [counts]
struct Counts
{
    qint32 paragraphs = 0, lines = 0, chars = 0, words = 0;

    // Adds (multiplier 1) or takes out (-1) the counts of one range of the text.
    void add(QStringView text, QJRange range, qint32 multiplier)
    {
        QJStringCounting::countForRange(text, range, false, false, &paragraphs, &lines, &chars, &words,
            /* lineWidth */ 60, /* countEmptyLines */ false, /* countSpaces */ false, multiplier);
    }
};
//! [counts]

QJRange rangeOf(QStringView text, QStringView part)
{
    return {quint32(text.indexOf(part)), quint32(part.size())};
}
} // namespace

int main()
{
    QTextStream out(stdout);
    bool ok = true;

    //! [typing]
    QString text = u"The tide came in.\nGulls circled the harbour wall.\n"_s;
    Counts total;
    total.add(text, {0, quint32(text.size())}, 1); // once, when the document opens

    // The user types over "came in" in the first paragraph: take that paragraph out, change the
    // text, and add the paragraph back, instead of counting the whole document again.
    const QJRange before = rangeOf(text, u"The tide came in.\n");
    total.add(text, before, -1);
    text.replace(u"came in"_s, u"turned at noon"_s);
    total.add(text, rangeOf(text, u"The tide turned at noon.\n"), 1);
    //! [typing]
    Counts fresh;
    fresh.add(text, {0, quint32(text.size())}, 1);
    ok &= total.words == fresh.words && total.chars == fresh.chars && total.paragraphs == fresh.paragraphs
        && total.lines == fresh.lines && total.words == 10;
    out << total.words << " words, " << total.paragraphs << " paragraphs, " << total.chars << " characters\n";

    //! [sort]
    QStringList chapters {u"chapter10.txt"_s, u"chapter2.txt"_s, u"chapter9.txt"_s};
    NaturalStringComparison::stableSort(chapters.begin(), chapters.end(), NaturalStringComparison::NaturalOrder());
    // chapter2.txt, chapter9.txt, chapter10.txt
    const int newer = NaturalStringComparison::hexanumericalCompare(u"1.2.a", u"1.2.9"); // 1: a is 10
    //! [sort]
    ok &= chapters == QStringList {u"chapter2.txt"_s, u"chapter9.txt"_s, u"chapter10.txt"_s} && newer == 1;

    //! [find]
    const QString draft = u"tide, wall, tide, gulls"_s;
    const QJRange selection {12, 4}; // the second "tide"
    QJRange found = NSStringTextFinding::findString(draft, u"TIDE", selection,
        NSStringTextFinding::CaseInsensitiveSearch, /* wrap */ true); // {0, 4}: wrapped to the start
    if (found == QJNotFoundRange)
        out << "not found\n";
    //! [find]
    ok &= found == QJRange {0, 4};

    //! [fit]
    // Measure however the host draws text; here every code unit is 7 points wide.
    const auto measure = [](QStringView piece) { return float(piece.size() * 7); };
    const QString shown = StringSizing::shortenedStringWithSize(u"/home/ada/novel/chapter10.txt"_s, 120, measure);
    // ".../chapter10.txt": the end of a path is the part worth keeping
    //! [fit]
    ok &= shown == StringSizing::ellipsis() + u"/chapter10.txt"_s;

    //! [encode]
    const QString query = StringWebExtensions::netEncode(u"Sample Writer"); // "%53%61%6d%70..."
    const QString folder = NSStringDeletion::stringByDeletingSpaces(u"Sample Writer").toLower(); // "samplewriter"
    //! [encode]
    ok &= query.startsWith(u"%53%61%6d%70"_s) && folder == u"samplewriter"_s;
    out << shown << '\n' << query << '\n';
    return ok ? 0 : 1;
}
