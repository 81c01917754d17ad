// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJPropertyListSerialization.h"
#include "qjplistformats_p.h"
#include "qjvalue_p.h"

#include <QTimeZone>
#include <QXmlStreamReader>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <vector>

using namespace Qt::StringLiterals;

bool QJPlist::lessByCodePoint(const QString &a, const QString &b)
{
    const qsizetype n = std::min(a.size(), b.size());
    for (qsizetype i = 0; i < n; ++i) {
        char16_t x = a.at(i).unicode();
        char16_t y = b.at(i).unicode();
        if (x == y)
            continue;
        // Move surrogates above U+E000..U+FFFF so that code units order as code points do.
        auto fix = [](char16_t u) -> unsigned { return u >= 0xE000 ? u - 0x800u : u >= 0xD800 ? u + 0x2000u : u; };
        return fix(x) < fix(y);
    }
    return a.size() < b.size();
}

// ---------------------------------------------------------------------------------------------
// Writing

namespace
{
// A string the writer can write: Unicode (surrogates paired), no U+FFFE or U+FFFF, and of the
// control characters only tab, line feed and carriage return.
bool isWritableText(QStringView text)
{
    const char16_t *p = text.utf16();
    const char16_t *end = p + text.size();
    while (p < end) {
        const char16_t c = *p++;
        if (c < 0x20) {
            if (c != '\t' && c != '\n' && c != '\r')
                return false;
        } else if (QChar::isHighSurrogate(c)) {
            if (p == end || !QChar::isLowSurrogate(*p))
                return false;
            ++p;
        } else if (QChar::isLowSurrogate(c) || c >= 0xFFFE) {
            return false;
        }
    }
    return true;
}

// Whether XmlWriter writes @p value at @p level without refusing it; the same refusals in any order.
bool isWritable(const QJValue &value, int level)
{
    switch (value.type()) {
    case QJValue::String:
        return isWritableText(*QJValuePrivate::string(value));
    case QJValue::Array:
        if (level >= QJPropertyListSerialization::MaximumDepth)
            return false;
        for (const QJValue &element : QJValuePrivate::arrayData(value)->values) {
            if (!isWritable(element, level + 1))
                return false;
        }
        return true;
    case QJValue::Dictionary:
        if (level >= QJPropertyListSerialization::MaximumDepth)
            return false;
        for (const auto &[key, element] : QJValuePrivate::dictionaryData(value)->entries) {
            if (!isWritableText(key) || !isWritable(element, level + 1))
                return false;
        }
        return true;
    case QJValue::None:
    case QJValue::Object:
        return false;
    default:
        return true;
    }
}

class XmlWriter
{
public:
    // With a sink, the text goes out in pieces of about PieceSize bytes as it is made.
    explicit XmlWriter(QString *error, const QJPlist::Sink *sink = nullptr) : m_error(error), m_sink(sink)
    {
        if (m_sink)
            m_buffer.resize(PieceSize);
    }

    bool writeDocument(const QJValue &plist)
    {
        append("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
               "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
               "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
               "<plist version=\"1.0\">\n");
        if (!write(plist, 0))
            return false;
        append("</plist>\n");
        return !m_stopped && (!m_sink || flush());
    }

    QByteArray take()
    {
        m_buffer.truncate(m_size);
        return std::move(m_buffer);
    }

private:
    static constexpr qsizetype PieceSize = qsizetype(1) << 20;

    bool fail(const QString &message)
    {
        if (m_error)
            *m_error = message;
        return false;
    }

    // Gives the text made so far to the sink; false when the sink says stop.
    bool flush()
    {
        if (m_size > 0 && !m_stopped && !(*m_sink)(QByteArrayView(m_buffer.constData(), m_size)))
            m_stopped = true;
        m_size = 0;
        return !m_stopped;
    }

    // Room for @p n more bytes at the end of the text; the caller commits what it wrote with m_size.
    char *room(qsizetype n)
    {
        if (m_buffer.size() - m_size < n) {
            if (m_sink)
                flush();
            if (m_buffer.size() - m_size < n)
                m_buffer.resize(std::max(m_size + n, m_buffer.size() * 2));
        }
        return m_buffer.data() + m_size;
    }

    void append(const char *bytes, qsizetype n)
    {
        std::memcpy(room(n), bytes, std::size_t(n));
        m_size += n;
    }

    void append(std::string_view text) { append(text.data(), qsizetype(text.size())); }

    void indent(int level)
    {
        std::memset(room(level), '\t', std::size_t(level));
        m_size += level;
    }

    // Escapes &, < and >; line ends become "\n"; other control characters cannot be written.
    bool appendText(QStringView text)
    {
        char *const start = room(text.size() * 5); // '&' takes five bytes, no code unit more
        char *out = start;
        const char16_t *p = text.utf16();
        const char16_t *end = p + text.size();
        while (p < end) {
            const char16_t c = *p++;
            if (c < 0x80) {
                if (c >= 0x3F || (c >= 0x20 && c != '&' && c != '<' && c != '>')) {
                    *out++ = char(c);
                    continue;
                }
                switch (c) {
                case '&':
                    out = std::copy_n("&amp;", 5, out);
                    break;
                case '<':
                    out = std::copy_n("&lt;", 4, out);
                    break;
                case '>':
                    out = std::copy_n("&gt;", 4, out);
                    break;
                case '\t':
                case '\n':
                    *out++ = char(c);
                    break;
                case '\r':
                    *out++ = '\n';
                    if (p < end && *p == '\n')
                        ++p;
                    break;
                default:
                    return refuseText(text);
                }
            } else if (c < 0x800) {
                *out++ = char(0xC0 | (c >> 6));
                *out++ = char(0x80 | (c & 0x3F));
            } else if (QChar::isHighSurrogate(c) && p < end && QChar::isLowSurrogate(*p)) {
                const char32_t u = QChar::surrogateToUcs4(c, *p++);
                *out++ = char(0xF0 | (u >> 18));
                *out++ = char(0x80 | ((u >> 12) & 0x3F));
                *out++ = char(0x80 | ((u >> 6) & 0x3F));
                *out++ = char(0x80 | (u & 0x3F));
            } else if (QChar::isSurrogate(c) || c >= 0xFFFE) {
                return refuseText(text);
            } else {
                *out++ = char(0xE0 | (c >> 12));
                *out++ = char(0x80 | ((c >> 6) & 0x3F));
                *out++ = char(0x80 | (c & 0x3F));
            }
        }
        m_size += out - start;
        return true;
    }

    // The reason a string cannot be written, the first of them when it has several.
    bool refuseText(QStringView text)
    {
        if (!text.isValidUtf16())
            return fail(u"a string holds an unpaired surrogate and is not valid Unicode"_s);
        // XML cannot hold these two noncharacters at all, not even as references.
        for (char16_t c : {char16_t(0xFFFE), char16_t(0xFFFF)}) {
            if (text.contains(QChar(c)))
                return fail(u"a string holds the character U+%1, which XML cannot hold"_s.arg(unsigned(c), 4, 16));
        }
        for (QChar c : text) {
            if (c.unicode() < 0x20 && c != u'\t' && c != u'\n' && c != u'\r')
                return fail(u"a string holds the control character U+%1, which XML cannot hold"_s.arg(
                    unsigned(c.unicode()), 4, 16, QLatin1Char('0')));
        }
        return false;
    }

    template<typename Integer>
    void appendNumber(Integer n)
    {
        char *out = room(24);
        m_size += std::to_chars(out, out + 24, n).ptr - out;
    }

    void writeData(const QByteArray &data, int level)
    {
        static constexpr char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
        indent(level);
        append("<data>\n");
        // The base64 lines stay within 76 columns, tabs counted as 8, and hold at least 16 characters.
        const int lineLength = std::max(16, 76 - 8 * level);
        const qsizetype chunk = (lineLength / 4) * 3;
        const auto *bytes = reinterpret_cast<const unsigned char *>(data.constData());
        for (qsizetype i = 0; i < data.size(); i += chunk) {
            indent(level);
            const qsizetype n = std::min(chunk, data.size() - i);
            char *const start = room(n / 3 * 4 + 5);
            char *out = start;
            const unsigned char *in = bytes + i;
            for (qsizetype k = 0; k + 3 <= n; k += 3, in += 3) {
                const unsigned v = unsigned(in[0]) << 16 | unsigned(in[1]) << 8 | in[2];
                *out++ = alphabet[v >> 18];
                *out++ = alphabet[(v >> 12) & 0x3F];
                *out++ = alphabet[(v >> 6) & 0x3F];
                *out++ = alphabet[v & 0x3F];
            }
            if (const qsizetype rest = n % 3) {
                const unsigned v = unsigned(in[0]) << 16 | (rest == 2 ? unsigned(in[1]) << 8 : 0u);
                *out++ = alphabet[v >> 18];
                *out++ = alphabet[(v >> 12) & 0x3F];
                *out++ = rest == 2 ? alphabet[(v >> 6) & 0x3F] : '=';
                *out++ = '=';
            }
            *out++ = '\n';
            m_size += out - start;
        }
        indent(level);
        append("</data>\n");
    }

    void writeDate(const QDateTime &date)
    {
        const QDateTime utc = date.toUTC();
        const QDate d = utc.date();
        const QTime t = utc.time();
        char text[80];
        const int n = std::snprintf(text, sizeof text, "<date>%04d-%02d-%02dT%02d:%02d:%02dZ</date>\n", d.year(),
            d.month(), d.day(), t.hour(), t.minute(), t.second());
        append(text, n);
    }

    bool write(const QJValue &value, int level)
    {
        switch (value.type()) {
        case QJValue::String:
            indent(level);
            append("<string>");
            if (!appendText(*QJValuePrivate::string(value)))
                return false;
            append("</string>\n");
            return true;
        case QJValue::Integer:
            indent(level);
            append("<integer>");
            if (value.isUnsignedInteger())
                appendNumber(value.toUnsignedInteger());
            else
                appendNumber(value.toInteger());
            append("</integer>\n");
            return true;
        case QJValue::Real: {
            indent(level);
            append("<real>");
            const QString text = qjFormatReal(value.toDouble());
            char *out = room(text.size());
            for (QChar c : text)
                *out++ = char(c.unicode());
            m_size += text.size();
            append("</real>\n");
            return true;
        }
        case QJValue::Boolean:
            indent(level);
            append(value.toBool() ? std::string_view("<true/>\n") : std::string_view("<false/>\n"));
            return true;
        case QJValue::Date:
            indent(level);
            writeDate(value.toDateTime());
            return true;
        case QJValue::Data:
            writeData(*QJValuePrivate::bytes(value), level);
            return true;
        case QJValue::Array: {
            if (level >= QJPropertyListSerialization::MaximumDepth)
                return fail(
                    u"the property list nests deeper than %1 levels"_s.arg(QJPropertyListSerialization::MaximumDepth));
            const QList<QJValue> &values = QJValuePrivate::arrayData(value)->values;
            indent(level);
            if (values.isEmpty()) {
                append("<array/>\n");
                return true;
            }
            append("<array>\n");
            for (const QJValue &element : values) {
                if (!write(element, level + 1) || m_stopped)
                    return false;
            }
            indent(level);
            append("</array>\n");
            return true;
        }
        case QJValue::Dictionary: {
            if (level >= QJPropertyListSerialization::MaximumDepth)
                return fail(
                    u"the property list nests deeper than %1 levels"_s.arg(QJPropertyListSerialization::MaximumDepth));
            const QList<QJDictionary::Entry> &entries = QJValuePrivate::dictionaryData(value)->entries;
            indent(level);
            if (entries.isEmpty()) {
                append("<dict/>\n");
                return true;
            }
            append("<dict>\n");
            // One list of entries per level, kept for the next dictionary there.
            std::vector<const QJDictionary::Entry *> &order = m_orders[std::size_t(level)];
            order.clear();
            for (const auto &entry : entries)
                order.push_back(&entry);
            const auto less = [](auto *a, auto *b) { return QJPlist::lessByCodePoint(a->first, b->first); };
            if (!std::is_sorted(order.begin(), order.end(), less))
                std::sort(order.begin(), order.end(), less);
            for (const auto *entry : order) {
                indent(level + 1);
                append("<key>");
                if (!appendText(entry->first))
                    return false;
                append("</key>\n");
                if (!write(entry->second, level + 1) || m_stopped)
                    return false;
            }
            indent(level);
            append("</dict>\n");
            return true;
        }
        case QJValue::None:
            return fail(u"a property list cannot hold a missing value"_s);
        case QJValue::Object:
            return fail(u"a property list cannot hold an object of type %1"_s.arg(
                QLatin1StringView(value.toObject().metaType().name())));
        }
        return false;
    }

    QByteArray m_buffer; // the text, m_size bytes of it made
    qsizetype m_size = 0;
    QString *m_error;
    const QJPlist::Sink *m_sink;
    bool m_stopped = false; // the sink said stop
    std::vector<std::vector<const QJDictionary::Entry *>> m_orders {
        std::size_t(QJPropertyListSerialization::MaximumDepth)};
};
} // namespace

QByteArray QJPlist::writeXml(const QJValue &plist, QString *error)
{
    XmlWriter writer(error);
    if (!writer.writeDocument(plist))
        return QByteArray();
    return writer.take();
}

bool QJPlist::writeXml(const QJValue &plist, const Sink &sink, QString *error)
{
    // Nothing goes out for a list that cannot be written; the reason is the writer's own.
    if (!isWritable(plist, 0)) {
        writeXml(plist, error);
        return false;
    }
    XmlWriter writer(error, &sink);
    return writer.writeDocument(plist);
}

bool QJPlist::isWritableAsXml(const QJValue &plist)
{
    return isWritable(plist, 0);
}

// ---------------------------------------------------------------------------------------------
// Reading: the general reader, for any well-formed XML and for the reason a document is refused

namespace
{
class XmlReader
{
public:
    XmlReader(const QByteArray &data, QJMutability mutability) : m_reader(data), m_mutability(mutability) { }

    QJValue read(QString *error)
    {
        QJValue result = readDocument();
        if (!m_failed && m_reader.hasError())
            fail(m_reader.errorString());
        if (m_failed) {
            if (error)
                *error
                    = u"%1 (line %2, column %3)"_s.arg(m_error).arg(m_reader.lineNumber()).arg(m_reader.columnNumber());
            return QJValue();
        }
        return result;
    }

private:
    QJValue fail(const QString &message)
    {
        if (!m_failed) {
            m_failed = true;
            m_error = message;
        }
        return QJValue();
    }

    // Advances to the next start or end element, refusing anything that is not markup or white space.
    QXmlStreamReader::TokenType nextElement()
    {
        while (!m_reader.atEnd()) {
            const auto token = m_reader.readNext();
            switch (token) {
            case QXmlStreamReader::StartElement:
            case QXmlStreamReader::EndElement:
                return token;
            case QXmlStreamReader::Characters:
                if (!m_reader.isWhitespace()) {
                    fail(u"unexpected text \"%1\""_s.arg(m_reader.text().left(40)));
                    return QXmlStreamReader::Invalid;
                }
                break;
            case QXmlStreamReader::DTD:
                if (!m_reader.entityDeclarations().isEmpty()) {
                    fail(u"entity declarations are not allowed in a property list"_s);
                    return QXmlStreamReader::Invalid;
                }
                break;
            case QXmlStreamReader::EntityReference:
                fail(u"entity references are not allowed in a property list"_s);
                return QXmlStreamReader::Invalid;
            case QXmlStreamReader::Invalid:
                return token;
            default: // declaration, comments, processing instructions
                break;
            }
        }
        return QXmlStreamReader::EndDocument;
    }

    QJValue readDocument()
    {
        if (nextElement() != QXmlStreamReader::StartElement)
            return fail(m_reader.hasError() ? m_reader.errorString() : u"the document holds no property list"_s);
        QJValue result;
        if (m_reader.name() == u"plist") {
            if (nextElement() != QXmlStreamReader::StartElement)
                return fail(m_reader.hasError() ? m_reader.errorString() : u"the property list is empty"_s);
            result = readValue(0);
            if (m_failed)
                return QJValue();
            if (nextElement() != QXmlStreamReader::EndElement)
                return fail(u"the property list holds more than one value"_s);
        } else {
            result = readValue(0);
            if (m_failed)
                return QJValue();
        }
        // Nothing but comments and white space may follow.
        while (!m_reader.atEnd()) {
            const auto token = m_reader.readNext();
            if (token == QXmlStreamReader::StartElement
                || (token == QXmlStreamReader::Characters && !m_reader.isWhitespace()))
                return fail(u"unexpected content after the property list"_s);
        }
        if (m_reader.hasError())
            return fail(m_reader.errorString());
        return result;
    }

    // Reads the text of a leaf element; the reader stands on its start element.
    bool leafText(QString *text)
    {
        *text = m_reader.readElementText(QXmlStreamReader::ErrorOnUnexpectedElement);
        if (m_reader.hasError()) {
            fail(m_reader.errorString());
            return false;
        }
        return true;
    }

    // Reads the text of a leaf element and converts it; a conversion that fails gives its reason.
    QJValue readLeaf(QJValue (*convert)(const QString &, QString *))
    {
        QString text;
        if (!leafText(&text))
            return QJValue();
        QString reason;
        QJValue value = convert(text, &reason);
        return value.isNone() ? fail(reason) : value;
    }

    QJValue readBoolean(bool value)
    {
        QString text;
        if (!leafText(&text))
            return QJValue();
        if (!text.trimmed().isEmpty())
            return fail(u"<%1/> must be empty"_s.arg(value ? u"true"_s : u"false"_s));
        return value;
    }

    QJValue readArray(int depth)
    {
        QList<QJValue> values;
        for (;;) {
            const auto token = nextElement();
            if (token == QXmlStreamReader::EndElement)
                break;
            if (token != QXmlStreamReader::StartElement)
                return fail(m_reader.hasError() ? m_reader.errorString() : u"unterminated <array>"_s);
            QJValue v = readValue(depth + 1);
            if (m_failed)
                return QJValue();
            values.append(std::move(v));
        }
        return QJValuePrivate::makeArray(std::move(values), m_mutability);
    }

    QJValue readDictionary(int depth)
    {
        QJDictionary dict(QJMutability::Mutable);
        for (;;) {
            auto token = nextElement();
            if (token == QXmlStreamReader::EndElement)
                break;
            if (token != QXmlStreamReader::StartElement)
                return fail(m_reader.hasError() ? m_reader.errorString() : u"unterminated <dict>"_s);
            if (m_reader.name() != u"key")
                return fail(u"<dict> holds <%1> where a <key> belongs"_s.arg(m_reader.name()));
            QString key;
            if (!leafText(&key))
                return QJValue();
            token = nextElement();
            if (token != QXmlStreamReader::StartElement)
                return fail(
                    m_reader.hasError() ? m_reader.errorString() : u"the key \"%1\" has no value"_s.arg(key.left(40)));
            QJValue v = readValue(depth + 1);
            if (m_failed)
                return QJValue();
            dict.setObject(v, key);
        }
        QJValuePrivate::setMutability(dict, m_mutability);
        return dict;
    }

    // The reader stands on the start element of a value.
    QJValue readValue(int depth)
    {
        const QStringView name = m_reader.name();
        if (name == u"string") {
            QString text;
            return leafText(&text) ? QJValue(std::move(text)) : QJValue();
        }
        if (name == u"dict" || name == u"array") {
            if (depth >= QJPropertyListSerialization::MaximumDepth)
                return fail(
                    u"the property list nests deeper than %1 levels"_s.arg(QJPropertyListSerialization::MaximumDepth));
            return name == u"dict" ? readDictionary(depth) : readArray(depth);
        }
        if (name == u"integer")
            return readLeaf(QJPlist::integerFromText);
        if (name == u"real")
            return readLeaf(QJPlist::realFromText);
        if (name == u"true")
            return readBoolean(true);
        if (name == u"false")
            return readBoolean(false);
        if (name == u"date")
            return readLeaf(QJPlist::dateFromText);
        if (name == u"data")
            return readLeaf(QJPlist::dataFromText);
        if (name == u"key")
            return fail(u"<key> outside a dictionary"_s);
        return fail(u"unknown element <%1>"_s.arg(name.left(40)));
    }

    QXmlStreamReader m_reader;
    QJMutability m_mutability;
    QString m_error;
    bool m_failed = false;
};
} // namespace

QJValue QJPlist::readXmlGeneral(const QByteArray &data, QJMutability mutability, QString *error)
{
    XmlReader reader(data, mutability);
    return reader.read(error);
}

QJValue QJPlist::readXml(const QByteArray &data, QJMutability mutability, QString *error, const Progress &progress)
{
    QJValue plist;
    if (readXmlSubset(data, mutability, &plist, progress))
        return plist;
    return readXmlGeneral(data, mutability, error);
}
