// SPDX-License-Identifier: LGPL-2.1-or-later
// Values as old-style property-list text, for descriptions and QDebug.
#include "QJValue.h"
#include "qjvalue_p.h"

#include <QDebug>
#include <QMetaProperty>
#include <QObject>
#include <QSet>
#include <QVarLengthArray>

#include <algorithm>
#include <vector>

using QJValueDetail::isContainer;
using QJValueDetail::isNodeVariant;

#include "qjplistformats_p.h"

namespace
{
// Old-style property-list strings need no quotes when the reader takes them unquoted.
bool needsQuotes(const QString &s)
{
    if (s.isEmpty())
        return true;
    return !std::all_of(s.cbegin(), s.cend(), [](QChar c) { return QJPlist::isUnquotedCharacter(c.unicode()); });
}

QString quoted(const QString &s)
{
    if (!needsQuotes(s))
        return s;
    QString out;
    out.reserve(s.size() + 2);
    out += u'"';
    for (QChar c : s) {
        switch (c.unicode()) {
        case u'"':
            out += QStringLiteral("\\\"");
            break;
        case u'\\':
            out += QStringLiteral("\\\\");
            break;
        case u'\n':
            out += QStringLiteral("\\n");
            break;
        case u'\t':
            out += QStringLiteral("\\t");
            break;
        case u'\r':
            out += QStringLiteral("\\r");
            break;
        default:
            if (c.unicode() < 0x20 || c.unicode() > 0x7E)
                out += QStringLiteral("\\U%1").arg(c.unicode(), 4, 16, QLatin1Char('0'));
            else
                out += c;
        }
    }
    out += u'"';
    return out;
}

QString describeObject(const QVariant &v)
{
    if (isNodeVariant(v)) {
        const QObject *o = v.value<QObject *>();
        if (!o)
            return QStringLiteral("(null)");
        return QStringLiteral("<%1: 0x%2>")
            .arg(QLatin1StringView(o->metaObject()->className()))
            .arg(quintptr(o), 0, 16);
    }
    if (v.canConvert<QString>()) {
        const QString s = v.toString();
        if (!s.isEmpty())
            return s;
    }
    return u'<' + QLatin1StringView(v.metaType().name()) + u'>';
}

// A value that is not an array or a dictionary.
void describeLeaf(const QJValue &value, bool nested, QString &out)
{
    switch (value.type()) {
    case QJValue::None:
        out += nested ? QStringLiteral("<null>") : QStringLiteral("(null)");
        return;
    case QJValue::String:
        out += nested ? quoted(value.toString()) : value.toString();
        return;
    case QJValue::Integer:
        out += value.isUnsignedInteger() ? QString::number(value.toUnsignedInteger())
                                         : QString::number(value.toInteger());
        return;
    case QJValue::Real:
        out += qjFormatReal(value.toDouble());
        return;
    case QJValue::Boolean:
        out += value.toBool() ? u'1' : u'0';
        return;
    case QJValue::Date:
        out += value.toDateTime().toUTC().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")) + QStringLiteral(" +0000");
        return;
    case QJValue::Data: {
        const QByteArray hex = value.toByteArray().toHex();
        out += u'<';
        for (qsizetype i = 0; i < hex.size(); i += 8) {
            if (i)
                out += u' ';
            out += QLatin1StringView(hex.mid(i, 8));
        }
        out += u'>';
        return;
    }
    case QJValue::Object:
        out += describeObject(value.toObject());
        return;
    case QJValue::Array:
    case QJValue::Dictionary:
        return;
    }
}

// One open array or dictionary of a description.
struct DescribeFrame
{
    QJValue container;
    qsizetype count;
    qsizetype next;
    QString pad; // the indentation of its closing bracket
};
} // namespace

// Written with a stack of open containers instead of recursion, so that a tree of any depth can
// be described. A container met again inside itself is written as "(...)" or "{...}".
QString QJValue::description() const
{
    QString out;
    if (!isContainer(*this)) {
        describeLeaf(*this, false, out);
        return out;
    }
    std::vector<DescribeFrame> stack;
    QSet<const void *> open;
    auto enter = [&](const QJValue &container, const QString &pad) {
        const bool isArray = container.isArray();
        if (open.contains(container.containerIdentity())) {
            out += isArray ? QStringLiteral("(...)") : QStringLiteral("{...}");
            return;
        }
        open.insert(container.containerIdentity());
        out += isArray ? QStringLiteral("(\n") : QStringLiteral("{\n");
        const qsizetype count = isArray ? container.toArray().count() : container.toDictionary().count();
        stack.push_back({container, count, 0, pad});
    };
    enter(*this, QString());
    while (!stack.empty()) {
        DescribeFrame &f = stack.back();
        const bool isArray = f.container.isArray();
        if (f.next > 0) // the element before is complete: end its line
            out += isArray ? (f.next < f.count ? QStringLiteral(",\n") : QStringLiteral("\n")) : QStringLiteral(";\n");
        if (f.next == f.count) {
            out += f.pad + (isArray ? u')' : u'}');
            open.remove(f.container.containerIdentity());
            stack.pop_back();
            continue;
        }
        const QString innerPad = f.pad + QStringLiteral("    ");
        QJValue element;
        if (isArray) {
            element = f.container.toArray().at(f.next);
            out += innerPad;
        } else {
            const auto &entry = *(f.container.toDictionary().begin() + f.next);
            element = entry.second;
            out += innerPad + quoted(entry.first) + QStringLiteral(" = ");
        }
        ++f.next;
        if (isContainer(element))
            enter(element, innerPad); // may move `f`
        else
            describeLeaf(element, true, out);
    }
    return out;
}

QDebug operator<<(QDebug debug, const QJValue &value)
{
    QDebugStateSaver saver(debug);
    debug.noquote().nospace() << "QJValue(" << value.description() << ')';
    return debug;
}

QDebug operator<<(QDebug debug, const QJArray &array)
{
    QDebugStateSaver saver(debug);
    debug.noquote().nospace() << "QJArray(" << array.description() << ')';
    return debug;
}

QDebug operator<<(QDebug debug, const QJDictionary &dictionary)
{
    QDebugStateSaver saver(debug);
    debug.noquote().nospace() << "QJDictionary(" << dictionary.description() << ')';
    return debug;
}
