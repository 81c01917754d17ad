// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "QJGlobal.h"

#include <QList>
#include <QString>

#include <initializer_list>

/**
 * A path of unsigned indexes into a tree whose top level is an array: position 0 indexes the top
 * array, position 1 the children of that node, and so on. A plain value; an empty path is valid
 * and distinct from "no path" (std::nullopt where a path may be missing).
 *
 * @code
 * const QJIndexPath path{2, 0};   // the first child of the third top-level node
 * path.indexAtPosition(1);        // 0
 * path.indexAtPosition(5);        // QJNotFound
 * @endcode
 */
class QJIndexPath
{
public:
    /** Makes an empty path. */
    QJIndexPath() = default;
    /** Makes a path of @p indexes. */
    QJIndexPath(std::initializer_list<quint32> indexes) : m_indexes(indexes) { }
    /** Makes a path of @p indexes. */
    explicit QJIndexPath(const QList<quint32> &indexes) : m_indexes(indexes) { }

    /** @return the number of indexes. */
    qsizetype length() const noexcept { return m_indexes.size(); }
    /** @return whether the path has no index. */
    bool isEmpty() const noexcept { return m_indexes.isEmpty(); }
    /** @return the index at @p position, or QJNotFound beyond the end. */
    quint32 indexAtPosition(qsizetype position) const noexcept
    {
        return position >= 0 && position < m_indexes.size() ? m_indexes.at(position) : QJNotFound;
    }
    /** @return the indexes in order. */
    const QList<quint32> &indexes() const noexcept { return m_indexes; }
    /** @return a new path with @p index added at the end. */
    QJIndexPath indexPathByAddingIndex(quint32 index) const
    {
        QJIndexPath path = *this;
        path.m_indexes.append(index);
        return path;
    }
    /** @return the indexes joined by ".", e.g. "2.0". */
    QString toString() const
    {
        QString text;
        for (qsizetype i = 0; i < m_indexes.size(); ++i) {
            if (i)
                text += u'.';
            text += QString::number(m_indexes.at(i));
        }
        return text;
    }

    /** @return whether both paths hold the same indexes in the same order. */
    friend bool operator==(const QJIndexPath &, const QJIndexPath &) = default;

private:
    QList<quint32> m_indexes;
};
