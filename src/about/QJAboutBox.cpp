// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJAboutBox.h"
#include "QJAboutBackgroundView.h"
#include "QJAboutImageView.h"
#include "QJAboutTextView.h"
#include "QJAboutWindow.h"
#include "QJBundle.h"
#include "QJFormat.h"
#include "ui_QJAboutBox.h"

#include <QApplication>
#include <QFile>
#include <QScreen>
#include <QShortcut>
#include <QTextCursor>
#include <QTextDocument>

#include <algorithm>

using namespace Qt::StringLiterals;

QJAboutBox *sharedAboutBox = nullptr;

namespace
{
const QString StringsTable = u"QJAboutBox"_s;
const QByteArray CloseAction = QByteArrayLiteral("close");

// Widgets must go before the application object does; a shared box still alive then is deleted
// from the application's destructor.
void deleteSharedAboutBox()
{
    delete sharedAboutBox;
}

// The box appears over the window it was opened from, kept inside that window's screen; with no
// such window, in the middle of the screen.
void centreOnOpener(QWidget *window)
{
    QWidget *opener = QApplication::activeWindow();
    if (opener == window)
        opener = nullptr;
    const QScreen *screen = opener ? opener->screen() : QGuiApplication::primaryScreen();
    if (!screen)
        return;
    const QRect bounds = screen->availableGeometry();
    QRect frame = window->frameGeometry();
    frame.moveCenter(opener ? opener->frameGeometry().center() : bounds.center());
    frame.moveLeft(
        std::clamp(frame.left(), bounds.left(), std::max(bounds.left(), bounds.right() + 1 - frame.width())));
    frame.moveTop(std::clamp(frame.top(), bounds.top(), std::max(bounds.top(), bounds.bottom() + 1 - frame.height())));
    window->move(frame.topLeft());
}
} // namespace

QJAboutBox *QJAboutBox::aboutBox()
{
    if (!sharedAboutBox) {
        new QJAboutBox;
        qAddPostRoutine(deleteSharedAboutBox);
    }
    return sharedAboutBox;
}

bool QJAboutBox::aboutBoxExists()
{
    return sharedAboutBox != nullptr;
}

QJAboutBox::QJAboutBox(QObject *parent) : QObject(parent)
{
    sharedAboutBox = this;
}

QJAboutBox::~QJAboutBox()
{
    if (sharedAboutBox == this) {
        sharedAboutBox = nullptr;
        qRemovePostRoutine(deleteSharedAboutBox);
    }
    delete aboutWindow;
}

void QJAboutBox::setWindowMask(Qt::WindowFlags mask)
{
    _windowMask = mask;
    contentsChanged();
}

void QJAboutBox::setVersionNumber(const QString &version)
{
    _version = version;
    contentsChanged();
}

void QJAboutBox::setNameImage(const QPixmap &image)
{
    _nameImage = image;
    contentsChanged();
}

void QJAboutBox::setImage(const QPixmap &image)
{
    _image = image;
    contentsChanged();
}

void QJAboutBox::setBuildNumber(const QString &build)
{
    _build = build;
    contentsChanged();
}

void QJAboutBox::setAboutText(const QTextDocumentFragment &text)
{
    _aboutText = text;
    contentsChanged();
}

void QJAboutBox::contentsChanged()
{
    if (!aboutWindow)
        return;
    // A box on screen stays where it is, showing the new contents from the first line of its credits.
    const bool shown = aboutWindow->isVisible();
    const QPoint position = aboutWindow->pos();
    awakeFromNib();
    if (shown) {
        aboutWindow->move(position);
        present();
    }
}

QTextDocumentFragment QJAboutBox::defaultAboutText()
{
    QFile file(QJBundle::frameworkBundle().pathForResource(u"QJAboutCredits"_s, u"html"_s));
    if (!file.open(QIODevice::ReadOnly))
        return QTextDocumentFragment();
    return QTextDocumentFragment::fromHtml(QString::fromUtf8(file.readAll()));
}

QJAboutWindow *QJAboutBox::window()
{
    if (!aboutWindow) {
        // The form's top widget is the content view of the window it stands for; awakeFromNib()
        // replaces that window with a QJAboutWindow at once.
        auto *formWindow = new QWidget;
        Ui::QJAboutBox form;
        form.setupUi(formWindow);
        aboutTextView = form.aboutTextView;
        appIconImageView = form.appIconImageView;
        appNameImageView = form.appNameImageView;
        versionTextField = form.versionTextField;
        aboutWindow = formWindow;

        // What the form would hold if it could: the application's own icon and name until the host
        // gives pictures, and clicks on either picture close the box like clicks on the background.
        const QIcon icon = QApplication::windowIcon();
        if (!icon.isNull())
            appIconImageView->setImage(icon.pixmap(appIconImageView->size(), appIconImageView->devicePixelRatioF()));
        appNameImageView->setText(QJBundle::mainBundle().objectForInfoDictionaryKey(u"CFBundleName"_s).toString());
        for (QJAboutImageView *view : {appIconImageView.data(), appNameImageView.data()}) {
            view->setTarget(this);
            view->setAction(CloseAction);
        }
        awakeFromNib();
    }
    return qobject_cast<QJAboutWindow *>(aboutWindow);
}

void QJAboutBox::awakeFromNib()
{
    if (!aboutWindow)
        return;
    const QJBundle mainBundle = QJBundle::mainBundle();
    const QJBundle frameworkBundle = QJBundle::frameworkBundle();
    const QJValue applicationName = mainBundle.objectForInfoDictionaryKey(u"CFBundleName"_s);
    const QJValue build
        = _build.isNull() ? mainBundle.objectForInfoDictionaryKey(u"CFBundleVersion"_s) : QJValue(_build);
    const QJValue version = _version.isNull() ? mainBundle.objectForInfoDictionaryKey(u"CFBundleShortVersionString"_s)
                                              : QJValue(_version);

    // A new window around the existing views, with the current decorations.
    QWidget *previous = aboutWindow;
    auto *previousAboutWindow = qobject_cast<QJAboutWindow *>(previous);
    QWidget *content = previousAboutWindow ? previousAboutWindow->contentView() : previous;
    auto *window = new QJAboutWindow(content->geometry(), _windowMask);
    window->setContentView(content);
    QPalette colors = window->palette();
    colors.setColor(QPalette::Window, Qt::white);
    window->setPalette(colors);
    window->setAutoFillBackground(true);
    connect(window, &QJAboutWindow::didResignActive, this, &QJAboutBox::windowDidResignKey);
    // Escape closes it as a click does; a shortcut, so no child view can swallow the key.
    auto *escape = new QShortcut(QKeySequence(Qt::Key_Escape), window);
    connect(escape, &QShortcut::activated, this, [this] { close(this); });
    centreOnOpener(window);
    previous->disconnect(this);
    aboutWindow = window;
    delete previous;

    window->setWindowTitle(QJFormat::format(
        frameworkBundle.localizedStringForKey(u"window"_s, QString(), StringsTable), {applicationName}));

    if (aboutTextView) {
        QTextDocument *document = aboutTextView->document();
        document->clear();
        QTextCursor(document).insertFragment(_aboutText.isEmpty() ? defaultAboutText() : _aboutText);
        aboutTextView->setForegroundColor(Qt::white);
        aboutTextView->setTextContainerInset(QSizeF(0, 50.0));
        aboutTextView->setDrawsBackground(false);
    }

    if (!_image.isNull() && appIconImageView)
        appIconImageView->setImage(_image);
    if (!_nameImage.isNull() && appNameImageView)
        appNameImageView->setImage(_nameImage);

    if (versionTextField) {
        versionTextField->setText(QJFormat::format(
            frameworkBundle.localizedStringForKey(u"version"_s, QString(), StringsTable), {version, build}));
    }
}

void QJAboutBox::open(QObject *)
{
    QJAboutWindow *window = this->window();
    if (!window)
        return;
    if (!window->isVisible())
        centreOnOpener(window);
    present();
}

void QJAboutBox::present()
{
    auto *window = qobject_cast<QJAboutWindow *>(aboutWindow);
    if (!window)
        return;
    window->setAction(CloseAction);
    window->setTarget(this);
    if (aboutTextView) {
        // An inset as high as the view lets the text come in from below and leave at the top.
        aboutTextView->setTextContainerInset(QSizeF(0, aboutTextView->height()));
        aboutTextView->sizeToFit();
        aboutTextView->start();
    }
    if (window->isVisible())
        window->raise();
    else
        window->show();
    if (window->canBecomeKeyWindow())
        window->activateWindow();
}

void QJAboutBox::close(QObject *)
{
    if (aboutTextView)
        aboutTextView->stop();
    if (aboutWindow)
        aboutWindow->close();
}

void QJAboutBox::windowDidResignKey()
{
    close(this);
}
