// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

// The text-measuring part of the tool, a module of its own: loading Qt's GUI part costs every
// command more than most take, so only the commands that measure text load it.

#include <QString>

class QCoreApplication;

namespace Cli
{
struct MeasureModule
{
    /** @return the application object for measuring: fonts without a screen. */
    QCoreApplication *(*application)(int &argc, char **argv);
    /** The fit command's answer: @p text fitted into @p width points in the small system font. */
    QString (*fit)(const QString &text, float width, bool keepStart);
};

/** @return the module, loaded on the first call; a usage error when it cannot be loaded. */
const MeasureModule &measureModule();
} // namespace Cli
