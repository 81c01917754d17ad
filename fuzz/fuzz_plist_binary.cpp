// SPDX-License-Identifier: LGPL-2.1-or-later
// The binary property-list reader (input that does not start "bplist" is made to), and the writer
// on whatever it accepts: what is read must be written again, and read back equal.
#include "qjfuzzplist.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    QByteArray bytes = QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
    if (!bytes.startsWith("bplist"))
        bytes.prepend("bplist00");
    qjFuzzReadAndRoundTrip(bytes);
    return 0;
}
