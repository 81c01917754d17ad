// SPDX-License-Identifier: LGPL-2.1-or-later
// What the property-list reader targets check on every input.
#pragma once

#include "QJPropertyListSerialization.h"

#include <cstdlib>

// Reads the bytes; a refusal must give a reason, and whatever is accepted must be written as XML
// again and read back to the same text.
inline void qjFuzzReadAndRoundTrip(const QByteArray &bytes)
{
    QString error;
    const QJValue plist
        = QJPropertyListSerialization::propertyListFromData(bytes, QJMutability::Mutable, nullptr, &error);
    if (plist.isNone()) {
        if (error.isEmpty())
            std::abort();
        return;
    }
    const QByteArray xml
        = QJPropertyListSerialization::dataFromPropertyList(plist, QJPropertyListSerialization::XmlFormat_v1_0, &error);
    if (!xml.isEmpty()) {
        const QJValue again = QJPropertyListSerialization::propertyListFromData(xml);
        // Line ends are normalised and reals may be NaN, which equals nothing; compare the text.
        if (again.isNone() || QJPropertyListSerialization::dataFromPropertyList(again) != xml)
            std::abort();
    }
}
