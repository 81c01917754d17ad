// SPDX-License-Identifier: LGPL-2.1-or-later
// The strings-table reader (old-style text in UTF-8 or UTF-16, or a property list).
#include "QJPropertyListSerialization.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes = QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
    QString error;
    const QJValue table = QJPropertyListSerialization::stringsTableFromData(bytes, &error);
    if (table.isNone() == error.isEmpty())
        std::abort(); // a table, or a reason: never both, never neither
    if (!table.isNone() && !table.isDictionary())
        std::abort();
    return 0;
}
