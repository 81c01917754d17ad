// SPDX-License-Identifier: LGPL-2.1-or-later
// The binary property-list reader (input that does not start "bplist" is made to), and the writer on whatever it
// accepts: what is read must be written again, and read back equal.
#include "QJPropertyListSerialization.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    QByteArray bytes = QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
    if (!bytes.startsWith("bplist"))
        bytes.prepend("bplist00");
    QString error;
    const QJValue plist
        = QJPropertyListSerialization::propertyListFromData(bytes, QJMutability::Mutable, nullptr, &error);
    if (plist.isNone()) {
        if (error.isEmpty())
            std::abort(); // every refusal gives a reason
        return 0;
    }
    const QByteArray xml
        = QJPropertyListSerialization::dataFromPropertyList(plist, QJPropertyListSerialization::XmlFormat_v1_0, &error);
    if (!xml.isEmpty()) {
        const QJValue again = QJPropertyListSerialization::propertyListFromData(xml);
        // Line ends are normalised and reals may be NaN, which equals nothing; compare the text.
        if (again.isNone() || QJPropertyListSerialization::dataFromPropertyList(again) != xml)
            std::abort();
    }
    return 0;
}
