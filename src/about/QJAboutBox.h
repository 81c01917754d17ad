// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "qjkitwidgets_export.h"

#include <QObject>
#include <QPixmap>
#include <QPointer>
#include <QString>
#include <QTextDocumentFragment>

class QLabel;
class QJAboutImageView;
class QJAboutTextView;
class QJAboutWindow;

/**
 * The application's about box: a borderless window with the application's icon, a picture of its
 * name, a version line and credits that scroll by themselves. It opens centred on the active window
 * (or the screen when there is none) and closes on a click, on Escape and as soon as another window
 * becomes active.
 *
 * There is one shared box, aboutBox(). Everything it shows can be set before or after its window
 * exists; values not set come from the main bundle's information dictionary (CFBundleName,
 * CFBundleShortVersionString, CFBundleVersion) and from the library's defaults.
 *
 * @code
 * QJAboutBox *box = QJAboutBox::aboutBox();
 * box->setNameImage(QPixmap(u":/images/name.png"_s));
 * box->setAboutText(QTextDocumentFragment::fromHtml(credits));
 * connect(aboutAction, &QAction::triggered, box, [box] { box->open(); });
 * @endcode
 */
class QJKITWIDGETS_EXPORT QJAboutBox : public QObject
{
    Q_OBJECT
public:
    /** @return the shared box, made the first time. It lives until deleted or until the application object is
     * destroyed. */
    static QJAboutBox *aboutBox();
    /** @return whether the shared box exists; never makes one. */
    static bool aboutBoxExists();

    /** Makes a box with nothing set and no window, and makes it the shared box. */
    explicit QJAboutBox(QObject *parent = nullptr);
    /** Deletes the window and stops being the shared box. */
    ~QJAboutBox() override;

    /** Sets the decorations of the window built from now on; none (the default) means borderless. */
    void setWindowMask(Qt::WindowFlags mask);
    /** @return the decorations of the window. */
    Qt::WindowFlags windowMask() const { return _windowMask; }
    /** Sets the version shown instead of CFBundleShortVersionString; a null string clears it. */
    void setVersionNumber(const QString &version);
    /** @return the version set by the host, or a null string. */
    QString versionNumber() const { return _version; }
    /** Sets the picture of the application's name; a null pixmap clears it. */
    void setNameImage(const QPixmap &image);
    /** @return the picture of the name, or a null pixmap. */
    QPixmap nameImage() const { return _nameImage; }
    /** Sets the application's icon; a null pixmap clears it. */
    void setImage(const QPixmap &image);
    /** @return the icon set by the host, or a null pixmap. */
    QPixmap image() const { return _image; }
    /** Sets the build shown instead of CFBundleVersion; a null string clears it. */
    void setBuildNumber(const QString &build);
    /** @return the build set by the host, or a null string. */
    QString buildNumber() const { return _build; }
    /** Sets the credits (formatting kept, colour made white); an empty fragment means the default credits. */
    void setAboutText(const QTextDocumentFragment &text);
    /** @return the credits set by the host, or an empty fragment. */
    QTextDocumentFragment aboutText() const { return _aboutText; }

    /** @return the library's default credits, shown while the host has set none. */
    static QTextDocumentFragment defaultAboutText();

    /**
     * @return the about window, building it from the form "QJAboutBox" the first time (which
     * connects the outlets and runs awakeFromNib()).
     */
    QJAboutWindow *window();

    /**
     * Fills the window from the current values: rebuilds the window around the existing views,
     * sets the title, credits, images and version line. Runs when the window is built and again
     * after every setter once the window exists.
     */
    void awakeFromNib();

public Q_SLOTS:
    /** Shows the box in front, active, centred on the window it is opened from, with its credits starting from the top.
     */
    void open(QObject *sender = nullptr);
    /** Stops the credits and hides the window; the window is kept for the next open(). */
    void close(QObject *sender = nullptr);

private:
    void windowDidResignKey();
    void present();
    void contentsChanged();

    QPointer<QJAboutTextView> aboutTextView;
    QPointer<QWidget> aboutWindow;
    QPointer<QJAboutImageView> appIconImageView;
    QPointer<QJAboutImageView> appNameImageView;
    QPointer<QLabel> versionTextField;
    QTextDocumentFragment _aboutText;
    QString _build;
    QPixmap _image;
    QPixmap _nameImage;
    QString _version;
    Qt::WindowFlags _windowMask;
};

/** The shared about box, or nullptr. */
QJKITWIDGETS_EXPORT extern QJAboutBox *sharedAboutBox;
