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

void appendFolded(QString &key, QStringView text, bool fold)
{
    if (!fold) {
        key += text;
        return;
    }
    for (const char32_t cp : text.toUcs4())
        key += QChar::fromUcs4(QChar::toCaseFolded(cp));
}

// The canonical form of a stretch of text for non-literal search: each character (grapheme cluster)
// decomposed and, when asked, case-folded. boundary[k] is the text offset where key position k
// starts a character, or -1 inside one; its last entry is the offset where the stretch ends.
struct CanonicalKey
{
    QString key;
    std::vector<qsizetype> boundary;

    qsizetype size() const { return key.size(); }

    // Appends the characters of text[from, to), which must begin and end on character boundaries.
    // Stretches of code units below U+0300 are one character per unit; only around combining
    // marks and other scripts are character boundaries looked up.
    void append(QStringView text, qsizetype from, qsizetype to, bool fold)
    {
        if (!boundary.empty())
            boundary.pop_back();
        key.reserve(key.size() + (to - from) * 2);
        boundary.reserve(boundary.size() + size_t(to - from) * 2 + 1);
        auto plain = [](char16_t c) { return c < 0x300; };
        qsizetype i = from; // always a character boundary
        while (i < to) {
            qsizetype c = i;
            while (c < to && plain(text[c].unicode()))
                ++c;
            if (c == to) {
                appendPlain(text, i, to, fold);
                break;
            }
            // The unit before c may carry c's marks. The stretch ends between two plain units:
            // neither a mark that joins the one before nor a unit that joins the one after.
            const qsizetype s = qMax(i, c - 1);
            qsizetype k = c + 1;
            while (k < to && !(plain(text[k - 1].unicode()) && plain(text[k].unicode())))
                ++k;
            appendPlain(text, i, s, fold);
            appendClusters(text, s, k, fold);
            i = k;
        }
        boundary.push_back(to);
    }

private:
    void appendCharacter(qsizetype at, QStringView decomposed, bool fold)
    {
        boundary.push_back(at);
        appendFolded(key, decomposed, fold);
        boundary.resize(size_t(key.size()), -1);
    }

    void appendPlain(QStringView text, qsizetype from, qsizetype to, bool fold)
    {
        for (qsizetype i = from; i < to; ++i) {
            const char16_t c = text[i].unicode();
            if (c < 0xC0) { // nothing below U+00C0 decomposes
                boundary.push_back(i);
                key += fold ? QChar(c).toCaseFolded() : QChar(c);
            } else {
                appendCharacter(i, latinDecomposition(c), fold);
            }
        }
    }

    void appendClusters(QStringView text, qsizetype from, qsizetype to, bool fold)
    {
        const QStringView stretch = text.sliced(from, to - from);
        QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, stretch.data(), stretch.size());
        auto cluster = [&](qsizetype a, qsizetype b) {
            appendCharacter(
                from + a, stretch.sliced(a, b - a).toString().normalized(QString::NormalizationForm_D), fold);
        };
        qsizetype a = 0;
        for (qsizetype b = finder.toNextBoundary(); b > a; a = b, b = finder.toNextBoundary()) {
            // A carriage return + line feed is one cluster, but each of its code units is a line
            // end a user may search for.
            if (b - a == 2 && stretch[a] == u'\r' && stretch[a + 1] == u'\n') {
                cluster(a, a + 1);
                cluster(a + 1, b);
            } else {
                cluster(a, b);
            }
        }
    }

    // The canonical decompositions of U+00C0 to U+02FF, computed once.
    static QStringView latinDecomposition(char16_t c)
    {
        static const std::vector<QString> table = [] {
            std::vector<QString> t;
            for (char16_t u = 0xC0; u < 0x300; ++u)
                t.push_back(QString(QChar(u)).normalized(QString::NormalizationForm_D));
            return t;
        }();
        return table[c - 0xC0];
    }

public:
    // Keeps the first (or last) n key positions.
    void keepFirst(qsizetype n)
    {
        n = qMin(n, key.size());
        const qsizetype end = boundary[size_t(n)];
        key.truncate(n);
        boundary.resize(size_t(n));
        boundary.push_back(end);
    }
    void keepLast(qsizetype n)
    {
        n = qMin(n, key.size());
        key.remove(0, key.size() - n);
        boundary.erase(boundary.begin(), boundary.end() - (n + 1));
    }
};

// The text is searched in windows of about this many code units, so memory stays small on large
// texts. A window ends between two code units that are characters of their own: neither joins the
// one before it (as a mark does) nor the one after it.
constexpr qsizetype Window = 1 << 16;

bool isCut(QStringView text, qsizetype p)
{
    auto standalone = [](char16_t c) { return c < 0x300 || (c >= 0x4E00 && c <= 0x9FFF); };
    return p <= 0 || p >= text.size()
        || (standalone(text[p].unicode()) && standalone(text[p - 1].unicode()) && text[p - 1] != u'\r');
}

qsizetype nextCut(QStringView text, qsizetype p)
{
    while (!isCut(text, p))
        ++p;
    return qMin(p, text.size());
}

qsizetype previousCut(QStringView text, qsizetype p)
{
    while (!isCut(text, p))
        --p;
    return qMax<qsizetype>(p, 0);
}

Match canonicalSearch(QStringView hay, QStringView needle, bool fold, bool backwards, bool anchored)
{
    QString n;
    appendFolded(n, needle.toString().normalized(QString::NormalizationForm_D), fold);
    const qsizetype len = n.size();
    auto matchAt = [&](const CanonicalKey &k, qsizetype p) -> Match {
        if (p < 0 || p + len > k.size())
            return {};
        const qsizetype start = k.boundary[size_t(p)];
        const qsizetype end = k.boundary[size_t(p + len)];
        if (start < 0 || end < 0 || QStringView(k.key).sliced(p, len) != n)
            return {};
        return {start, end - start};
    };

    // Windows are added in search order; what is kept of the earlier ones is the part a match
    // could still begin (or end) in: len - 1 key positions. Anchored searches keep everything
    // until the key is long enough to decide.
    CanonicalKey k;
    qsizetype from = 0;
    qsizetype to = hay.size();
    while (backwards ? to > 0 : from < hay.size()) {
        if (backwards) {
            const qsizetype cut = previousCut(hay, to - Window);
            CanonicalKey earlier;
            earlier.append(hay, cut, to, fold);
            earlier.key += k.key;
            if (!k.boundary.empty()) {
                earlier.boundary.pop_back();
                earlier.boundary.insert(earlier.boundary.end(), k.boundary.begin(), k.boundary.end());
            }
            k = std::move(earlier);
            to = cut;
        } else {
            const qsizetype cut = nextCut(hay, from + Window);
            k.append(hay, from, cut, fold);
            from = cut;
        }
        if (anchored) {
            if (k.size() >= len)
                return matchAt(k, backwards ? k.size() - len : 0);
            continue;
        }
        if (backwards) {
            for (qsizetype p = k.key.lastIndexOf(n); p >= 0; p = p > 0 ? k.key.lastIndexOf(n, p - 1) : -1) {
                if (const Match m = matchAt(k, p); m.position != NoMatch)
                    return m;
            }
            k.keepFirst(len - 1);
        } else {
            for (qsizetype p = k.key.indexOf(n); p >= 0; p = k.key.indexOf(n, p + 1)) {
                if (const Match m = matchAt(k, p); m.position != NoMatch)
                    return m;
            }
            k.keepLast(len - 1);
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
        // The last place a match can start is given explicitly: searching back from the view's end
        // lets a one-unit needle be compared with the unit just past it, which a view that is a
        // slice of a longer string must never see.
        p = backwards ? hay.lastIndexOf(needle, hay.size() - needle.size(), cs) : hay.indexOf(needle, 0, cs);
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
