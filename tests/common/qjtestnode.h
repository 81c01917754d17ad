// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QList>
#include <QObject>
#include <QString>

// A node of a small object tree whose name, parent and children are properties, as a host's model
// objects would be: key-value coding and index paths reach through them.
class Node : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString name MEMBER m_name)
    Q_PROPERTY(QObject *parentNode READ parentNode)
    Q_PROPERTY(QList<QObject *> childNodes READ childNodes)

public:
    explicit Node(const QString &name, Node *parent = nullptr) : QObject(parent), m_name(name)
    {
        if (parent)
            parent->m_children.append(this);
    }
    QObject *parentNode() const { return parent(); }
    QList<QObject *> childNodes() const { return m_children; }

private:
    QString m_name;
    QList<QObject *> m_children;
};
