// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJFileWrapper.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

class QJFileWrapperData : public QSharedData
{
public:
    QJFileWrapper::Kind kind = QJFileWrapper::RegularFile;
    QByteArray contents;
    QMap<QString, QJFileWrapper> children;
    QString destination;
};

QJFileWrapper::QJFileWrapper() : d(new QJFileWrapperData) { }
QJFileWrapper::QJFileWrapper(const QJFileWrapper &other) = default;
QJFileWrapper &QJFileWrapper::operator=(const QJFileWrapper &other) = default;
QJFileWrapper::~QJFileWrapper() = default;

QJFileWrapper QJFileWrapper::regularFile(const QByteArray &contents)
{
    QJFileWrapper w;
    w.d->contents = contents;
    return w;
}

QJFileWrapper QJFileWrapper::directory(const QMap<QString, QJFileWrapper> &children)
{
    QJFileWrapper w;
    w.d->kind = Directory;
    w.d->children = children;
    return w;
}

QJFileWrapper QJFileWrapper::symbolicLink(const QString &destination)
{
    QJFileWrapper w;
    w.d->kind = SymbolicLink;
    w.d->destination = destination;
    return w;
}

QJFileWrapper QJFileWrapper::fromPath(const QString &path, bool *ok)
{
    bool success = true;
    QJFileWrapper result;
    const QFileInfo info(path);
    if (info.isSymLink()) {
        result = symbolicLink(info.symLinkTarget());
    } else if (info.isDir()) {
        result = directory();
        const QStringList names
            = QDir(path).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
        for (const QString &name : names) {
            bool childOk = false;
            const QJFileWrapper child = fromPath(path + u'/' + name, &childOk);
            success &= childOk;
            if (childOk)
                result.addFileWrapper(name, child);
        }
    } else {
        QFile file(path);
        success = file.open(QIODevice::ReadOnly);
        if (success)
            result = regularFile(file.readAll());
    }
    if (ok)
        *ok = success;
    return result;
}

QJFileWrapper::Kind QJFileWrapper::kind() const
{
    return d->kind;
}
QByteArray QJFileWrapper::regularFileContents() const
{
    return d->kind == RegularFile ? d->contents : QByteArray();
}
QMap<QString, QJFileWrapper> QJFileWrapper::fileWrappers() const
{
    return d->children;
}
QString QJFileWrapper::symbolicLinkDestination() const
{
    return d->destination;
}

void QJFileWrapper::addFileWrapper(const QString &name, const QJFileWrapper &child)
{
    if (d->kind != Directory) {
        d->kind = Directory;
        d->contents.clear();
        d->destination.clear();
    }
    d->children.insert(name, child);
}

void QJFileWrapper::removeFileWrapper(const QString &name)
{
    d->children.remove(name);
}

bool QJFileWrapper::operator==(const QJFileWrapper &other) const
{
    return d == other.d
        || (d->kind == other.d->kind && d->contents == other.d->contents && d->children == other.d->children
            && d->destination == other.d->destination);
}
