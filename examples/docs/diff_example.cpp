// SPDX-License-Identifier: LGPL-2.1-or-later
// The example of docs/diff.md: the word differences of two drafts, their match value and the HTML
// of a compare view. Exits with 1 if anything does not behave as the guide says.
#include <QJKit/DiffEngine.h> // the DiffOpType names
#include <QJKit/QJDifferenceEngine.h>
#include <QJKit/QJDifferenceHtml.h>

#include <QTextStream>

using namespace Qt::StringLiterals;

int main()
{
    QTextStream out(stdout);

    //! [compare]
    QJDifferenceEngine engine;
    engine.setComparisonType(ComparisonWords); // before the texts: they are split as they are set
    engine.setOldString(u"The tide came in over the harbour wall."_s);
    engine.setNewString(u"The tide turned over the old harbour wall."_s);
    engine.computeDifferences();

    for (const DiffObject &run : engine.differences()) {
        switch (run.type()) {
        case DiffOpCopy:
            out << "  same    " << run.oldValue() << '\n';
            break;
        case DiffOpChange:
            out << "  changed " << run.oldValue() << " -> " << run.newValue() << '\n';
            break;
        case DiffOpDelete:
            out << "  deleted " << run.oldValue() << '\n';
            break;
        case DiffOpAdd:
            out << "  added   " << run.newValue() << '\n';
            break;
        }
    }
    out << "match " << engine.matchValue() << '\n'; // 0.75: 6 unchanged tokens, 4 changed ones weighing half
    const QString html = QJDifferenceHtml::htmlFragment(engine.differences()); // for a QTextBrowser
    //! [compare]

    //! [match-only]
    QJDifferenceEngine quick; // lines, the default type
    quick.setOldString(u"one\ntwo\nthree"_s);
    quick.setNewString(u"three\none\ntwo"_s);
    quick.computeMatchValueOnly(); // 1: the same lines, moved
    //! [match-only]
    out << html << '\n';

    const QList<DiffObject> runs = engine.differences();
    // The tide | came in -> turned | over the | + old | harbour wall.
    const bool ok = runs.size() == 5 && runs.at(1).type() == DiffOpChange && runs.at(1).oldValue() == u"came in"_s
        && runs.at(1).newValue() == u"turned"_s && runs.at(3).type() == DiffOpAdd && runs.at(3).newValue() == u"old"_s
        && engine.matchValue() == 0.75f && quick.matchValue() == 1.0f && html.startsWith(u"<div class=\"qj-diff\">"_s);
    return ok ? 0 : 1;
}
