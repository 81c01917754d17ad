// SPDX-License-Identifier: LGPL-2.1-or-later
#include "StringWebExtensions.h"

namespace StringWebExtensions
{
QString netEncode(QStringView receiver)
{
    static constexpr char16_t digits[] = u"0123456789abcdef";
    QString out(receiver.size() * 3, Qt::Uninitialized);
    char16_t *o = reinterpret_cast<char16_t *>(out.data());
    qsizetype used = 0;
    for (const QChar qc : receiver) {
        const char16_t c = qc.unicode();
        if (used + 5 > out.size()) {
            // Code units above 0xFF need more than three places.
            out.resize(out.size() + receiver.size() + 5);
            o = reinterpret_cast<char16_t *>(out.data());
        }
        o[used++] = u'%';
        if (c > 0xFFF)
            o[used++] = digits[c >> 12];
        if (c > 0xFF)
            o[used++] = digits[(c >> 8) & 0xF];
        o[used++] = digits[(c >> 4) & 0xF];
        o[used++] = digits[c & 0xF];
    }
    out.truncate(used);
    return out;
}
} // namespace StringWebExtensions
