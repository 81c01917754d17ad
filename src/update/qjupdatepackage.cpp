// SPDX-License-Identifier: LGPL-2.1-or-later
#include "qjupdatepackage_p.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <archive.h>
#include <archive_entry.h>

#include <ftw.h>
#include <sys/stat.h>

#include <memory>

using namespace Qt::StringLiterals;

namespace
{
struct ReadCloser
{
    void operator()(archive *a) const noexcept { archive_read_free(a); }
};
struct WriteCloser
{
    void operator()(archive *a) const noexcept { archive_write_free(a); }
};

bool fail(QString *error, const QString &why)
{
    if (error)
        *error = why;
    return false;
}

QString archiveError(archive *a)
{
    const char *text = archive_error_string(a);
    return text ? QString::fromLocal8Bit(text) : u"unknown error"_s;
}

// The entry's path below the folder, or empty when it would lead out of it.
QString insidePath(const char *raw)
{
    if (!raw)
        return QString();
    const QString path = QString::fromUtf8(raw);
    if (path.isEmpty() || path.startsWith(u'/'))
        return QString();
    const QStringList parts = path.split(u'/', Qt::SkipEmptyParts);
    if (parts.contains(u".."_s))
        return QString();
    const QString clean = QDir::cleanPath(path);
    return clean == u"." ? QString() : clean;
}

// Whether a symbolic link at @p path (inside the folder) pointing to @p target stays inside it.
bool linkStaysInside(const QString &path, const char *rawTarget)
{
    if (!rawTarget || !*rawTarget || rawTarget[0] == '/')
        return false;
    const QString folder = QFileInfo(path).path();
    const QString resolved = QDir::cleanPath(folder + u'/' + QString::fromUtf8(rawTarget));
    return resolved != u".." && !resolved.startsWith(u"../"_s) && !resolved.startsWith(u'/');
}

int makeWritable(const char *path, const struct stat *status, int type, FTW *)
{
    if (type == FTW_D || type == FTW_DNR)
        ::chmod(path, (status->st_mode & 07777) | S_IRWXU);
    return 0;
}
} // namespace

qint64 QJUpdatePackage::maximumUnpackedSize(qint64 packageSize)
{
    return std::min<qint64>(qint64(4) << 30, std::max<qint64>(packageSize, 1) * 20);
}

bool QJUpdatePackage::unpack(const QString &archivePath, const QString &destination, qint64 maximumSize,
    const std::atomic<bool> *cancelled, QString *error)
{
    if (!QDir().mkdir(destination))
        return fail(error, u"cannot make the folder %1"_s.arg(destination));
    // Entries are written below the folder's real path, so that the guard against writing through
    // symbolic links looks only at links the archive made.
    const QString root = QFileInfo(destination).canonicalFilePath();
    const std::unique_ptr<archive, ReadCloser> in(archive_read_new());
    archive_read_support_format_tar(in.get());
    archive_read_support_filter_gzip(in.get());
    archive_read_support_filter_xz(in.get());
    archive_read_support_filter_zstd(in.get());
    if (archive_read_open_filename(in.get(), QFile::encodeName(archivePath).constData(), 1 << 16) != ARCHIVE_OK)
        return fail(error, u"the package is not a readable archive: "_s + archiveError(in.get()));
    const std::unique_ptr<archive, WriteCloser> out(archive_write_disk_new());
    // The library's own guards stay on as a second line behind the checks below (absolute paths are
    // refused there: the paths written are the folder's, which are absolute).
    archive_write_disk_set_options(out.get(),
        ARCHIVE_EXTRACT_PERM | ARCHIVE_EXTRACT_TIME | ARCHIVE_EXTRACT_SECURE_NODOTDOT | ARCHIVE_EXTRACT_SECURE_SYMLINKS
            | ARCHIVE_EXTRACT_NO_OVERWRITE);

    qint64 total = 0;
    for (;;) {
        if (cancelled && cancelled->load())
            return fail(error, u"cancelled"_s);
        archive_entry *entry = nullptr;
        const int status = archive_read_next_header(in.get(), &entry);
        if (status == ARCHIVE_EOF)
            break;
        if (status != ARCHIVE_OK)
            return fail(error, u"the package is a broken archive: "_s + archiveError(in.get()));
        const char *rawPath = archive_entry_pathname(entry);
        const QString path = insidePath(rawPath);
        if (path.isEmpty()) {
            if (rawPath && QDir::cleanPath(QString::fromUtf8(rawPath)) == u".")
                continue; // the folder itself
            return fail(error, u"the package holds an entry outside its folder: %1"_s.arg(QString::fromUtf8(rawPath)));
        }
        if (archive_entry_hardlink(entry))
            return fail(error, u"the package holds a hard link: %1"_s.arg(path));
        const mode_t type = archive_entry_filetype(entry);
        if (type == AE_IFLNK) {
            if (!linkStaysInside(path, archive_entry_symlink(entry)))
                return fail(error, u"the package holds a link pointing outside its folder: %1"_s.arg(path));
        } else if (type != AE_IFREG && type != AE_IFDIR) {
            return fail(error, u"the package holds a special file: %1"_s.arg(path));
        }
        total += std::max<qint64>(archive_entry_size(entry), 0) + 512;
        if (total > maximumSize)
            return fail(error, u"the package unpacks to more than %1 bytes"_s.arg(maximumSize));
        archive_entry_set_perm(entry, archive_entry_perm(entry) & 01777);
        archive_entry_set_pathname_utf8(entry, (root + u'/' + path).toUtf8().constData());
        if (archive_write_header(out.get(), entry) != ARCHIVE_OK)
            return fail(error, u"%1 cannot be written: %2"_s.arg(path, archiveError(out.get())));
        const void *block = nullptr;
        size_t size = 0;
        la_int64_t offset = 0;
        int read;
        while ((read = archive_read_data_block(in.get(), &block, &size, &offset)) == ARCHIVE_OK) {
            if (archive_write_data_block(out.get(), block, size, offset) != ARCHIVE_OK)
                return fail(error, u"%1 cannot be written: %2"_s.arg(path, archiveError(out.get())));
        }
        if (read != ARCHIVE_EOF)
            return fail(error, u"the package is a broken archive: "_s + archiveError(in.get()));
        if (archive_write_finish_entry(out.get()) != ARCHIVE_OK)
            return fail(error, u"%1 cannot be written: %2"_s.arg(path, archiveError(out.get())));
    }
    // Folder modes and times are set last, when nothing more is written into them.
    if (archive_write_close(out.get()) != ARCHIVE_OK)
        return fail(error, u"the unpacked files cannot be completed: "_s + archiveError(out.get()));
    return true;
}

bool QJUpdatePackage::removeTree(const QString &path)
{
    const QByteArray name = QFile::encodeName(path);
    struct stat status;
    if (::lstat(name.constData(), &status) != 0)
        return true;
    if (S_ISDIR(status.st_mode))
        ::nftw(name.constData(), makeWritable, 32, FTW_PHYS);
    return QFileInfo(path).isDir() && !QFileInfo(path).isSymLink() ? QDir(path).removeRecursively()
                                                                   : QFile::remove(path);
}
