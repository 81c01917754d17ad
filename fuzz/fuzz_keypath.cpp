// SPDX-License-Identifier: LGPL-2.1-or-later
// Key paths over a property list: the first line of the input is the key path, the rest the list.
#include "QJPropertyListSerialization.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes = QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
    const qsizetype newline = bytes.indexOf('\n');
    if (newline < 0)
        return 0;
    const QString keyPath = QString::fromUtf8(bytes.left(newline));
    const QJValue plist
        = QJPropertyListSerialization::propertyListFromData(bytes.mid(newline + 1), QJMutability::Mutable);
    const QJValue found = plist.valueForKeyPath(keyPath);
    (void)found.description();
    return 0;
}
