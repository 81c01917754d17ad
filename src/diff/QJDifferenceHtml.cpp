// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJDifferenceHtml.h"

#include "qjdifferenceengine_p.h"

using namespace Qt::StringLiterals;

namespace
{
// The markup of a run: an unchanged or deleted run shows its old text, an added run its new text,
// a change both, each between its tags.
struct Markup
{
    bool showsOld;
    const char *oldOpen;
    const char *oldClose;
    bool showsNew;
    const char *newOpen;
    const char *newClose;
};

Markup markup(int type)
{
    switch (type) {
    case DiffOpChange:
        return {true, "<del class=\"qj-changed\">", "</del>", true, "<ins class=\"qj-changed\">", "</ins>"};
    case DiffOpDelete:
        return {true, "<del class=\"qj-deleted\">", "</del>", false, nullptr, nullptr};
    case DiffOpAdd:
        return {false, nullptr, nullptr, true, "<ins class=\"qj-added\">", "</ins>"};
    default:
        return {true, "<span class=\"qj-same\">", "</span>", false, nullptr, nullptr};
    }
}

constexpr char fragmentOpen[] = "<div class=\"qj-diff\">";
constexpr char fragmentClose[] = "</div>";

// Appends @p text escaped as QString::toHtmlEscaped() escapes it.
void appendEscaped(QByteArray &out, QByteArrayView text)
{
    const char *p = text.data();
    const char *end = p + text.size();
    while (p < end) {
        const char *plain = p;
        while (p < end && *p != '<' && *p != '>' && *p != '&' && *p != '"')
            ++p;
        out.append(plain, p - plain);
        if (p == end)
            break;
        switch (*p++) {
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '&':
            out += "&amp;";
            break;
        default:
            out += "&quot;";
            break;
        }
    }
}
} // namespace

QString QJDifferenceHtml::htmlFragment(const QList<DiffObject> &differences)
{
    QString html = QLatin1StringView(fragmentOpen);
    bool first = true;
    for (const DiffObject &d : differences) {
        if (!first)
            html += u' ';
        first = false;
        const Markup m = markup(d.type());
        if (m.showsOld)
            html += QLatin1StringView(m.oldOpen) + d.oldValue().toHtmlEscaped() + QLatin1StringView(m.oldClose);
        if (m.showsNew)
            html += QLatin1StringView(m.newOpen) + d.newValue().toHtmlEscaped() + QLatin1StringView(m.newClose);
    }
    html += QLatin1StringView(fragmentClose);
    return html;
}

QByteArray QJDifferenceHtml::htmlFragment(const QJDifferenceEngine &engine)
{
    const QJDifferenceEnginePrivate &d = QJDifferenceEnginePrivate::get(engine);
    QByteArray html = fragmentOpen;
    QByteArray text;
    const auto appendSide = [&](std::span<const char *const> tokens, const char *open, const char *close) {
        html += open;
        text.truncate(0);
        QJDifferenceEnginePrivate::appendJoined(text, tokens);
        appendEscaped(html, text);
        html += close;
    };
    bool first = true;
    for (const DiffRun &run : d.runs) {
        if (!first)
            html += ' ';
        first = false;
        const Markup m = markup(run.type);
        if (m.showsOld)
            appendSide(d.oldTokens(run), m.oldOpen, m.oldClose);
        if (m.showsNew)
            appendSide(d.newTokens(run), m.newOpen, m.newClose);
    }
    html += fragmentClose;
    return html;
}
