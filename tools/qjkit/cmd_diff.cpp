// SPDX-License-Identifier: LGPL-2.1-or-later
// qjkit diff: compares two text files as words, lines or punctuated words.
#include "cli.h"

#include <QJDifferenceEngine.h>
#include <QJDifferenceHtml.h>

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>

#include <atomic>
#include <charconv>
#include <cmath>
#include <cstring>
#include <memory>
#include <optional>
#include <system_error>
#include <thread>
#include <vector>

#ifdef __GLIBC__
#include <malloc.h>
#endif

using namespace Qt::StringLiterals;

namespace
{
int comparisonType(const Cli::Args &args)
{
    const QString type = args.value(u"--type"_s, u"lines"_s);
    if (type == u"words")
        return ComparisonWords;
    if (type == u"lines")
        return ComparisonLines;
    if (type == u"punctuation")
        return ComparisonPunctuation;
    bool ok = false;
    const int number = type.toInt(&ok);
    if (!ok)
        throw Cli::UsageError(u"diff: --type needs words, lines, punctuation or a number, not \"%1\""_s.arg(type));
    return number;
}

// The match value as its shortest single-precision decimal ("0.6666667", not the digits of the
// double it widens to); null when it is not a number.
QJsonValue matchJson(float match)
{
    if (std::isnan(match))
        return QJsonValue(QJsonValue::Null);
    char digits[32];
    const auto end = std::to_chars(digits, digits + sizeof digits, match).ptr;
    return QJsonValue(QByteArray(digits, end - digits).toDouble());
}

// Appends @p text to @p out as a JSON string, escaped as QJsonDocument escapes it.
void appendJsonString(QByteArray &out, QByteArrayView text)
{
    static constexpr char hex[] = "0123456789abcdef";
    out += '"';
    const char *p = text.data();
    const char *end = p + text.size();
    // Whether any of eight bytes is a control character, a quote or a backslash.
    auto needsEscape = [](quint64 w) {
        constexpr quint64 ones = 0x0101010101010101ull, highs = 0x8080808080808080ull;
        auto hasZero = [](quint64 v) { return (v - ones) & ~v & highs; };
        return ((w - 0x20 * ones) & ~w & highs) | hasZero(w ^ ('"' * ones)) | hasZero(w ^ ('\\' * ones));
    };
    while (p < end) {
        const char *plain = p;
        for (quint64 w; end - p >= 8 && (std::memcpy(&w, p, 8), !needsEscape(w));)
            p += 8;
        while (p < end && static_cast<unsigned char>(*p) >= 0x20 && *p != '"' && *p != '\\')
            ++p;
        out.append(plain, p - plain);
        if (p == end)
            break;
        const unsigned char c = static_cast<unsigned char>(*p++);
        switch (c) {
        case '"':
            out += "\\\"";
            break;
        case '\\':
            out += "\\\\";
            break;
        case '\b':
            out += "\\b";
            break;
        case '\f':
            out += "\\f";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\r':
            out += "\\r";
            break;
        case '\t':
            out += "\\t";
            break;
        default:
            out += "\\u00";
            out += hex[c >> 4];
            out += hex[c & 15];
        }
    }
    out += '"';
}

// Appends runs [begin, end) as the objects of the "differences" array, each after a comma but the
// very first one. @p text is scratch space.
void appendRuns(QByteArray &out, QByteArray &text, const QList<QJDiffRun> &runs, qsizetype begin, qsizetype end)
{
    for (qsizetype i = begin; i < end; ++i) {
        const QJDiffRun &run = runs.at(i);
        out += i > 0 ? ",{\"new\":" : "{\"new\":";
        text.truncate(0);
        run.appendNewValue(text);
        const qsizetype newStart = out.size();
        appendJsonString(out, text);
        const qsizetype newLength = out.size() - newStart;
        out += ",\"old\":";
        if (run.sameValues()) {
            // An unchanged run holds one text on both sides: escape it once.
            out.reserve(out.size() + newLength);
            out.append(out.constData() + newStart, newLength);
        } else {
            text.truncate(0);
            run.appendOldValue(text);
            appendJsonString(out, text);
        }
        out += ",\"type\":";
        out += QByteArray::number(run.type());
        out += '}';
    }
}

// Chunks of the "differences" array formatted by two threads and written in order by the first.
// Whichever thread claims a chunk first formats it, at most `window` chunks ahead of the one being
// written; the writing thread never waits for the helper to start, so on a busy machine, where a
// new thread may wait long for a processor, it simply formats the chunks itself.
class ChunkWriter
{
public:
    static constexpr qsizetype window = 4;

    ChunkWriter(const QList<QJDiffRun> &runs, std::vector<qsizetype> bounds)
        : m_runs(runs), m_bounds(std::move(bounds)), m_shared(std::make_shared<Shared>(qsizetype(m_bounds.size()) - 1))
    {
        try {
            std::thread([shared = m_shared, this] { help(*shared, this); }).detach();
        } catch (const std::system_error &) {
            // No helper to be had: all chunks are formatted here.
        }
    }
    // The helper formats nothing more, and nothing of this object's is touched once it is gone.
    ~ChunkWriter()
    {
        m_shared->stopped.store(true);
        m_shared->written.store(m_shared->chunks + window);
        m_shared->written.notify_all();
        for (int busy = m_shared->busy.load(); busy > 0; busy = m_shared->busy.load())
            m_shared->busy.wait(busy);
    }
    ChunkWriter(const ChunkWriter &) = delete;
    ChunkWriter &operator=(const ChunkWriter &) = delete;

    void writeAll()
    {
        Shared &s = *m_shared;
        QByteArray scratch;
        for (qsizetype k = 0; k < s.chunks; ++k) {
            std::atomic<qsizetype> &ready = s.ready[k % window];
            for (qsizetype state = ready.load(); state != k; state = ready.load()) {
                if (const qsizetype c = s.claim(); c >= 0)
                    format(s, c, scratch);
                else
                    ready.wait(state);
            }
            Cli::writeOut(s.buffers[k % window]);
            s.written.store(k + 1);
            s.written.notify_all();
        }
    }

private:
    struct Shared
    {
        explicit Shared(qsizetype chunks) : chunks(chunks)
        {
            for (std::atomic<qsizetype> &r : ready)
                r.store(-1);
        }
        // @return a chunk to format (its buffer is free), or -1 when none can be claimed now.
        qsizetype claim()
        {
            for (qsizetype k = next.load(); k < chunks && k < written.load() + window;) {
                if (next.compare_exchange_weak(k, k + 1))
                    return k;
            }
            return -1;
        }

        const qsizetype chunks;
        std::atomic<qsizetype> next {0}; // the next chunk to claim
        std::atomic<qsizetype> written {0}; // the chunks written out
        std::atomic<int> busy {0}; // the helper is at work (or about to be)
        std::atomic<bool> stopped {false};
        std::atomic<qsizetype> ready[window]; // the chunk formatted in each buffer
        QByteArray buffers[window];
    };

    void format(Shared &s, qsizetype k, QByteArray &scratch) const
    {
        QByteArray &buffer = s.buffers[k % window];
        buffer.truncate(0); // keeps its room
        appendRuns(buffer, scratch, m_runs, m_bounds[std::size_t(k)], m_bounds[std::size_t(k + 1)]);
        s.ready[k % window].store(k);
        s.ready[k % window].notify_all();
    }

    // On the helper thread. It touches @p writer only while busy, which the destructor waits for:
    // the writer may be gone by the time the helper starts.
    static void help(Shared &s, const ChunkWriter *writer)
    {
        QByteArray scratch;
        for (;;) {
            s.busy.fetch_add(1);
            const qsizetype k = s.stopped.load() ? -1 : s.claim();
            if (k >= 0)
                writer->format(s, k, scratch);
            const qsizetype written = s.written.load();
            if (s.busy.fetch_sub(1) == 1)
                s.busy.notify_all();
            if (k >= 0)
                continue;
            if (s.stopped.load() || s.next.load() >= s.chunks)
                return;
            s.written.wait(written); // until a buffer is free again
        }
    }

    const QList<QJDiffRun> &m_runs;
    const std::vector<qsizetype> m_bounds;
    const std::shared_ptr<Shared> m_shared;
};

// Writes {"differences":[…],"match":M} exactly as QJsonDocument writes the whole object in compact
// form. A long list is cut into chunks of about a megabyte, formatted on two threads and written
// in order, so the document is never held whole.
void printDifferences(const QList<QJDiffRun> &runs, float match)
{
    constexpr qsizetype chunkTokens = 1 << 17; // written text counted in tokens (a copy's twice)
    std::vector<qsizetype> bounds {0};
    qsizetype tokens = 0;
    for (qsizetype i = 0; i < runs.size(); ++i) {
        tokens += qsizetype(runs.at(i).oldTokens().size() + runs.at(i).newTokens().size());
        if (tokens >= chunkTokens) {
            bounds.push_back(i + 1);
            tokens = 0;
        }
    }
    if (bounds.back() != runs.size())
        bounds.push_back(runs.size());

    QByteArray out = "{\"differences\":[";
    if (bounds.size() <= 2) {
        QByteArray text;
        appendRuns(out, text, runs, 0, runs.size());
    } else {
        Cli::writeOut(out);
        out.truncate(0);
        ChunkWriter(runs, std::move(bounds)).writeAll();
    }
    const QByteArray number = QJsonDocument(QJsonArray {matchJson(match)}).toJson(QJsonDocument::Compact);
    out += "],\"match\":";
    out += number.mid(1, number.size() - 2);
    out += "}\n";
    Cli::writeOut(out);
}

Cli::UsageError invalidText(const QString &file)
{
    return Cli::UsageError(u"%1: not valid UTF-8 text"_s.arg(Cli::inputName(file)));
}

const Cli::Registrar diff({
    .name = u"diff"_s,
    .arguments = u"OLD NEW"_s,
    .summary = u"Compares two UTF-8 text files and prints their differences and match value as JSON."_s,
    .options = {{u"--type"_s, u"TYPE"_s, u"Words, lines (the default), punctuation, or a number."_s},
        {u"--html"_s, QString(), u"Prints an HTML fragment with deletions and additions marked."_s}},
    .minPositional = 2,
    .maxPositional = 2,
    .run =
        [](const Cli::Args &args) {
#ifdef __GLIBC__
            // Large blocks come from the heap and stay there once freed: the engine's scratch of one
            // step is reused by the next instead of fresh pages being mapped, zeroed and unmapped.
            mallopt(M_MMAP_THRESHOLD, 32 << 20);
            mallopt(M_TRIM_THRESHOLD, 256 << 20);
#endif
            const int type = comparisonType(args);
            if (args.at(0) == u"-" && args.at(1) == u"-")
                throw Cli::UsageError(u"diff: OLD and NEW cannot both be standard input"_s);
            // The engine keeps the texts' bytes: the inputs must outlive it.
            const Cli::Input oldInput(args.at(0));
            std::optional<Cli::Input> newInput;
            try {
                newInput.emplace(args.at(1));
            } catch (const Cli::UsageError &) {
                if (!QByteArrayView(oldInput.bytes).isValidUtf8())
                    throw invalidText(args.at(0)); // the old text's fault comes first
                throw;
            }
            QJDifferenceEngine engine;
            engine.setComparisonType(type);
            if (!engine.setUtf8Strings(oldInput.bytes, newInput->bytes))
                throw invalidText(QByteArrayView(oldInput.bytes).isValidUtf8() ? args.at(1) : args.at(0));
            const QList<QJDiffRun> runs = engine.computeRuns();
            if (args.flag(u"--html"_s))
                Cli::writeOut(QJDifferenceHtml::htmlFragment(runs) + '\n');
            else
                printDifferences(runs, engine.matchValue());
            return 0;
        },
    .details = u"Output: {\"differences\":[{\"new\":…,\"old\":…,\"type\":T},…],\"match\":M}, T being 0 unchanged, "
               "1 changed, 2 deleted, 3 added; tokens are joined with single blanks. M is the share of unchanged "
               "tokens when each changed token weighs half (null when both texts have no tokens). Tokens that only "
               "moved count as unchanged. A number as TYPE other than 0, 1 or 2 compares each text as one token."_s,
});
} // namespace
