// SPDX-License-Identifier: LGPL-2.1-or-later
// The XML property-list reader for documents that keep to the part of XML property lists use. It
// reads the UTF-8 bytes in place: no decoding of the whole text to UTF-16, no token objects, one
// allocation per string and per container. Whatever it does not know it declines, giving no reason,
// and the general reader (QXmlStreamReader) reads the document instead: so the values and the
// refusals, with their wording and position, stay those of the general reader.
#include "QJPropertyListSerialization.h"
#include "qjplistformats_p.h"
#include "qjvalue_p.h"

#include <QHash>

#include <array>
#include <cstring>
#include <vector>

namespace
{
enum class Element { Unknown, Plist, Dict, Array, Key, String, Integer, Real, True, False, Date, Data };

Element elementNamed(const char *name, qsizetype size)
{
    const std::string_view n(name, std::size_t(size));
    switch (size) {
    case 3:
        return n == "key" ? Element::Key : Element::Unknown;
    case 4:
        return n == "dict" ? Element::Dict
            : n == "real"  ? Element::Real
            : n == "true"  ? Element::True
            : n == "date"  ? Element::Date
            : n == "data"  ? Element::Data
                           : Element::Unknown;
    case 5:
        return n == "plist" ? Element::Plist
            : n == "array"  ? Element::Array
            : n == "false"  ? Element::False
                            : Element::Unknown;
    case 6:
        return n == "string" ? Element::String : Element::Unknown;
    case 7:
        return n == "integer" ? Element::Integer : Element::Unknown;
    }
    return Element::Unknown;
}

std::string_view nameOf(Element element)
{
    static constexpr std::array<std::string_view, 12> names
        = {"", "plist", "dict", "array", "key", "string", "integer", "real", "true", "false", "date", "data"};
    return names[std::size_t(element)];
}

// What a byte means in character data. Plain bytes are copied as they are.
enum ByteClass : unsigned char { Plain, Markup, Reference, Bracket, Return, Multibyte, Refused };

constexpr std::array<ByteClass, 256> byteClasses = [] {
    std::array<ByteClass, 256> table {};
    for (int c = 0; c < 256; ++c)
        table[c] = c >= 0x80 ? Multibyte : c < 0x20 ? Refused : Plain;
    table['\t'] = Plain;
    table['\n'] = Plain;
    table['\r'] = Return;
    table['<'] = Markup;
    table['&'] = Reference;
    table[']'] = Bracket;
    return table;
}();

bool isSpace(char c)
{
    return c == ' ' || c == '\n' || c == '\t' || c == '\r';
}

bool isNameStart(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

bool isNameChar(char c)
{
    return isNameStart(c) || (c >= '0' && c <= '9') || c == '-' || c == '.';
}

// A character XML can hold (U+0009, U+000A, U+000D, U+0020..U+D7FF, U+E000..U+FFFD, U+10000..U+10FFFF).
bool isXmlChar(char32_t c)
{
    return c >= 0x20 ? (c <= 0xD7FF || (c >= 0xE000 && c <= 0xFFFD) || (c >= 0x10000 && c <= 0x10FFFF))
                     : (c == '\t' || c == '\n' || c == '\r');
}

// The length of the UTF-8 sequence of one character XML can hold at p (whose first byte is 0x80 or
// above), or 0 when the bytes are not one.
int multibyteLength(const char *p, const char *end)
{
    const auto b = [p](int i) { return static_cast<unsigned char>(p[i]); };
    const auto continuation = [&](int i) { return (b(i) & 0xC0) == 0x80; };
    const qsizetype left = end - p;
    const unsigned lead = b(0);
    if (lead >= 0xC2 && lead <= 0xDF)
        return left >= 2 && continuation(1) ? 2 : 0;
    if (lead >= 0xE0 && lead <= 0xEF) {
        if (left < 3 || !continuation(1) || !continuation(2))
            return 0;
        if ((lead == 0xE0 && b(1) < 0xA0) || (lead == 0xED && b(1) >= 0xA0)) // overlong; surrogate
            return 0;
        if (lead == 0xEF && b(1) == 0xBF && b(2) >= 0xBE) // U+FFFE, U+FFFF
            return 0;
        return 3;
    }
    if (lead >= 0xF0 && lead <= 0xF4) {
        if (left < 4 || !continuation(1) || !continuation(2) || !continuation(3))
            return 0;
        if ((lead == 0xF0 && b(1) < 0x90) || (lead == 0xF4 && b(1) >= 0x90)) // overlong; above U+10FFFF
            return 0;
        return 4;
    }
    return 0;
}

void appendUtf8(QByteArray &out, char32_t c)
{
    if (c < 0x80) {
        out += char(c);
    } else if (c < 0x800) {
        out += char(0xC0 | (c >> 6));
        out += char(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += char(0xE0 | (c >> 12));
        out += char(0x80 | ((c >> 6) & 0x3F));
        out += char(0x80 | (c & 0x3F));
    } else {
        out += char(0xF0 | (c >> 18));
        out += char(0x80 | ((c >> 12) & 0x3F));
        out += char(0x80 | ((c >> 6) & 0x3F));
        out += char(0x80 | (c & 0x3F));
    }
}

// Short strings recur in property lists (every key of every record, enumerations, words): one
// QString each, shared. A table indexed by hash keeps the latest string of each slot.
class StringTable
{
public:
    static constexpr qsizetype MaximumSize = 32;

    QString string(QByteArrayView utf8)
    {
        if (utf8.isEmpty() || utf8.size() > MaximumSize)
            return QJPlist::textFromUtf8(utf8);
        quint32 hash = 2166136261u;
        for (char c : utf8)
            hash = (hash ^ static_cast<unsigned char>(c)) * 16777619u;
        Slot &slot = m_slots[hash & (SlotCount - 1)];
        if (slot.size == utf8.size() && !slot.string.isNull()
            && std::memcmp(slot.bytes, utf8.data(), std::size_t(utf8.size())) == 0)
            return slot.string;
        slot.string = QJPlist::textFromUtf8(utf8);
        slot.size = utf8.size();
        std::memcpy(slot.bytes, utf8.data(), std::size_t(utf8.size()));
        return slot.string;
    }

private:
    static constexpr std::size_t SlotCount = 4096;
    struct Slot
    {
        QString string;
        qsizetype size = 0;
        char bytes[MaximumSize];
    };
    std::vector<Slot> m_slots = std::vector<Slot>(SlotCount);
};

class SubsetReader
{
public:
    SubsetReader(QByteArrayView data, QJMutability mutability, const QJPlist::Progress &progress)
        : m_begin(data.data()),
          m_p(data.data()),
          m_end(data.data() + data.size()),
          m_reported(data.data()),
          m_mutability(mutability),
          m_progress(progress)
    { }

    bool read(QJValue *plist)
    {
        if (m_end - m_p >= 3 && std::memcmp(m_p, "\xEF\xBB\xBF", 3) == 0)
            m_p += 3;
        if (startsWith("<?xml") && m_end - m_p > 5 && isSpace(m_p[5]) && !declaration())
            return false;
        bool doctype = false;
        for (;;) {
            if (!skipMisc())
                return false;
            if (!startsWith("<!DOCTYPE"))
                break;
            if (doctype || !documentType())
                return false;
            doctype = true;
        }
        Element element;
        bool empty;
        if (!startTag(&element, &empty))
            return false;
        if (element == Element::Plist) {
            if (empty || !skipMisc() || !startTag(&element, &empty) || !value(element, empty, 0, plist))
                return false;
            if (!skipMisc() || !endTag(Element::Plist))
                return false;
        } else if (!value(element, empty, 0, plist)) {
            return false;
        }
        return skipMisc() && m_p == m_end;
    }

private:
    bool startsWith(std::string_view s) const
    {
        return std::size_t(m_end - m_p) >= s.size() && std::memcmp(m_p, s.data(), s.size()) == 0;
    }

    bool skipSpace()
    {
        const char *before = m_p;
        while (m_p < m_end && isSpace(*m_p))
            ++m_p;
        return m_p != before;
    }

    // Steps over one character that XML can hold, other than markup; false at anything else.
    bool skipChar()
    {
        const unsigned char c = *m_p;
        if (c < 0x80) {
            if (c < 0x20 && c != '\t' && c != '\n' && c != '\r')
                return false;
            ++m_p;
            return true;
        }
        const int n = multibyteLength(m_p, m_end);
        m_p += n;
        return n > 0;
    }

    // A quoted value without markup or references; *text is what the quotes hold.
    bool quoted(QByteArrayView *text = nullptr)
    {
        if (m_p >= m_end || (*m_p != '"' && *m_p != '\''))
            return false;
        const char quote = *m_p++;
        const char *start = m_p;
        while (m_p < m_end && *m_p != quote) {
            if (*m_p == '<' || *m_p == '&' || !skipChar())
                return false;
        }
        if (m_p >= m_end)
            return false;
        if (text)
            *text = QByteArrayView(start, m_p - start);
        ++m_p;
        return true;
    }

    // "= value" with optional white space around the sign.
    bool equalsQuoted(QByteArrayView *text)
    {
        skipSpace();
        if (m_p >= m_end || *m_p != '=')
            return false;
        ++m_p;
        skipSpace();
        return quoted(text);
    }

    // <?xml version="1.0" encoding="UTF-8" standalone="yes"?>: the encoding, when given, must be UTF-8.
    bool declaration()
    {
        m_p += 5;
        QByteArrayView text;
        skipSpace();
        if (!startsWith("version"))
            return false;
        m_p += 7;
        if (!equalsQuoted(&text) || text != "1.0")
            return false;
        bool spaced = skipSpace();
        if (spaced && startsWith("encoding")) {
            m_p += 8;
            if (!equalsQuoted(&text) || text.size() != 5 || qstrnicmp(text.data(), "utf-8", 5) != 0)
                return false;
            spaced = skipSpace();
        }
        if (spaced && startsWith("standalone")) {
            m_p += 10;
            if (!equalsQuoted(&text) || (text != "yes" && text != "no"))
                return false;
            skipSpace();
        }
        if (!startsWith("?>"))
            return false;
        m_p += 2;
        return true;
    }

    // <!DOCTYPE name>, <!DOCTYPE name SYSTEM "uri"> or <!DOCTYPE name PUBLIC "id" "uri">; no internal subset.
    bool documentType()
    {
        m_p += 9;
        if (!skipSpace() || m_p >= m_end || !isNameStart(*m_p))
            return false;
        while (m_p < m_end && isNameChar(*m_p))
            ++m_p;
        const bool spaced = skipSpace();
        if (spaced && startsWith("SYSTEM")) {
            m_p += 6;
            if (!skipSpace() || !quoted())
                return false;
        } else if (spaced && startsWith("PUBLIC")) {
            m_p += 6;
            QByteArrayView id;
            if (!skipSpace() || !quoted(&id) || !skipSpace() || !quoted())
                return false;
            for (char c : id) {
                if (!isNameChar(c) && !std::strchr(" \r\n'()+,/:=?;!*#@$%", c))
                    return false;
            }
        }
        skipSpace();
        if (m_p >= m_end || *m_p != '>')
            return false;
        ++m_p;
        return true;
    }

    // <!-- ... -->, which may not hold "--".
    bool comment()
    {
        m_p += 4;
        while (m_p < m_end) {
            if (*m_p == '-' && m_end - m_p >= 2 && m_p[1] == '-') {
                if (m_end - m_p < 3 || m_p[2] != '>')
                    return false;
                m_p += 3;
                return true;
            }
            if (!skipChar())
                return false;
        }
        return false;
    }

    // <?target ...?>, any target but the reserved "xml".
    bool processingInstruction()
    {
        m_p += 2;
        const char *target = m_p;
        if (m_p >= m_end || !isNameStart(*m_p))
            return false;
        while (m_p < m_end && isNameChar(*m_p))
            ++m_p;
        if (m_p - target == 3 && qstrnicmp(target, "xml", 3) == 0)
            return false;
        if (!startsWith("?>") && !skipSpace())
            return false;
        while (!startsWith("?>")) {
            if (m_p >= m_end || !skipChar())
                return false;
        }
        m_p += 2;
        return true;
    }

    // Skips white space, comments and processing instructions; false on a malformed one.
    bool skipMisc()
    {
        for (;;) {
            skipSpace();
            if (startsWith("<!--")) {
                if (!comment())
                    return false;
            } else if (startsWith("<?")) {
                if (!processingInstruction())
                    return false;
            } else {
                return true;
            }
        }
    }

    // <name attribute="value" ...> or <name .../> of a property-list element.
    bool startTag(Element *element, bool *empty)
    {
        if (m_p >= m_end || *m_p != '<')
            return false;
        const char *name = ++m_p;
        while (m_p < m_end && isNameChar(*m_p))
            ++m_p;
        *element = elementNamed(name, m_p - name);
        if (*element == Element::Unknown)
            return false;
        // Attributes mean nothing to a property list, but a document that repeats one is malformed.
        std::array<QByteArrayView, 4> names;
        std::size_t count = 0;
        for (;;) {
            const bool spaced = skipSpace();
            if (m_p >= m_end)
                return false;
            if (*m_p == '>') {
                ++m_p;
                *empty = false;
                return true;
            }
            if (*m_p == '/') {
                if (!startsWith("/>"))
                    return false;
                m_p += 2;
                *empty = true;
                return true;
            }
            const char *attribute = m_p;
            if (!spaced || !isNameStart(*m_p))
                return false;
            while (m_p < m_end && isNameChar(*m_p))
                ++m_p;
            const QByteArrayView attributeName(attribute, m_p - attribute);
            // Names with a prefix and the reserved xml* names (namespaces among them) go to the general reader.
            if (count == names.size() || (attributeName.size() >= 3 && qstrnicmp(attribute, "xml", 3) == 0))
                return false;
            for (std::size_t i = 0; i < count; ++i) {
                if (names[i] == attributeName)
                    return false;
            }
            names[count++] = attributeName;
            if (!equalsQuoted(nullptr))
                return false;
        }
    }

    // </name> of the element open.
    bool endTag(Element element)
    {
        const std::string_view name = nameOf(element);
        if (std::size_t(m_end - m_p) < name.size() + 3 || m_p[0] != '<' || m_p[1] != '/'
            || std::memcmp(m_p + 2, name.data(), name.size()) != 0)
            return false;
        m_p += 2 + name.size();
        skipSpace();
        if (m_p >= m_end || *m_p != '>')
            return false;
        ++m_p;
        return true;
    }

    // &name; of the five predefined entities, or a character reference; its UTF-8 is appended.
    bool reference(QByteArray &out)
    {
        ++m_p;
        if (m_p < m_end && *m_p == '#') {
            ++m_p;
            const bool hex = m_p < m_end && *m_p == 'x';
            m_p += hex ? 1 : 0;
            char32_t c = 0;
            const char *digits = m_p;
            for (; m_p < m_end && *m_p != ';'; ++m_p) {
                const char d = *m_p;
                int v = d >= '0' && d <= '9' ? d - '0' : -1;
                if (hex && v < 0)
                    v = d >= 'a' && d <= 'f' ? d - 'a' + 10 : d >= 'A' && d <= 'F' ? d - 'A' + 10 : -1;
                if (v < 0 || c > 0x10FFFF)
                    return false;
                c = c * (hex ? 16 : 10) + char32_t(v);
            }
            if (m_p >= m_end || m_p == digits || !isXmlChar(c))
                return false;
            ++m_p;
            appendUtf8(out, c);
            return true;
        }
        static constexpr std::pair<std::string_view, char> entities[]
            = {{"lt;", '<'}, {"gt;", '>'}, {"amp;", '&'}, {"apos;", '\''}, {"quot;", '"'}};
        for (const auto &[name, c] : entities) {
            if (startsWith(name)) {
                m_p += name.size();
                out += c;
                return true;
            }
        }
        return false;
    }

    // <![CDATA[ ... ]]>: the text as it is, line ends made line feeds.
    bool characterData(QByteArray &out)
    {
        m_p += 9;
        for (;;) {
            if (m_p >= m_end)
                return false;
            if (startsWith("]]>")) {
                m_p += 3;
                return true;
            }
            if (*m_p == '\r') {
                out += '\n';
                ++m_p;
                if (m_p < m_end && *m_p == '\n')
                    ++m_p;
                continue;
            }
            const char *c = m_p;
            if (!skipChar())
                return false;
            out.append(c, m_p - c);
        }
    }

    // The text of a leaf element, whose start tag has been read, up to and with its end tag. Text
    // as it stands in the document is viewed in place; text with references, line ends to make
    // line feeds, comments or CDATA sections is put together in m_text.
    bool text(Element element, QByteArrayView *text)
    {
        const char *start = m_p;
        for (;;) {
            while (m_p < m_end && byteClasses[static_cast<unsigned char>(*m_p)] == Plain)
                ++m_p;
            if (m_p >= m_end)
                return false;
            switch (byteClasses[static_cast<unsigned char>(*m_p)]) {
            case Markup:
                if (m_end - m_p >= 2 && m_p[1] == '/') {
                    *text = QByteArrayView(start, m_p - start);
                    return endTag(element);
                }
                return assembledText(element, start, text);
            case Reference:
            case Return:
                return assembledText(element, start, text);
            case Bracket:
                if (startsWith("]]>"))
                    return false;
                ++m_p;
                break;
            case Multibyte:
                if (!skipChar())
                    return false;
                break;
            default:
                return false;
            }
        }
    }

    bool assembledText(Element element, const char *start, QByteArrayView *text)
    {
        m_text.clear();
        m_text.append(start, m_p - start);
        for (;;) {
            const char *run = m_p;
            while (m_p < m_end && byteClasses[static_cast<unsigned char>(*m_p)] == Plain)
                ++m_p;
            m_text.append(run, m_p - run);
            if (m_p >= m_end)
                return false;
            switch (byteClasses[static_cast<unsigned char>(*m_p)]) {
            case Markup:
                if (startsWith("</")) {
                    *text = m_text;
                    return endTag(element);
                }
                if (startsWith("<!--")) {
                    if (!comment())
                        return false;
                } else if (startsWith("<![CDATA[")) {
                    if (!characterData(m_text))
                        return false;
                } else if (startsWith("<?")) {
                    if (!processingInstruction())
                        return false;
                } else {
                    return false; // an element inside a leaf
                }
                break;
            case Reference:
                if (!reference(m_text))
                    return false;
                break;
            case Return:
                m_text += '\n';
                ++m_p;
                if (m_p < m_end && *m_p == '\n')
                    ++m_p;
                break;
            case Bracket:
                if (startsWith("]]>"))
                    return false;
                m_text += *m_p++;
                break;
            case Multibyte: {
                const char *c = m_p;
                if (!skipChar())
                    return false;
                m_text.append(c, m_p - c);
                break;
            }
            default:
                return false;
            }
        }
    }

    // The value of an element whose start tag has been read; nested containers one level deeper.
    bool value(Element element, bool empty, int depth, QJValue *out)
    {
        if (element == Element::Dict || element == Element::Array) {
            if (depth >= QJPropertyListSerialization::MaximumDepth)
                return false;
            return element == Element::Dict ? dictionary(empty, depth, out) : array(empty, depth, out);
        }
        QByteArrayView t;
        if (!empty && !text(element, &t))
            return false;
        switch (element) {
        case Element::String:
            *out = m_strings.string(t);
            return true;
        case Element::Integer:
            *out = QJPlist::integerFromUtf8(t);
            break;
        case Element::Real:
            *out = QJPlist::realFromUtf8(t);
            break;
        case Element::True:
        case Element::False:
            if (!QJPlist::isBlankUtf8(t))
                return false;
            *out = element == Element::True;
            return true;
        case Element::Date:
            *out = QJPlist::dateFromUtf8(t);
            break;
        case Element::Data:
            *out = QJPlist::dataFromUtf8(t, m_base64);
            break;
        default: // a key outside a dictionary, a nested plist
            return false;
        }
        return !out->isNone();
    }

    // Past the white space and comments between two elements of a container: true at the start tag
    // of the next element, false at its end tag (or at malformed markup, which *malformed tells).
    bool nextElement(bool *malformed)
    {
        *malformed = !skipMisc() || m_end - m_p < 2 || *m_p != '<';
        return !*malformed && m_p[1] != '/';
    }

    bool array(bool empty, int depth, QJValue *out)
    {
        std::vector<QJValue> &values = m_arrays[std::size_t(depth)];
        values.clear();
        bool malformed = false;
        while (!empty && nextElement(&malformed)) {
            Element element;
            bool elementEmpty;
            QJValue v;
            if (!startTag(&element, &elementEmpty) || !value(element, elementEmpty, depth + 1, &v))
                return false;
            values.push_back(std::move(v));
            reportProgress();
        }
        if (malformed || (!empty && !endTag(Element::Array)))
            return false;
        QList<QJValue> list;
        list.reserve(qsizetype(values.size()));
        std::move(values.begin(), values.end(), std::back_inserter(list));
        values.clear();
        *out = QJValuePrivate::makeArray(std::move(list), m_mutability);
        return true;
    }

    bool dictionary(bool empty, int depth, QJValue *out)
    {
        std::vector<QJDictionary::Entry> &entries = m_dictionaries[std::size_t(depth)];
        QHash<QString, qsizetype> &index = m_indexes[std::size_t(depth)];
        entries.clear();
        index.clear();
        bool malformed = false;
        while (!empty && nextElement(&malformed)) {
            Element element;
            bool elementEmpty;
            QByteArrayView keyText;
            if (!startTag(&element, &elementEmpty) || element != Element::Key)
                return false;
            if (!elementEmpty && !text(Element::Key, &keyText))
                return false;
            QString key = m_strings.string(keyText);
            QJValue v;
            if (!nextElement(&malformed) || !startTag(&element, &elementEmpty)
                || !value(element, elementEmpty, depth + 1, &v))
                return false;
            // A key given again keeps its place and takes the later value, as setObject() does.
            qsizetype at = -1;
            if (qsizetype(entries.size()) < QJDictionaryData::IndexedCount) {
                for (std::size_t i = 0; i < entries.size() && at < 0; ++i) {
                    if (entries[i].first == key)
                        at = qsizetype(i);
                }
            } else {
                if (index.isEmpty()) {
                    for (std::size_t i = 0; i < entries.size(); ++i)
                        index.insert(entries[i].first, qsizetype(i));
                }
                at = index.value(key, -1);
                if (at < 0)
                    index.insert(key, qsizetype(entries.size()));
            }
            if (at >= 0)
                entries[std::size_t(at)].second = std::move(v);
            else
                entries.emplace_back(std::move(key), std::move(v));
            reportProgress();
        }
        if (malformed || (!empty && !endTag(Element::Dict)))
            return false;
        if (qsizetype(entries.size()) >= QJDictionaryData::IndexedCount && index.isEmpty()) {
            for (std::size_t i = 0; i < entries.size(); ++i)
                index.insert(entries[i].first, qsizetype(i));
        }
        QList<QJDictionary::Entry> list;
        list.reserve(qsizetype(entries.size()));
        std::move(entries.begin(), entries.end(), std::back_inserter(list));
        entries.clear();
        *out = QJValuePrivate::makeDictionary(std::move(list), std::move(index), m_mutability);
        index.clear();
        return true;
    }

    // Tells how far the reader has come, every ProgressStep bytes.
    void reportProgress()
    {
        if (m_progress && m_p - m_reported >= ProgressStep) {
            m_reported = m_p;
            m_progress(m_p - m_begin);
        }
    }

    static constexpr qsizetype ProgressStep = qsizetype(4) << 20;
    const char *const m_begin;
    const char *m_p;
    const char *const m_end;
    const char *m_reported; // where progress was last told
    QJMutability m_mutability;
    const QJPlist::Progress &m_progress;
    QByteArray m_text;
    QByteArray m_base64;
    StringTable m_strings;
    // The elements of the containers open, one list per level, kept for the next container there.
    std::vector<std::vector<QJValue>> m_arrays {std::size_t(QJPropertyListSerialization::MaximumDepth)};
    std::vector<std::vector<QJDictionary::Entry>> m_dictionaries {
        std::size_t(QJPropertyListSerialization::MaximumDepth)};
    std::vector<QHash<QString, qsizetype>> m_indexes {std::size_t(QJPropertyListSerialization::MaximumDepth)};
};
} // namespace

bool QJPlist::readXmlSubset(QByteArrayView data, QJMutability mutability, QJValue *plist, const Progress &progress)
{
    SubsetReader reader(data, mutability, progress);
    return reader.read(plist);
}
