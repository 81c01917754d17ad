// SPDX-License-Identifier: LGPL-2.1-or-later
// The difference engine's tokenizer on arbitrary text and comparison types, against a plain
// byte-by-byte splitting: the tokens are the runs of the scanned UTF-8 bytes (as many bytes as the
// text has UTF-16 units) between separators, never empty; with punctuation, a mark ends a token and
// starts the next. Tokens are C strings, so a U+0000 in the text cuts its token short.
//
// Input: the comparison type selector (1 byte), then the text as UTF-8.
#include "QJDifferenceEngine.h"
#include "qjdifftokens_p.h"

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace
{
std::vector<std::string> reference(const QString &text, int type)
{
    const QByteArray utf8 = text.toUtf8();
    const qsizetype n = std::min(text.size(), utf8.size());
    auto separator = [type](char c) {
        if (type == ComparisonLines)
            return c == '\n';
        if (type == ComparisonWords || type == ComparisonPunctuation)
            return c == '\n' || c == ' ';
        return false;
    };
    auto punctuation = [type](char c) { return type == ComparisonPunctuation && std::strchr("!,.?:()", c) && c; };
    std::vector<std::string> tokens;
    std::string pending;
    bool open = false;
    for (qsizetype i = 0; i < n; ++i) {
        const char c = utf8.at(i);
        if (separator(c) || punctuation(c)) {
            if (open)
                tokens.push_back(pending);
            open = open && punctuation(c); // a mark after a token starts the next one
            pending = open ? std::string(1, c) : std::string();
        } else {
            open = true;
            pending.push_back(c);
        }
    }
    if (open)
        tokens.push_back(pending);
    for (std::string &token : tokens)
        token.resize(std::strlen(token.c_str())); // as a C string
    return tokens;
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 1)
        return 0;
    static const int types[] = {ComparisonWords, ComparisonLines, ComparisonPunctuation, -1, 3, 1000};
    const int type = types[data[0] % 6];
    const QString text = QString::fromUtf8(reinterpret_cast<const char *>(data + 1), qsizetype(size - 1));
    QJDiffTokens tokens;
    QJDiffTokenizer::split(tokens, text, type);
    const std::vector<std::string> expected = reference(text, type);
    if (tokens.tokens.size() != expected.size())
        std::abort();
    for (std::size_t i = 0; i < expected.size(); ++i) {
        if (expected[i] != tokens.tokens[i])
            std::abort();
    }
    // Splitting again into the same storage replaces what it held.
    QJDiffTokenizer::split(tokens, text.left(text.size() / 2), type);
    if (tokens.tokens.size() != reference(text.left(text.size() / 2), type).size())
        std::abort();
    return 0;
}
