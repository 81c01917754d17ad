// SPDX-License-Identifier: LGPL-2.1-or-later
// The text of leaf elements (<integer>, <real>, <date>, <data>, <true/>), read as values: the general
// conversions over decoded text, which both XML readers share, and the subset reader's quick paths
// over UTF-8 bytes, which read the forms writers write and leave every other to the general ones.
#include "qjplistformats_p.h"

#include <QDateTime>
#include <QRegularExpression>
#include <QStringDecoder>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

using namespace Qt::StringLiterals;

namespace
{
bool isAsciiSpace(char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r'); // as QChar::isSpace() sees ASCII
}

// The text without the white space that QString::trimmed() removes, when it is all ASCII.
bool trimmedAscii(QByteArrayView text, QByteArrayView *trimmed)
{
    for (char c : text) {
        if (static_cast<unsigned char>(c) >= 0x80)
            return false;
    }
    qsizetype from = 0;
    qsizetype to = text.size();
    while (from < to && isAsciiSpace(text[from]))
        ++from;
    while (to > from && isAsciiSpace(text[to - 1]))
        --to;
    *trimmed = text.sliced(from, to - from);
    return true;
}

bool isDigits(QByteArrayView text)
{
    return !text.isEmpty() && std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}
} // namespace

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

// The text of valid UTF-8. QString::fromUtf8() drops a byte-order mark that starts its input; in an
// element's text it is a character like any other.
QString QJPlist::textFromUtf8(QByteArrayView utf8)
{
    if (!utf8.startsWith("\xEF\xBB\xBF"))
        return QString::fromUtf8(utf8);
    QStringDecoder decoder(
        QStringDecoder::Utf8, QStringDecoder::Flag::Stateless | QStringDecoder::Flag::ConvertInitialBom);
    return decoder.decode(utf8);
}

QJValue QJPlist::integerFromUtf8(QByteArrayView text)
{
    QByteArrayView t;
    if (trimmedAscii(text, &t)) {
        const bool negative = t.startsWith('-');
        const QByteArrayView digits = t.sliced(negative ? 1 : 0);
        if (isDigits(digits) && digits.size() <= 19) { // 19 digits cannot overflow 64 bits
            quint64 magnitude = 0;
            for (char c : digits)
                magnitude = magnitude * 10 + quint64(c - '0');
            if (!negative)
                return magnitude;
            if (magnitude <= quint64(std::numeric_limits<qint64>::max()) + 1)
                return qint64(0 - magnitude);
        }
    }
    QString reason;
    return QJPlist::integerFromText(textFromUtf8(text), &reason);
}

QJValue QJPlist::realFromUtf8(QByteArrayView text)
{
    QByteArrayView t;
    // Decimal notation with an optional exponent converts alike here and in QString::toDouble(),
    // both correctly rounded, as long as the result is a normal number or zero written as zeros.
    if (trimmedAscii(text, &t) && t.size() <= 40) {
        const char *p = t.begin();
        const char *end = t.end();
        const char *first = p + (p < end && *p == '-' ? 1 : 0);
        const char *q = first;
        bool nonZero = false;
        auto digits = [&] {
            const char *from = q;
            for (; q < end && *q >= '0' && *q <= '9'; ++q)
                nonZero |= *q != '0';
            return q > from;
        };
        bool plain = digits();
        if (plain && q < end && *q == '.') {
            ++q;
            plain = digits();
        }
        if (plain && q < end && (*q == 'e' || *q == 'E')) {
            ++q;
            if (q < end && (*q == '+' || *q == '-'))
                ++q;
            const bool mantissaNonZero = nonZero;
            plain = digits();
            nonZero = mantissaNonZero;
        }
        double v = 0;
        if (plain && q == end && std::from_chars(p, end, v).ec == std::errc() && (std::isnormal(v) || !nonZero))
            return v;
    }
    QString reason;
    return QJPlist::realFromText(textFromUtf8(text), &reason);
}

QJValue QJPlist::dateFromUtf8(QByteArrayView text)
{
    // The form the writer writes, 2024-05-01T12:30:00Z, read here; any other goes the general way.
    QByteArrayView t;
    if (trimmedAscii(text, &t) && t.size() == 20) {
        static constexpr char shape[] = "0000-00-00T00:00:00Z";
        bool canonical = true;
        for (int i = 0; i < 20 && canonical; ++i)
            canonical = shape[i] == '0' ? t[i] >= '0' && t[i] <= '9' : t[i] == shape[i];
        const auto number = [&t](int at, int digits) {
            int v = 0;
            for (int i = 0; i < digits; ++i)
                v = v * 10 + (t[at + i] - '0');
            return v;
        };
        if (canonical) {
            const QDate date(number(0, 4), number(5, 2), number(8, 2));
            const QTime time(number(11, 2), number(14, 2), number(17, 2), 0);
            if (date.isValid() && time.isValid())
                return QDateTime(date, time, Qt::UTC);
        }
    }
    QString reason;
    return QJPlist::dateFromText(textFromUtf8(text), &reason);
}

QJValue QJPlist::dataFromUtf8(QByteArrayView text, QByteArray &scratch)
{
    scratch.clear();
    for (char c : text) {
        if (static_cast<unsigned char>(c) >= 0x80) {
            QString reason;
            return QJPlist::dataFromText(textFromUtf8(text), &reason);
        }
        if (!isAsciiSpace(c))
            scratch += c;
    }
    auto decoded = QByteArray::fromBase64Encoding(scratch, QByteArray::AbortOnBase64DecodingErrors);
    return decoded ? QJValue(*decoded) : QJValue();
}

bool QJPlist::isBlankUtf8(QByteArrayView text)
{
    QByteArrayView t;
    return trimmedAscii(text, &t) ? t.isEmpty() : textFromUtf8(text).trimmed().isEmpty();
}
