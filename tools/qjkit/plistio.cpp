// SPDX-License-Identifier: LGPL-2.1-or-later
#include "plistio.h"
#include "cli.h"

#include "QJPropertyListSerialization.h"

using namespace Qt::StringLiterals;

namespace Cli
{
QJValue readPropertyList(const QString &file, QJMutability mutability)
{
    const QByteArray data = readInput(file, QJPropertyListSerialization::MaximumSize);
    QString error;
    const QJValue plist = QJPropertyListSerialization::propertyListFromData(data, mutability, nullptr, &error);
    if (plist.isNone())
        throw UsageError(u"%1: %2"_s.arg(inputName(file), error));
    keepUntilExit(plist);
    return plist;
}

QJDictionary readDictionary(const QString &file, QJMutability mutability)
{
    const QJValue plist = readPropertyList(file, mutability);
    if (!plist.isDictionary())
        throw UsageError(u"%1: the property list is not a dictionary"_s.arg(inputName(file)));
    return plist.toDictionary();
}

void printPropertyList(const QJValue &plist, const QString &file)
{
    QString error;
    const QByteArray xml
        = QJPropertyListSerialization::dataFromPropertyList(plist, QJPropertyListSerialization::XmlFormat_v1_0, &error);
    if (xml.isEmpty())
        throw UsageError(u"%1: cannot be written as an XML property list: %2"_s.arg(inputName(file), error));
    writeOut(xml);
}

void printValue(const QJValue &value, const QString &file)
{
    switch (value.type()) {
    case QJValue::String:
        printLine(value.toString());
        return;
    case QJValue::Integer:
        printLine(value.isUnsignedInteger() ? QString::number(value.toUnsignedInteger())
                                            : QString::number(value.toInteger()));
        return;
    case QJValue::Real:
        printLine(value.description()); // the shortest form that reads back
        return;
    case QJValue::Boolean:
        printLine(value.toBool() ? u"true"_s : u"false"_s);
        return;
    case QJValue::Date:
        printLine(value.toDateTime().toUTC().toString(Qt::ISODate));
        return;
    case QJValue::Data:
        printLine(QString::fromLatin1(value.toByteArray().toBase64()));
        return;
    default:
        printPropertyList(value, file);
    }
}
} // namespace Cli
