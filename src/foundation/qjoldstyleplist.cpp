// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJPropertyListSerialization.h"
#include "qjplistformats_p.h"
#include "qjvalue_p.h"

#include <QStringDecoder>

using namespace Qt::StringLiterals;

bool QJPlist::decodeText(const QByteArray &data, QString *text)
{
    const auto bytes = reinterpret_cast<const uchar *>(data.constData());
    if (data.size() >= 2 && ((bytes[0] == 0xFF && bytes[1] == 0xFE) || (bytes[0] == 0xFE && bytes[1] == 0xFF))) {
        QStringDecoder decoder(bytes[0] == 0xFF ? QStringDecoder::Utf16LE : QStringDecoder::Utf16BE);
        *text = decoder(QByteArrayView(data).sliced(2));
        return !decoder.hasError();
    }
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    *text = decoder(data.startsWith("\xEF\xBB\xBF") ? QByteArrayView(data).sliced(3) : QByteArrayView(data));
    return !decoder.hasError();
}

namespace
{
// A character as a message shows it: itself when it can be seen, its code point otherwise.
QString shown(char16_t c)
{
    const QChar ch(c);
    return ch.isPrint() && !ch.isSpace() ? QString(ch) : u"U+%1"_s.arg(uint(c), 4, 16, QChar(u'0')).toUpper();
}

int hexValue(char16_t c)
{
    if (c >= u'0' && c <= u'9')
        return c - u'0';
    if (c >= u'a' && c <= u'f')
        return c - u'a' + 10;
    if (c >= u'A' && c <= u'F')
        return c - u'A' + 10;
    return -1;
}

class OldStyleParser
{
public:
    OldStyleParser(QStringView text, QJMutability mutability) : m_text(text), m_mutability(mutability) { }

    QJValue parse(bool stringsFile, QString *error)
    {
        QJValue result;
        skipSpace();
        if (stringsFile && (atEnd() || peek() != u'{')) {
            QJDictionary dict(QJMutability::Mutable);
            readEntries(&dict, 0, /*closing=*/u'\0');
            QJValuePrivate::setMutability(dict, m_mutability);
            result = dict;
        } else {
            result = readObject(0);
            skipSpace();
            if (!m_failed && !atEnd())
                fail(u"unexpected \"%1\" after the property list"_s.arg(shown(peek())));
        }
        if (m_failed) {
            if (error)
                *error = u"%1 (line %2)"_s.arg(m_error).arg(line());
            return QJValue();
        }
        return result;
    }

private:
    bool atEnd() const { return m_pos >= m_text.size(); }
    char16_t peek() const { return m_text.at(m_pos).unicode(); }

    int line() const { return int(m_text.left(std::min(m_pos, m_text.size())).count(u'\n')) + 1; }

    QJValue fail(const QString &message)
    {
        if (!m_failed) {
            m_failed = true;
            m_error = message;
        }
        return QJValue();
    }

    // Skips white space and both kinds of comments.
    void skipSpace()
    {
        while (!atEnd()) {
            const char16_t c = peek();
            if (c == u' ' || c == u'\t' || c == u'\n' || c == u'\r' || c == 0xFEFF || c == u'\f' || c == u'\v') {
                ++m_pos;
            } else if (c == u'/' && m_pos + 1 < m_text.size() && m_text.at(m_pos + 1) == u'/') {
                while (!atEnd() && peek() != u'\n')
                    ++m_pos;
            } else if (c == u'/' && m_pos + 1 < m_text.size() && m_text.at(m_pos + 1) == u'*') {
                const qsizetype end = m_text.indexOf(u"*/", m_pos + 2);
                if (end < 0) {
                    fail(u"unterminated comment"_s);
                    m_pos = m_text.size();
                    return;
                }
                m_pos = end + 2;
            } else {
                return;
            }
        }
    }

    QJValue readObject(int depth)
    {
        skipSpace();
        if (m_failed)
            return QJValue();
        if (atEnd())
            return fail(u"unexpected end of text where a value belongs"_s);
        const char16_t c = peek();
        if (c == u'{' || c == u'(') {
            if (depth >= QJPropertyListSerialization::MaximumDepth)
                return fail(
                    u"the property list nests deeper than %1 levels"_s.arg(QJPropertyListSerialization::MaximumDepth));
            ++m_pos;
            return c == u'{' ? readDictionary(depth) : readArray(depth);
        }
        if (c == u'<') {
            ++m_pos;
            return readData();
        }
        if (c == u'"' || c == u'\'')
            return readQuoted();
        if (QJPlist::isUnquotedCharacter(c))
            return readUnquoted();
        return fail(u"unexpected \"%1\" where a value belongs"_s.arg(shown(c)));
    }

    QJValue readDictionary(int depth)
    {
        QJDictionary dict(QJMutability::Mutable);
        readEntries(&dict, depth, u'}');
        if (m_failed)
            return QJValue();
        QJValuePrivate::setMutability(dict, m_mutability);
        return dict;
    }

    // Reads `key = value;` and `key;` entries up to closing (or the end of the text when it is 0).
    void readEntries(QJDictionary *dict, int depth, char16_t closing)
    {
        for (;;) {
            skipSpace();
            if (m_failed)
                return;
            if (atEnd()) {
                if (closing)
                    fail(u"unterminated dictionary"_s);
                return;
            }
            if (closing && peek() == closing) {
                ++m_pos;
                return;
            }
            const QJValue key = readObject(depth + 1);
            if (m_failed)
                return;
            if (!key.isString()) {
                fail(u"a dictionary key is not a string"_s);
                return;
            }
            skipSpace();
            if (!atEnd() && peek() == u';') { // "key;" stands for "key" = "key";
                ++m_pos;
                dict->setObject(key, key.toString());
                continue;
            }
            if (atEnd() || peek() != u'=') {
                fail(u"expected \"=\" after the key \"%1\""_s.arg(key.toString().left(40)));
                return;
            }
            ++m_pos;
            const QJValue value = readObject(depth + 1);
            if (m_failed)
                return;
            skipSpace();
            if (atEnd() || peek() != u';') {
                fail(u"expected \";\" after the value of \"%1\""_s.arg(key.toString().left(40)));
                return;
            }
            ++m_pos;
            dict->setObject(value, key.toString());
        }
    }

    QJValue readArray(int depth)
    {
        QList<QJValue> values;
        for (;;) {
            skipSpace();
            if (m_failed)
                return QJValue();
            if (atEnd())
                return fail(u"unterminated array"_s);
            if (peek() == u')') {
                ++m_pos;
                break;
            }
            values.append(readObject(depth + 1));
            if (m_failed)
                return QJValue();
            skipSpace();
            if (!atEnd() && peek() == u',') {
                ++m_pos;
                continue;
            }
            if (atEnd() || peek() != u')')
                return fail(u"expected \",\" or \")\" in an array"_s);
        }
        return QJValuePrivate::makeArray(std::move(values), m_mutability);
    }

    QJValue readData()
    {
        QByteArray data;
        int high = -1;
        for (;;) {
            skipSpace();
            if (atEnd())
                return fail(u"unterminated data"_s);
            const char16_t c = peek();
            ++m_pos;
            if (c == u'>')
                break;
            const int v = hexValue(c);
            if (v < 0)
                return fail(u"data holds \"%1\", which is not a hexadecimal digit"_s.arg(shown(c)));
            if (high < 0) {
                high = v;
            } else {
                data += char(high << 4 | v);
                high = -1;
            }
        }
        if (high >= 0)
            return fail(u"data holds an odd number of hexadecimal digits"_s);
        return data;
    }

    QJValue readUnquoted()
    {
        const qsizetype start = m_pos;
        while (!atEnd() && QJPlist::isUnquotedCharacter(peek()))
            ++m_pos;
        return m_text.mid(start, m_pos - start).toString();
    }

    QJValue readQuoted()
    {
        const char16_t quote = peek();
        ++m_pos;
        QString s;
        for (;;) {
            if (atEnd())
                return fail(u"unterminated string"_s);
            const char16_t c = peek();
            ++m_pos;
            if (c == quote)
                return s;
            if (c != u'\\') {
                s += QChar(c);
                continue;
            }
            if (atEnd())
                return fail(u"unterminated string"_s);
            const char16_t e = peek();
            ++m_pos;
            switch (e) {
            case u'a':
                s += u'\a';
                break;
            case u'b':
                s += u'\b';
                break;
            case u'f':
                s += u'\f';
                break;
            case u'n':
                s += u'\n';
                break;
            case u'r':
                s += u'\r';
                break;
            case u't':
                s += u'\t';
                break;
            case u'v':
                s += u'\v';
                break;
            case u'U':
            case u'u': { // up to four hexadecimal digits
                char16_t v = 0;
                int digits = 0;
                while (digits < 4 && !atEnd() && hexValue(peek()) >= 0) {
                    v = char16_t(v << 4 | hexValue(peek()));
                    ++m_pos;
                    ++digits;
                }
                if (digits == 0)
                    return fail(u"\\U without hexadecimal digits"_s);
                s += QChar(v);
                break;
            }
            default:
                if (e >= u'0' && e <= u'7') { // up to three octal digits
                    int v = e - u'0';
                    for (int i = 0; i < 2 && !atEnd() && peek() >= u'0' && peek() <= u'7'; ++i)
                        v = v * 8 + (m_text.at(m_pos++).unicode() - u'0');
                    s += QChar(char16_t(v));
                } else {
                    s += QChar(e); // \" \' \\ and any other character stand for themselves
                }
            }
        }
    }

    QStringView m_text;
    qsizetype m_pos = 0;
    QJMutability m_mutability;
    QString m_error;
    bool m_failed = false;
};
} // namespace

QJValue QJPlist::readOldStyle(QStringView text, QJMutability mutability, bool stringsFile, QString *error)
{
    OldStyleParser parser(text, mutability);
    return parser.parse(stringsFile, error);
}
