// SPDX-License-Identifier: LGPL-2.1-or-later
// The XML property-list reader, and the writer on whatever it accepts: what is read must be
// written again, and read back equal.
#include "qjfuzzplist.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    qjFuzzReadAndRoundTrip(QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size)));
    return 0;
}
