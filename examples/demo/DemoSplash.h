// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "QJSplashStatusPanel.h"

/**
 * The demo's boot status panel: QJKit's splash-screen panel with the demo's own picture, the
 * running step's name centred in the band at its bottom, and "Ready" once every step has run
 * (while the panel stays up for its minimum time).
 */
class DemoSplash : public QJSplashStatusPanel
{
    Q_OBJECT

public:
    DemoSplash();

    void setBootStatusPanelInfo(const QString &info) override;

Q_SIGNALS:
    /** The panel shows @p info now (as the boot manager gave it, so possibly empty). */
    void infoChanged(const QString &info);

protected:
    void drawContents(QPainter *painter) override;
};
