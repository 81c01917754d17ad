// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

// Deterministic benchmark inputs: the same arguments always give the same bytes.
//   prose(bytes)   UTF-8 prose: paragraphs of sentences, a few non-ASCII words, mostly blank lines between
//   names(count)   file-name-like lines with embedded numbers and versions
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

namespace textgen
{
struct Random
{
    std::uint64_t state = 0x9E3779B97F4A7C15ull;
    std::uint64_t next()
    {
        // xorshift64*
        state ^= state >> 12;
        state ^= state << 25;
        state ^= state >> 27;
        return state * 0x2545F4914F6CDD1Dull;
    }
    unsigned below(unsigned n) { return unsigned((next() >> 33) % n); }
};

constexpr std::string_view words[] = {"the", "a", "of", "and", "to", "in", "is", "was", "that", "it", "with", "for",
    "as", "on", "his", "her", "they", "at", "by", "from", "which", "had", "this", "not", "but", "were", "been",
    "writer", "chapter", "morning", "window", "letter", "garden", "river", "silence", "evening", "story", "paper",
    "voice", "station", "afternoon", "kitchen", "harbour", "lantern", "notebook", "question", "answer", "remembered",
    "walked", "considered", "whispered", "carefully", "suddenly", "quietly", "although", "because", "between",
    "through", "without", "another", "everything", "nothing", "perhaps", "yesterday", "tomorrow", "2019", "42", "3.14",
    "e-mail", "self-evident", "Mr.", "Dr.", "St.", "twenty-one", "x86-64"};
constexpr unsigned wordCount = sizeof(words) / sizeof(words[0]);
// About one word in twenty comes from here: accented names, other scripts, typographic punctuation.
constexpr std::string_view foreignWords[]
    = {"café", "naïve", "façade", "Zürich", "résumé", "déjà", "über", "señor", "coöperate", "smörgåsbord", "Ærø",
        "Łódź", "Αθήνα", "Москва", "東京", "—", "“indeed”", "‘quite’", "…", "O’Brien", "naïveté"};
constexpr unsigned foreignCount = sizeof(foreignWords) / sizeof(foreignWords[0]);

inline std::string prose(std::uint64_t bytes)
{
    Random r;
    std::string out;
    out.reserve(bytes + 4096);
    while (out.size() < bytes) {
        const unsigned sentences = 2 + r.below(10);
        for (unsigned s = 0; s < sentences; ++s) {
            const unsigned n = 4 + r.below(18);
            for (unsigned w = 0; w < n; ++w) {
                std::string_view word
                    = r.below(20) == 0 ? foreignWords[r.below(foreignCount)] : words[r.below(wordCount)];
                if (w == 0 && word[0] >= 'a' && word[0] <= 'z') {
                    out += char(word[0] - 32);
                    word.remove_prefix(1);
                }
                out += word;
                if (w + 1 < n)
                    out += r.below(12) == 0 ? ", " : " ";
            }
            out += r.below(6) == 0 ? "? " : ". ";
            if (r.below(40) == 0)
                out += "\t";
        }
        out.back() = '\n';
        if (r.below(3) != 0)
            out += '\n'; // most paragraphs are followed by an empty line
    }
    return out;
}

inline std::string names(std::uint64_t count)
{
    constexpr std::string_view stems[] = {"chapter", "Draft", "notes", "IMG_", "scan", "invoice", "Report", "track",
        "backup", "photo", "letter", "summary", "budget", "v", "release-", "part"};
    constexpr std::string_view exts[] = {".txt", ".md", ".pdf", ".jpg", ".png", ".tar.gz", ".docx", ".mp3"};
    Random r;
    std::string out;
    out.reserve(count * 24);
    char buf[160];
    for (std::uint64_t i = 0; i < count; ++i) {
        const std::string_view stem = stems[r.below(16)];
        const std::string_view ext = exts[r.below(8)];
        int len = 0;
        switch (r.below(6)) {
        case 0:
            len = std::snprintf(buf, sizeof buf, "%.*s%u%.*s", int(stem.size()), stem.data(), r.below(5000),
                int(ext.size()), ext.data());
            break;
        case 1:
            len = std::snprintf(buf, sizeof buf, "%.*s %u - part %u%.*s", int(stem.size()), stem.data(), r.below(300),
                r.below(40), int(ext.size()), ext.data());
            break;
        case 2:
            len = std::snprintf(buf, sizeof buf, "%.*s-%u.%u.%u%.*s", int(stem.size()), stem.data(), r.below(5),
                r.below(30), r.below(200), int(ext.size()), ext.data());
            break;
        case 3:
            len = std::snprintf(buf, sizeof buf, "%.*s_2%03u%02u%02u_%04u%.*s", int(stem.size()), stem.data(),
                r.below(30), 1 + r.below(12), 1 + r.below(28), r.below(10000), int(ext.size()), ext.data());
            break;
        case 4:
            len = std::snprintf(buf, sizeof buf, "projects/%.*s%u/%.*s%03u%.*s", int(stem.size()), stem.data(),
                r.below(20), int(stem.size()), stem.data(), r.below(1000), int(ext.size()), ext.data());
            break;
        default:
            len = std::snprintf(buf, sizeof buf, "%.*s%02u (%u)%.*s", int(stem.size()), stem.data(), r.below(100),
                1 + r.below(9), int(ext.size()), ext.data());
            break;
        }
        out.append(buf, size_t(len));
        out += '\n';
    }
    return out;
}
} // namespace textgen
