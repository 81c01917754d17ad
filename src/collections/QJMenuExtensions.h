// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "qjkitwidgets_export.h"

#include <QString>

class QAction;
class QMenu;

/** Finding menu items; an item's action is identified by the QAction's objectName. */
namespace QJMenuExtensions
{
/**
 * @return the first of @p menu's own actions, in menu order, whose objectName is @p action, or
 * nullptr. Submenus are not searched.
 */
QJKITWIDGETS_EXPORT QAction *itemWithAction(const QMenu *menu, const QString &action);
} // namespace QJMenuExtensions
