// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJMenuExtensions.h"

#include <QAction>
#include <QMenu>

QAction *QJMenuExtensions::itemWithAction(const QMenu *menu, const QString &action)
{
    if (!menu)
        return nullptr;
    const QList<QAction *> items = menu->actions();
    for (QAction *item : items) {
        if (item->objectName() == action)
            return item;
    }
    return nullptr;
}
