// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJFormat.h"

namespace
{
bool isFlag(QChar c)
{
    return c == u'-' || c == u'+' || c == u' ' || c == u'#' || c == u'0';
}

bool isLengthModifier(QChar c)
{
    return c == u'l' || c == u'h' || c == u'q' || c == u'z' || c == u'j' || c == u't' || c == u'L';
}
} // namespace

QString QJFormat::format(const QString &format, const QList<QJValue> &arguments)
{
    QString out;
    out.reserve(format.size() + 16 * arguments.size());
    qsizetype next = 0; // next sequential argument
    const qsizetype n = format.size();
    qsizetype i = 0;
    while (i < n) {
        const QChar c = format.at(i);
        if (c != u'%') {
            out += c;
            ++i;
            continue;
        }
        const qsizetype start = i++;
        if (i < n && format.at(i) == u'%') {
            out += u'%';
            ++i;
            continue;
        }
        // Optional position "n$".
        qsizetype position = -1;
        qsizetype j = i;
        while (j < n && format.at(j).isDigit())
            ++j;
        if (j < n && j > i && format.at(j) == u'$') {
            position = format.mid(i, j - i).toLongLong() - 1;
            i = j + 1;
        }
        QString directive = QStringLiteral("%");
        while (i < n && isFlag(format.at(i)))
            directive += format.at(i++);
        while (i < n && format.at(i).isDigit())
            directive += format.at(i++);
        if (i < n && format.at(i) == u'.') {
            directive += format.at(i++);
            while (i < n && format.at(i).isDigit())
                directive += format.at(i++);
        }
        while (i < n && isLengthModifier(format.at(i)))
            ++i;
        if (i >= n) { // a dangling "%..." is kept as written
            out += format.mid(start);
            break;
        }
        const QChar conversion = format.at(i++);
        const qsizetype index = position >= 0 ? position : next++;
        const bool present = index >= 0 && index < arguments.size();
        const QJValue arg = present ? arguments.at(index) : QJValue();
        const QByteArray cdirective = directive.toLatin1();
        switch (conversion.unicode()) {
        case u'@':
            out += arg.description();
            break;
        case u'd':
        case u'i':
            out += present ? QString::asprintf(QByteArray(cdirective + "lld").constData(), qlonglong(arg.toInteger()))
                           : QStringLiteral("(null)");
            break;
        case u'u':
        case u'x':
        case u'X':
        case u'o':
            out += present ? QString::asprintf(QByteArray(cdirective + "ll" + char(conversion.unicode())).constData(),
                       qulonglong(arg.toUnsignedInteger()))
                           : QStringLiteral("(null)");
            break;
        case u'f':
        case u'F':
        case u'e':
        case u'E':
        case u'g':
        case u'G':
        case u'a':
        case u'A':
            out += present
                ? QString::asprintf(QByteArray(cdirective + char(conversion.unicode())).constData(), arg.toDouble())
                : QStringLiteral("(null)");
            break;
        case u's':
        case u'S':
            out += arg.isString() ? arg.toString() : arg.description();
            break;
        case u'c':
        case u'C':
            if (present)
                out += arg.isString() ? arg.toString().left(1) : QString(QChar(char16_t(arg.toInteger())));
            break;
        default: // unknown conversion: keep the text as written
            out += format.mid(start, i - start);
            if (position < 0)
                --next;
            break;
        }
    }
    return out;
}
