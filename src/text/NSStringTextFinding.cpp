// SPDX-License-Identifier: LGPL-2.1-or-later
#include "NSStringTextFinding.h"

#include <QRegularExpression>
#include <QString>
#include <QTextBoundaryFinder>

#include <string>
#include <vector>

namespace NSStringTextFinding
{
namespace
{
constexpr qsizetype NoMatch = -1;

struct Match
{
    qsizetype position = NoMatch;
    qsizetype length = 0;
};

// Below U+0300 no code unit combines with another and canonical equivalence is plain equality.
bool hasCombiningRange(QStringView text) noexcept
{
    for (const QChar c : text) {
        if (c.unicode() >= 0x300)
            return true;
    }
    return false;
}

void appendCodePoints(QString &key, QStringView text, bool fold)
{
    if (!fold) {
        key += text;
        return;
    }
    for (const char32_t cp : text.toUcs4())
        key += QChar::fromUcs4(QChar::toCaseFolded(cp));
}

// Canonical form of a text for non-literal search: each character (grapheme cluster) decomposed and,
// when asked, case-folded. boundary[k] is the text offset where key position k starts a character,
// or -1 inside one; it has one entry past the key's end.
struct CanonicalKey
{
    QString key;
    std::vector<qsizetype> boundary;
};

CanonicalKey canonicalKey(QStringView text, bool fold)
{
    CanonicalKey k;
    k.key.reserve(text.size());
    k.boundary.reserve(size_t(text.size()) + 1);
    auto appendCluster = [&](qsizetype from, qsizetype to) {
        k.boundary.push_back(from);
        const QStringView cluster = text.sliced(from, to - from);
        if (cluster.size() == 1 && cluster.front().unicode() < 0xC0)
            appendCodePoints(k.key, cluster, fold); // nothing below U+00C0 decomposes
        else
            appendCodePoints(k.key, cluster.toString().normalized(QString::NormalizationForm_D), fold);
        k.boundary.resize(size_t(k.key.size()), -1);
    };
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text.data(), text.size());
    qsizetype from = 0;
    for (qsizetype to = finder.toNextBoundary(); to > from && to != -1; to = finder.toNextBoundary()) {
        // A carriage return + line feed is one cluster, but each of its two code units is a line end
        // a user may search for.
        if (to - from == 2 && text[from] == u'\r' && text[from + 1] == u'\n') {
            appendCluster(from, from + 1);
            appendCluster(from + 1, to);
        } else {
            appendCluster(from, to);
        }
        from = to;
    }
    k.boundary.push_back(text.size());
    return k;
}

QString canonicalNeedle(QStringView needle, bool fold)
{
    QString key;
    appendCodePoints(key, needle.toString().normalized(QString::NormalizationForm_D), fold);
    return key;
}

Match canonicalSearch(QStringView hay, QStringView needle, bool fold, bool backwards, bool anchored)
{
    const CanonicalKey k = canonicalKey(hay, fold);
    const QString n = canonicalNeedle(needle, fold);
    const qsizetype len = n.size();
    if (len == 0 || len > k.key.size())
        return {};
    auto matchAt = [&](qsizetype p) -> Match {
        const qsizetype start = k.boundary[size_t(p)];
        const qsizetype end = k.boundary[size_t(p + len)];
        if (start < 0 || end < 0 || QStringView(k.key).sliced(p, len) != n)
            return {};
        return {start, end - start};
    };
    if (anchored)
        return matchAt(backwards ? k.key.size() - len : 0);
    if (backwards) {
        for (qsizetype p = k.key.lastIndexOf(n); p >= 0; p = p > 0 ? k.key.lastIndexOf(n, p - 1) : -1) {
            if (const Match m = matchAt(p); m.position != NoMatch)
                return m;
        }
    } else {
        for (qsizetype p = k.key.indexOf(n); p >= 0; p = k.key.indexOf(n, p + 1)) {
            if (const Match m = matchAt(p); m.position != NoMatch)
                return m;
        }
    }
    return {};
}

Match literalSearch(QStringView hay, QStringView needle, bool caseInsensitive, bool backwards, bool anchored)
{
    const Qt::CaseSensitivity cs = caseInsensitive ? Qt::CaseInsensitive : Qt::CaseSensitive;
    if (needle.size() > hay.size())
        return {};
    qsizetype p;
    if (anchored) {
        p = backwards ? hay.size() - needle.size() : 0;
        if (hay.sliced(p, needle.size()).compare(needle, cs) != 0)
            return {};
    } else {
        p = backwards ? hay.lastIndexOf(needle, cs) : hay.indexOf(needle, 0, cs);
    }
    return p < 0 ? Match() : Match {p, needle.size()};
}

Match regularExpressionSearch(QStringView hay, QStringView pattern, bool caseInsensitive, bool anchored)
{
    const QRegularExpression re(pattern.toString(),
        caseInsensitive ? QRegularExpression::CaseInsensitiveOption : QRegularExpression::NoPatternOption);
    if (!re.isValid())
        return {};
    const QRegularExpressionMatch m = re.match(hay, 0, QRegularExpression::NormalMatch,
        anchored ? QRegularExpression::AnchorAtOffsetMatchOption : QRegularExpression::NoMatchOption);
    if (!m.hasMatch())
        return {};
    return {m.capturedStart(), m.capturedLength()};
}

void checkRange(const char *function, const char *what, QStringView receiver, QJRange range)
{
    if (range.end() > quint64(receiver.size()))
        throw std::out_of_range(std::string(function) + ": " + what + " {" + std::to_string(range.location) + ", "
            + std::to_string(range.length) + "} lies outside the string (length " + std::to_string(receiver.size())
            + ")");
}
} // namespace

QJRange rangeOfString(QStringView receiver, QStringView string, quint32 options, QJRange range)
{
    checkRange("NSStringTextFinding::rangeOfString", "range", receiver, range);
    if (string.isEmpty())
        return QJNotFoundRange;
    const QStringView hay = receiver.sliced(range.location, range.length);
    const bool caseInsensitive = options & CaseInsensitiveSearch;
    const bool backwards = options & BackwardsSearch;
    const bool anchored = options & AnchoredSearch;
    Match m;
    if (options & RegularExpressionSearch)
        m = regularExpressionSearch(hay, string, caseInsensitive, anchored);
    else if ((options & LiteralSearch) || (!hasCombiningRange(hay) && !hasCombiningRange(string)))
        m = literalSearch(hay, string, caseInsensitive, backwards, anchored);
    else
        m = canonicalSearch(hay, string, caseInsensitive, backwards, anchored);
    if (m.position == NoMatch)
        return QJNotFoundRange;
    return {quint32(range.location + m.position), quint32(m.length)};
}

QJRange findString(QStringView receiver, QStringView string, QJRange selectedRange, quint32 options, bool wrap)
{
    checkRange("NSStringTextFinding::findString", "selection", receiver, selectedRange);
    const quint32 end = quint32(selectedRange.end());
    const QJRange after {end, quint32(receiver.size() - end)};
    const QJRange before {0, selectedRange.location};
    const bool backwards = options & BackwardsSearch;
    const QJRange found = rangeOfString(receiver, string, options, backwards ? before : after);
    if (found.length != 0 || !wrap)
        return found;
    return rangeOfString(receiver, string, options, backwards ? after : before);
}
} // namespace NSStringTextFinding
