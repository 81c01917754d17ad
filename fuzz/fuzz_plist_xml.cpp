// SPDX-License-Identifier: LGPL-2.1-or-later
// The XML property-list reader, and the writer on whatever it accepts: what is read must be
// written again, and read back equal. Whatever the subset reader reads itself, QXmlStreamReader
// must read as the same value.
#include "qjfuzzplist.h"
#include "qjplistformats_p.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes = QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
    qjFuzzReadAndRoundTrip(bytes);
    QJValue subset;
    if (QJPlist::readXmlSubset(bytes, QJMutability::Mutable, &subset)) {
        const QJValue general = QJPlist::readXmlGeneral(bytes, QJMutability::Mutable, nullptr);
        // Compared as written text: NaN equals nothing.
        if (general.isNone()
            || QJPropertyListSerialization::dataFromPropertyList(subset)
                != QJPropertyListSerialization::dataFromPropertyList(general))
            std::abort();
    }
    return 0;
}
