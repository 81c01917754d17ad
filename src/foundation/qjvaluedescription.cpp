// SPDX-License-Identifier: LGPL-2.1-or-later
// Values as old-style property-list text, for descriptions and QDebug.
#include "QJValue.h"
#include "QJValueWalk.h"
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

// Writes a description as the walk goes: each element on its own line, indented by depth, a
// container met again inside itself as "(...)" or "{...}".
struct Describer
{
    QString &out;
    struct Open
    {
        bool isArray;
        qsizetype count;
        QString pad; // the indentation of its closing bracket
        qsizetype indexInParent;
    };
    std::vector<Open> open;

    void prefix(const QString &key)
    {
        const Open &parent = open.back();
        out += parent.pad + QStringLiteral("    ");
        if (!parent.isArray)
            out += quoted(key) + QStringLiteral(" = ");
    }
    // Ends the line of the element at @p index of the innermost open container.
    void endLine(qsizetype index)
    {
        const Open &parent = open.back();
        out += parent.isArray ? (index + 1 < parent.count ? QStringLiteral(",\n") : QStringLiteral("\n"))
                              : QStringLiteral(";\n");
    }
    bool enter(const QJValue &container, const QJValue &parent, qsizetype index, const QString &key)
    {
        QString pad;
        if (!parent.isNone()) {
            prefix(key);
            pad = open.back().pad + QStringLiteral("    ");
        }
        const bool isArray = container.isArray();
        out += isArray ? QStringLiteral("(\n") : QStringLiteral("{\n");
        open.push_back({isArray, isArray ? container.toArray().count() : container.toDictionary().count(), pad, index});
        return true;
    }
    void leaf(const QJValue &value, const QJValue &, qsizetype index, const QString &key)
    {
        prefix(key);
        if (isContainer(value))
            out += value.isArray() ? QStringLiteral("(...)") : QStringLiteral("{...}");
        else
            describeLeaf(value, true, out);
        endLine(index);
    }
    void leave(const QJValue &)
    {
        const Open closed = open.back();
        open.pop_back();
        out += closed.pad + (closed.isArray ? u')' : u'}');
        if (!open.empty())
            endLine(closed.indexInParent);
    }
};
} // namespace

QString QJValue::description() const
{
    QString out;
    if (!isContainer(*this)) {
        describeLeaf(*this, false, out);
        return out;
    }
    Describer describer {out, {}};
    QJValueWalk::walk(*this, describer);
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
