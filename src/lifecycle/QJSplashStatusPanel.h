// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "QJBootSequence.h"
#include "qjkitwidgets_export.h"

#include <QSplashScreen>

/**
 * A ready boot status panel: a splash screen that shows the running participant's name.
 *
 * Without a picture of its own it draws a plain one with the application's name and version.
 *
 * @code
 * QJSplashStatusPanel splash;
 * QJBootManager::provideObjectForBootStatusPanel(&splash);
 * @endcode
 */
class QJKITWIDGETS_EXPORT QJSplashStatusPanel : public QSplashScreen, public QJBootStatusPanelProvider
{
    Q_OBJECT

public:
    /** Makes a panel showing @p pixmap, or a drawn picture when @p pixmap is null. */
    explicit QJSplashStatusPanel(const QPixmap &pixmap = QPixmap());
    ~QJSplashStatusPanel() override;

    /** Shows the panel. */
    void openBootStatusPanel() override;
    /** Shows @p info at the bottom of the panel. */
    void setBootStatusPanelInfo(const QString &info) override;
    /** Closes the panel. */
    void closeBootStatusPanel() override;

    /** @return the text shown now. */
    QString bootStatusPanelInfo() const { return message(); }

    /** @return the picture drawn when none is given: the application's name and version on a plain ground. */
    static QPixmap defaultPixmap();
};
