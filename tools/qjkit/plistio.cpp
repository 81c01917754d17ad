// SPDX-License-Identifier: LGPL-2.1-or-later
#include "plistio.h"
#include "cli.h"

#include "QJPropertyListSerialization.h"

#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace Cli
{
QJValue readPropertyList(const QString &file, QJMutability mutability)
{
    QString error;
    QJValue plist;
    if (file != u"-" && QFileInfo(file).isFile()) {
        // The library maps a regular file and lets go of what it has read: a large list is not
        // held twice. The tool's own words for a file it cannot open or that is too large.
        QFile f;
        openInput(f, file, QJPropertyListSerialization::MaximumSize);
        f.close();
        plist = QJPropertyListSerialization::propertyListFromFile(file, mutability, nullptr, &error);
    } else {
        const QByteArray data = readInput(file, QJPropertyListSerialization::MaximumSize);
        plist = QJPropertyListSerialization::propertyListFromData(data, mutability, nullptr, &error);
    }
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
    // Written a piece at a time as it is made: a large list is not held twice, as values and as text.
    const auto write = [](QByteArrayView piece) {
        writeOut(piece);
        return true;
    };
    if (!QJPropertyListSerialization::writePropertyList(plist, write, &error))
        throw UsageError(u"%1: cannot be written as an XML property list: %2"_s.arg(inputName(file), error));
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
