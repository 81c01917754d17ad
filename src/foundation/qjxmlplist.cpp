// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJPropertyListSerialization.h"
#include "qjplistformats_p.h"
#include "qjvalue_p.h"

#include <QRegularExpression>
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
class XmlWriter
{
public:
    explicit XmlWriter(QString *error) : m_error(error) { }

    bool writeDocument(const QJValue &plist)
    {
        m_out += "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                 "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                 "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                 "<plist version=\"1.0\">\n";
        if (!write(plist, 0))
            return false;
        m_out += "</plist>\n";
        return true;
    }

    QByteArray take() { return std::move(m_out); }

private:
    bool fail(const QString &message)
    {
        if (m_error)
            *m_error = message;
        return false;
    }

    void indent(int level) { m_out.append(level, '\t'); }

    // Escapes &, < and >; line ends become "\n"; other control characters cannot be written.
    bool appendText(const QString &text)
    {
        if (!QStringView(text).isValidUtf16())
            return fail(u"a string holds an unpaired surrogate and is not valid Unicode"_s);
        // XML cannot hold these two noncharacters at all, not even as references.
        for (char16_t c : {char16_t(0xFFFE), char16_t(0xFFFF)}) {
            if (text.contains(QChar(c)))
                return fail(u"a string holds the character U+%1, which XML cannot hold"_s.arg(unsigned(c), 4, 16));
        }
        const QByteArray utf8 = text.toUtf8();
        const char *p = utf8.constData();
        const char *end = p + utf8.size();
        const char *run = p; // start of the bytes not yet copied
        for (; p < end; ++p) {
            const unsigned char c = *p;
            if (c >= 0x3F || (c != '&' && c != '<' && c != '>' && c >= 0x20))
                continue;
            m_out.append(run, p - run);
            run = p + 1;
            switch (c) {
            case '&':
                m_out += "&amp;";
                break;
            case '<':
                m_out += "&lt;";
                break;
            case '>':
                m_out += "&gt;";
                break;
            case '\t':
            case '\n':
                m_out += char(c);
                break;
            case '\r':
                m_out += '\n';
                if (p + 1 < end && p[1] == '\n') {
                    ++p;
                    run = p + 1;
                }
                break;
            default:
                return fail(u"a string holds the control character U+%1, which XML cannot hold"_s.arg(
                    unsigned(c), 4, 16, QLatin1Char('0')));
            }
        }
        m_out.append(run, end - run);
        return true;
    }

    void writeData(const QByteArray &data, int level)
    {
        indent(level);
        m_out += "<data>\n";
        // The base64 lines stay within 76 columns, tabs counted as 8, and hold at least 16 characters.
        const int lineLength = std::max(16, 76 - 8 * level);
        const qsizetype chunk = (lineLength / 4) * 3;
        for (qsizetype i = 0; i < data.size(); i += chunk) {
            indent(level);
            m_out += data.mid(i, chunk).toBase64();
            m_out += '\n';
        }
        indent(level);
        m_out += "</data>\n";
    }

    static QByteArray formatDate(const QDateTime &date)
    {
        const QDateTime utc = date.toUTC();
        const QDate d = utc.date();
        const QTime t = utc.time();
        return QString::asprintf(
            "%04d-%02d-%02dT%02d:%02d:%02dZ", d.year(), d.month(), d.day(), t.hour(), t.minute(), t.second())
            .toLatin1();
    }

    bool write(const QJValue &value, int level)
    {
        switch (value.type()) {
        case QJValue::String:
            indent(level);
            m_out += "<string>";
            if (!appendText(value.toString()))
                return false;
            m_out += "</string>\n";
            return true;
        case QJValue::Integer:
            indent(level);
            m_out += "<integer>";
            m_out += value.isUnsignedInteger() ? QByteArray::number(value.toUnsignedInteger())
                                               : QByteArray::number(value.toInteger());
            m_out += "</integer>\n";
            return true;
        case QJValue::Real:
            indent(level);
            m_out += "<real>";
            m_out += qjFormatReal(value.toDouble()).toLatin1();
            m_out += "</real>\n";
            return true;
        case QJValue::Boolean:
            indent(level);
            m_out += value.toBool() ? "<true/>\n" : "<false/>\n";
            return true;
        case QJValue::Date:
            indent(level);
            m_out += "<date>" + formatDate(value.toDateTime()) + "</date>\n";
            return true;
        case QJValue::Data:
            writeData(value.toByteArray(), level);
            return true;
        case QJValue::Array: {
            if (level >= QJPropertyListSerialization::MaximumDepth)
                return fail(
                    u"the property list nests deeper than %1 levels"_s.arg(QJPropertyListSerialization::MaximumDepth));
            const QJArray array = value.toArray();
            indent(level);
            if (array.isEmpty()) {
                m_out += "<array/>\n";
                return true;
            }
            m_out += "<array>\n";
            for (const QJValue &element : array) {
                if (!write(element, level + 1))
                    return false;
            }
            indent(level);
            m_out += "</array>\n";
            return true;
        }
        case QJValue::Dictionary: {
            if (level >= QJPropertyListSerialization::MaximumDepth)
                return fail(
                    u"the property list nests deeper than %1 levels"_s.arg(QJPropertyListSerialization::MaximumDepth));
            const QJDictionary dict = value.toDictionary();
            indent(level);
            if (dict.isEmpty()) {
                m_out += "<dict/>\n";
                return true;
            }
            m_out += "<dict>\n";
            std::vector<const QJDictionary::Entry *> entries;
            entries.reserve(dict.count());
            for (const auto &entry : dict)
                entries.push_back(&entry);
            std::sort(entries.begin(), entries.end(),
                [](auto *a, auto *b) { return QJPlist::lessByCodePoint(a->first, b->first); });
            for (const auto *entry : entries) {
                indent(level + 1);
                m_out += "<key>";
                if (!appendText(entry->first))
                    return false;
                m_out += "</key>\n";
                if (!write(entry->second, level + 1))
                    return false;
            }
            indent(level);
            m_out += "</dict>\n";
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

    QByteArray m_out;
    QString *m_error;
};
} // namespace

QByteArray QJPlist::writeXml(const QJValue &plist, QString *error)
{
    XmlWriter writer(error);
    if (!writer.writeDocument(plist))
        return QByteArray();
    return writer.take();
}

// ---------------------------------------------------------------------------------------------
// Reading: the text of leaf elements, for both readers

QJValue QJPlist::integerFromText(const QString &text, QString *error)
{
    const QString t = text.trimmed();
    const bool negative = t.startsWith(u'-');
    QStringView body = QStringView(t).mid(negative || t.startsWith(u'+') ? 1 : 0);
    int base = 10;
    if (body.startsWith(u"0x"_s, Qt::CaseInsensitive)) {
        base = 16;
        body = body.mid(2);
    }
    bool ok = !body.isEmpty() && body.front().isLetterOrNumber();
    const quint64 magnitude = ok ? body.toULongLong(&ok, base) : 0;
    if (ok && !negative)
        return magnitude;
    if (ok && magnitude <= quint64(std::numeric_limits<qint64>::max()) + 1)
        return qint64(0 - magnitude);
    *error = u"\"%1\" is not an integer in range"_s.arg(t.left(40));
    return QJValue();
}

QJValue QJPlist::realFromText(const QString &text, QString *error)
{
    const QString t = text.trimmed().toLower();
    if (t == u"nan")
        return std::numeric_limits<double>::quiet_NaN();
    if (t == u"inf" || t == u"+inf" || t == u"infinity" || t == u"+infinity")
        return std::numeric_limits<double>::infinity();
    if (t == u"-inf" || t == u"-infinity")
        return -std::numeric_limits<double>::infinity();
    bool ok = false;
    const double v = t.toDouble(&ok);
    if (!ok) {
        *error = u"\"%1\" is not a real number"_s.arg(t.left(40));
        return QJValue();
    }
    return v;
}

QJValue QJPlist::dateFromText(const QString &text, QString *error)
{
    // ISO 8601 in UTC; later parts may be left out ("2024", "2024-05-01", ...).
    static const QRegularExpression pattern(
        u"^(\\d{4})(?:-(\\d\\d)(?:-(\\d\\d)(?:T(\\d\\d)(?::(\\d\\d)(?::(\\d\\d)(?:\\.(\\d{1,9}))?)?)?)?)?)?Z$"_s);
    const auto m = pattern.match(text.trimmed());
    if (!m.hasMatch()) {
        *error = u"\"%1\" is not an ISO 8601 date in UTC"_s.arg(text.trimmed().left(40));
        return QJValue();
    }
    auto field = [&](int i, int fallback) { return m.capturedLength(i) ? m.captured(i).toInt() : fallback; };
    const QDate date(field(1, 1), field(2, 1), field(3, 1));
    int msec = 0;
    if (m.capturedLength(7))
        msec = QString(m.captured(7) + u"00"_s).left(3).toInt();
    const QTime time(field(4, 0), field(5, 0), field(6, 0), msec);
    if (!date.isValid() || !time.isValid()) {
        *error = u"\"%1\" is not a valid date"_s.arg(text.trimmed());
        return QJValue();
    }
    return QDateTime(date, time, Qt::UTC);
}

QJValue QJPlist::dataFromText(const QString &text, QString *error)
{
    QByteArray compact;
    compact.reserve(text.size());
    for (QChar c : text) {
        if (!c.isSpace())
            compact += char(c.unicode() < 0x80 ? c.unicode() : '!');
    }
    auto decoded = QByteArray::fromBase64Encoding(compact, QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded) {
        *error = u"the <data> element holds invalid base64"_s;
        return QJValue();
    }
    return *decoded;
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
