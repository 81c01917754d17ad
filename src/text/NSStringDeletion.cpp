// SPDX-License-Identifier: LGPL-2.1-or-later
#include "NSStringDeletion.h"

namespace NSStringDeletion
{
QString stringByDeletingSpaces(QStringView receiver)
{
    QString out = receiver.toString();
    out.remove(u' ');
    return out;
}
} // namespace NSStringDeletion
