// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QString>

class QWidget;

/** Pictures of windows for the tour's screenshots. */
namespace WindowPicture
{
/**
 * Saves a picture of the window @p window as the PNG file @p path. A window with a title bar gets
 * one drawn, with the title a window manager would show, since a virtual screen has none.
 * The file is written under a temporary name and renamed, so a reader never sees half of it.
 * @return success.
 */
bool save(QWidget *window, const QString &path);
} // namespace WindowPicture
