// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJDifferenceHtml.h"

#include "DiffEngine.h"

using namespace Qt::StringLiterals;

QString QJDifferenceHtml::htmlFragment(const QList<DiffObject> &differences)
{
    QString html = u"<div class=\"qj-diff\">"_s;
    bool first = true;
    for (const DiffObject &d : differences) {
        if (!first)
            html += u' ';
        first = false;
        const QString oldText = d.oldValue().toHtmlEscaped();
        const QString newText = d.newValue().toHtmlEscaped();
        switch (d.type()) {
        case DiffOpChange:
            html += u"<del class=\"qj-changed\">"_s + oldText + u"</del><ins class=\"qj-changed\">"_s + newText
                + u"</ins>"_s;
            break;
        case DiffOpDelete:
            html += u"<del class=\"qj-deleted\">"_s + oldText + u"</del>"_s;
            break;
        case DiffOpAdd:
            html += u"<ins class=\"qj-added\">"_s + newText + u"</ins>"_s;
            break;
        default:
            html += u"<span class=\"qj-same\">"_s + oldText + u"</span>"_s;
            break;
        }
    }
    html += u"</div>"_s;
    return html;
}
