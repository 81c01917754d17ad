// SPDX-License-Identifier: LGPL-2.1-or-later
// The keyed and sequential unarchivers on arbitrary bytes. The first byte chooses the format and
// whether the format's signature is put in front (so the fuzzer need not find it). Whatever
// unarchives must archive again and unarchive to a value of the same type.
#include "QJArchiving.h"

#include <QByteArray>
#include <QCborArray>
#include <QCborValue>
#include <QDataStream>
#include <QIODevice>
#include <QVariant>
#ifdef QJKIT_FUZZ_GUI
#include <QGuiApplication>
#endif

#include <cstdlib>

using namespace Qt::StringLiterals;

namespace
{
QByteArray sequentialHeader()
{
    QByteArray header("QJSA");
    QDataStream s(&header, QIODevice::Append);
    s << quint16(1) << quint16(QDataStream::Qt_6_0);
    return header;
}

// The keyed signature: the tagged array's head, its name and its version, before the object.
QByteArray keyedHeader()
{
    const QByteArray full = QCborValue(QCborKnownTags::Signature, QCborArray {u"QJKeyedArchive"_s, 1, 0}).toCbor();
    return full.left(full.size() - 1);
}
} // namespace

// As in a host, an allocation that cannot be had fails (std::bad_alloc) instead of ending the
// process; see fuzz_unarchive.options. Reservations above 256 MB fail at once: the sanitizer's
// allocator would otherwise map and poison gigabytes that a host merely reserves and releases.
extern "C" const char *__asan_default_options()
{
    return "allocator_may_return_null=1:max_allocation_size_mb=256";
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
#ifdef QJKIT_FUZZ_GUI
    // Gui types (images, pixmaps, fonts, ...) are streamable only with an application object.
    static int argc = 1;
    static char name[] = "fuzz_unarchive";
    static char *argv[] = {name, nullptr};
    static QGuiApplication *app = (qputenv("QT_QPA_PLATFORM", "offscreen"), new QGuiApplication(argc, argv));
    (void)app;
#endif
    if (size < 1)
        return 0;
    static const QByteArray sequential = sequentialHeader();
    static const QByteArray keyed = keyedHeader();
    const uint8_t mode = data[0];
    QByteArray bytes(reinterpret_cast<const char *>(data + 1), qsizetype(size - 1));
    const bool isKeyed = mode & 1;
    if (mode & 2)
        bytes.prepend(isKeyed ? keyed : sequential);

    const QVariant object = QJArchiving::unarchiveObjectWithData(bytes, isKeyed);
    if (!object.isValid())
        return 0;
    const QByteArray archived = QJArchiving::archivedDataWithRootObject(object, isKeyed);
    if (archived.isEmpty())
        std::abort(); // what was read can be written
    const QVariant again = QJArchiving::unarchiveObjectWithData(archived, isKeyed);
    if (again.metaType() != object.metaType())
        std::abort();
    return 0;
}
