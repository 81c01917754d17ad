// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "qjkitcore_export.h"

#include <QByteArray>
#include <QMap>
#include <QSharedDataPointer>
#include <QString>

class QJFileWrapperData;

/**
 * A file-system node held in memory: a regular file (its bytes), a directory (named child
 * wrappers) or a symbolic link (its destination). Implicitly shared.
 *
 * @code
 * QJFileWrapper folder = QJFileWrapper::directory({{u"notes.txt"_s, QJFileWrapper::regularFile("Hello")}});
 * @endcode
 */
class QJKITCORE_EXPORT QJFileWrapper
{
public:
    /** The kind of node. */
    enum Kind { RegularFile, Directory, SymbolicLink };

    /** Makes an empty regular file. */
    QJFileWrapper();
    /** Shares @p other's node (implicit sharing: it is copied when one of them changes). */
    QJFileWrapper(const QJFileWrapper &other);
    /** Shares @p other's node. */
    QJFileWrapper &operator=(const QJFileWrapper &other);
    ~QJFileWrapper();

    /** @return a regular file holding @p contents. */
    static QJFileWrapper regularFile(const QByteArray &contents);
    /** @return a directory holding @p children by name. */
    static QJFileWrapper directory(const QMap<QString, QJFileWrapper> &children = {});
    /** @return a symbolic link to @p destination. */
    static QJFileWrapper symbolicLink(const QString &destination);
    /**
     * Reads the node at @p path: a file's bytes, a directory with all it holds, or a link's
     * destination (links are not followed). @return whether it could be read; @p ok receives it.
     */
    static QJFileWrapper fromPath(const QString &path, bool *ok = nullptr);

    /** @return the kind of node. */
    Kind kind() const;
    /** @return whether the node is a regular file. */
    bool isRegularFile() const { return kind() == RegularFile; }
    /** @return whether the node is a directory. */
    bool isDirectory() const { return kind() == Directory; }
    /** @return whether the node is a symbolic link. */
    bool isSymbolicLink() const { return kind() == SymbolicLink; }

    /** @return a regular file's bytes (empty for other kinds). */
    QByteArray regularFileContents() const;
    /** @return a directory's children by name (empty for other kinds). */
    QMap<QString, QJFileWrapper> fileWrappers() const;
    /** Adds or replaces the child @p name of a directory; other kinds become directories first. */
    void addFileWrapper(const QString &name, const QJFileWrapper &child);
    /** Removes the child @p name of a directory. */
    void removeFileWrapper(const QString &name);
    /** @return a symbolic link's destination (empty for other kinds). */
    QString symbolicLinkDestination() const;

    /** @return whether both nodes are of the same kind with equal contents, children or destination. */
    bool operator==(const QJFileWrapper &other) const;

private:
    QSharedDataPointer<QJFileWrapperData> d;
};
