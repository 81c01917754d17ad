// SPDX-License-Identifier: LGPL-2.1-or-later
#include "ArrayWebExtensions.h"

#include "StringWebExtensions.h"

#include <stdexcept>

namespace ArrayWebExtensions
{
QJArray netEncode(const QJArray &receiver)
{
    QJArray encoded(QJMutability::Mutable);
    qsizetype index = 0;
    for (const QJValue &element : receiver) {
        if (element.isString())
            encoded.append(StringWebExtensions::netEncode(element.toString()));
        else if (element.isArray())
            encoded.append(netEncode(element.toArray()));
        else
            throw std::invalid_argument("ArrayWebExtensions::netEncode: element " + std::to_string(index)
                + " is neither a string nor an array: " + element.description().toStdString());
        ++index;
    }
    return encoded;
}
} // namespace ArrayWebExtensions
