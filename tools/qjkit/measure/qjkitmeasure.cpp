// SPDX-License-Identifier: LGPL-2.1-or-later
// The text-measuring module (built as its own shared object; see measure.h).
#include "../measure.h"

#include "StringSizingWidgets.h"

#include <QGuiApplication>
#include <QSizeF>

namespace
{
QCoreApplication *application(int &argc, char **argv)
{
    // Text measuring needs fonts, not a screen.
    if (qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")
        && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    return new QGuiApplication(argc, argv);
}

QString fit(const QString &text, float width, bool keepStart)
{
    return keepStart ? StringSizing::stringAdjustedToSize(text, QSizeF(width, 0), StringSizing::smallSystemFont())
                     : StringSizing::shortenedStringWithSize(text, width);
}

const Cli::MeasureModule module {application, fit};
} // namespace

extern "C" Q_DECL_EXPORT const Cli::MeasureModule *qjkitMeasureModule()
{
    return &module;
}
