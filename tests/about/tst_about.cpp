// SPDX-License-Identifier: LGPL-2.1-or-later
#include <QJAboutBackgroundView.h>
#include <QJAboutBox.h>
#include <QJAboutImageView.h>
#include <QJAboutTextView.h>
#include <QJAboutWindow.h>
#include <QJBundle.h>

#include <QAbstractTextDocumentLayout>
#include <QDialog>
#include <QLabel>
#include <QRegularExpression>
#include <QScrollBar>
#include <QTextBlock>
#include <QtTest>

using namespace Qt::StringLiterals;
using State = QJAboutTextView::State;

namespace
{
// Receives actions and remembers who sent them (nullptr for the action without argument).
class Receiver : public QObject
{
    Q_OBJECT
public:
    QList<QObject *> senders;
public Q_SLOTS:
    void close(QObject *sender) { senders.append(sender); }
    void ping() { senders.append(nullptr); }
};

QString lines(int count)
{
    QStringList text;
    for (int i = 1; i <= count; ++i)
        text.append(u"Line %1"_s.arg(i));
    return text.join(u'\n');
}

// A credits view 100 pixels high in a shown window, with an inset as high as the view.
QJAboutTextView *showCredits(QWidget *holder, int lineCount)
{
    auto *credits = new QJAboutTextView(holder);
    credits->setGeometry(0, 0, 200, 100);
    credits->setPlainText(lines(lineCount));
    credits->setTextContainerInset(QSizeF(0, 100));
    credits->setPauseInterval(20);
    credits->setStepInterval(1);
    holder->show();
    credits->sizeToFit();
    return credits;
}

QJAboutTextView *textView(QWidget *window)
{
    return window->findChild<QJAboutTextView *>(u"aboutTextView"_s);
}

bool anyAboutWindow()
{
    const QWidgetList windows = QApplication::topLevelWidgets();
    return std::any_of(windows.cbegin(), windows.cend(), [](QWidget *w) { return qobject_cast<QJAboutWindow *>(w); });
}

// The arguments a format takes, as "position:conversion" in the order of position ("%@ %@" and
// "%2$@ %1$@" both give 1:@ 2:@), so a translation may reorder them but not drop or change one.
QStringList formatArguments(const QString &format)
{
    static const QRegularExpression placeholder(
        u"%(?:(\\d+)\\$)?[-+ #0]*\\d*(?:\\.\\d+)?(?:hh|h|ll|l|q|z)?([@a-zA-Z%])"_s);
    QStringList arguments;
    int next = 0;
    for (const QRegularExpressionMatch &match : placeholder.globalMatch(format)) {
        if (match.captured(2) == u"%")
            continue;
        const int position = match.captured(1).isEmpty() ? ++next : match.captured(1).toInt();
        arguments.append(u"%1:%2"_s.arg(position).arg(match.captured(2)));
    }
    arguments.sort();
    return arguments;
}

} // namespace

class TestAbout : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase()
    {
        QCoreApplication::setApplicationName(u"Test Writer"_s);
        QCoreApplication::setApplicationVersion(u"3.1"_s);
        QJBundle::mainBundle().setObjectForInfoDictionaryKey(u"512"_s, u"CFBundleVersion"_s);
    }

    void cleanup()
    {
        QLocale::setDefault(QLocale::system());
        delete sharedAboutBox;
        QVERIFY(!anyAboutWindow());
    }

    void sharedBox()
    {
        QVERIFY(!QJAboutBox::aboutBoxExists());
        QJAboutBox *box = QJAboutBox::aboutBox();
        QVERIFY(QJAboutBox::aboutBoxExists());
        QCOMPARE(QJAboutBox::aboutBox(), box);
        QVERIFY(!anyAboutWindow()); // made without its window
        // A newer box takes over; the older one going away leaves it shared.
        auto *newer = new QJAboutBox;
        delete box;
        QCOMPARE(QJAboutBox::aboutBox(), newer);
        delete newer;
        QVERIFY(!QJAboutBox::aboutBoxExists());
    }

    void versionLine_data()
    {
        QTest::addColumn<QString>("version");
        QTest::addColumn<QString>("build");
        QTest::addColumn<bool>("windowFirst");
        QTest::addColumn<QString>("expected");
        QTest::addColumn<QString>("locale");
        QTest::addColumn<QString>("title");
        const QString english = u"About Test Writer"_s;
        QTest::newRow("bundle values") << QString() << QString() << false << u"Version 3.1 (build 512)"_s << u"C"_s
                                       << english;
        QTest::newRow("version before the window")
            << u"9.9"_s << QString() << false << u"Version 9.9 (build 512)"_s << u"C"_s << english;
        QTest::newRow("build before the window")
            << QString() << u"77"_s << false << u"Version 3.1 (build 77)"_s << u"C"_s << english;
        QTest::newRow("both after the window")
            << u"9.9"_s << u"77"_s << true << u"Version 9.9 (build 77)"_s << u"C"_s << english;
        // The user's language chooses the table; the values keep their order in it.
        QTest::newRow("German") << QString() << QString() << false << u"Version 3.1 (Build 512)"_s << u"de_AT"_s
                                << u"Über Test Writer"_s;
        QTest::newRow("Japanese") << QString() << QString() << false << u"バージョン 3.1（ビルド 512）"_s << u"ja_JP"_s
                                  << u"Test Writer について"_s;
        // A language without a table falls back to English.
        QTest::newRow("Swedish") << QString() << QString() << false << u"Version 3.1 (build 512)"_s << u"sv_SE"_s
                                 << english;
    }

    void versionLine()
    {
        QFETCH(QString, version);
        QFETCH(QString, build);
        QFETCH(bool, windowFirst);
        QFETCH(QString, expected);
        QFETCH(QString, locale);
        QFETCH(QString, title);
        QLocale::setDefault(QLocale(locale));
        QJAboutBox *box = QJAboutBox::aboutBox();
        if (windowFirst)
            box->window();
        if (!version.isNull())
            box->setVersionNumber(version);
        if (!build.isNull())
            box->setBuildNumber(build);
        QCOMPARE(anyAboutWindow(), windowFirst); // setters alone never build the window
        QCOMPARE(box->window()->findChild<QLabel *>(u"versionTextField"_s)->text(), expected);
        QCOMPARE(box->window()->windowTitle(), title);
    }

    void stringsTablesAreComplete_data()
    {
        QTest::addColumn<QString>("table");
        QTest::addColumn<QString>("language");
        // Every translation has every English key, with the same arguments: a missing key shows
        // English in the middle of a translated window, a lost "%@" drops a value.
        for (const QString &table : {u"QJAutoUpdate"_s, u"QJAboutBox"_s}) {
            for (const QString &language : {u"de"_s, u"fr"_s, u"es"_s, u"it"_s, u"pt"_s, u"nl"_s, u"ja"_s, u"zh_CN"_s})
                QTest::addRow("%s %s", qPrintable(table), qPrintable(language)) << table << language;
        }
    }

    void stringsTablesAreComplete()
    {
        QFETCH(QString, table);
        QFETCH(QString, language);
        const QJBundle bundle = QJBundle::frameworkBundle();
        const QJDictionary english = bundle.stringsTable(table, u"en"_s);
        const QJDictionary translated = bundle.stringsTable(table, language); // empty when it does not parse
        QVERIFY(english.count() > 1);
        QCOMPARE(translated.count(), english.count());
        for (const QString &key : english.allKeys()) {
            const QJValue value = translated.objectForKey(key);
            QVERIFY2(value.isString() && !value.toString().isEmpty(), qPrintable(key));
            QCOMPARE(formatArguments(value.toString()), formatArguments(english.objectForKey(key).toString()));
        }
        // The record key of the descriptions is the language's own.
        if (table == u"QJAutoUpdate")
            QCOMPARE(translated.objectForKey(u"updateKey"_s).toString(), language);
    }

    void settersRebuildTheWindow()
    {
        QJAboutBox *box = QJAboutBox::aboutBox();
        QPointer<QJAboutWindow> first = box->window();
        QVERIFY(first->windowFlags().testFlag(Qt::FramelessWindowHint));
        QJAboutTextView *credits = textView(first);
        auto *icon = first->findChild<QJAboutImageView *>(u"appIconImageView"_s);
        auto *name = first->findChild<QJAboutImageView *>(u"appNameImageView"_s);
        QCOMPARE(name->text(), u"Test Writer"_s); // the name as text until a picture is given
        QVERIFY(credits->toPlainText().contains(u"QJKit"_s)); // the default credits

        box->setAboutText(QTextDocumentFragment::fromHtml(u"<p>Written by <span style='color:red'>Ada</span></p>"_s));
        QVERIFY(!first);
        // The same views, moved into the new window, show the new credits in white.
        QCOMPARE(textView(box->window()), credits);
        QCOMPARE(credits->toPlainText(), u"Written by Ada"_s);
        QTextCursor ada(credits->document());
        ada.setPosition(credits->toPlainText().indexOf(u"Ada"_s) + 1);
        QCOMPARE(ada.charFormat().foreground().color(), QColor(Qt::white));

        QPixmap picture(40, 20);
        picture.fill(Qt::green);
        box->setImage(picture);
        box->setNameImage(picture);
        QCOMPARE(box->window()->findChild<QJAboutImageView *>(u"appIconImageView"_s), icon);
        QCOMPARE(icon->image().toImage(), picture.toImage());
        QCOMPARE(name->image().toImage(), picture.toImage());

        box->setWindowMask(Qt::WindowTitleHint);
        QVERIFY(!box->window()->windowFlags().testFlag(Qt::FramelessWindowHint));
        QVERIFY(box->window()->windowFlags().testFlag(Qt::WindowTitleHint));
    }

    void creditsLookAndFirstPosition()
    {
        QJAboutBox *box = QJAboutBox::aboutBox();
        box->setAboutText(QTextDocumentFragment::fromPlainText(lines(3)));
        QJAboutTextView *credits = textView(box->window());
        QCOMPARE(credits->textContainerInset(), QSizeF(0, 50));
        QVERIFY(!credits->drawsBackground());
        QCOMPARE(credits->palette().color(QPalette::Active, QPalette::Highlight), QColor(39, 74, 109));
        QCOMPARE(credits->state(), State::Idle);

        box->open();
        QCOMPARE(credits->state(), State::Pausing);
        QCOMPARE(credits->textContainerInset(), QSizeF(0, credits->height()));
        QVERIFY(QTest::qWaitForWindowExposed(box->window()));
        // The first line starts 50 pixels below the top, and showing the window did not move it.
        QCOMPARE(credits->cursorRect(QTextCursor(credits->document())).top(), 50);
        QCOMPARE(credits->visibleRect().top(), credits->height() - 50);

        // A setter while the box is open shows the new contents from the start, with one pause.
        credits->setPauseInterval(10);
        QTRY_COMPARE(credits->state(), State::Scrolling);
        box->setBuildNumber(u"78"_s);
        QVERIFY(box->window()->isVisible());
        QCOMPARE(credits->state(), State::Pausing);
        QCOMPARE(credits->visibleRect().top(), credits->height() - 50);
    }

    void creditsScrollToTheEndAndRestart()
    {
        QWidget holder;
        QJAboutTextView *credits = showCredits(&holder, 4);
        QList<int> tops;
        connect(credits->verticalScrollBar(), &QScrollBar::valueChanged, this, [&tops](int top) { tops.append(top); });
        credits->start();
        QCOMPARE(credits->state(), State::Pausing);
        QTRY_COMPARE(credits->state(), State::Scrolling);
        // Restarted: the first step back up goes to the first position.
        const auto drop = [&tops] { return std::adjacent_find(tops.cbegin(), tops.cend(), std::greater<int>()); };
        QTRY_VERIFY_WITH_TIMEOUT(drop() != tops.cend(), 10000);
        credits->stop();
        const qsizetype end = drop() - tops.cbegin();
        const int last = credits->verticalScrollBar()->maximum() - 1;
        QCOMPARE(tops.first(), 50);
        QCOMPARE(tops.at(end), last);
        QCOMPARE(tops.at(end + 1), 50);
        for (qsizetype i = 1; i <= end; ++i)
            QCOMPARE(tops.at(i), tops.at(i - 1) + 1); // one pixel per step, never a jump
        // At the last position the last line has left the visible area but for its last pixel.
        const QTextBlock block = credits->document()->lastBlock();
        const qreal lastLineBottom = credits->document()->documentLayout()->blockBoundingRect(block).bottom() - last;
        QVERIFY(lastLineBottom > 0.0 && lastLineBottom <= 1.0);
    }

    void stopCancelsTheStart()
    {
        QWidget holder;
        QJAboutTextView *credits = showCredits(&holder, 20);
        // During the pause.
        credits->start();
        credits->stop();
        QCOMPARE(credits->state(), State::Idle);
        QTest::qWait(80);
        QCOMPARE(credits->state(), State::Idle);
        QCOMPARE(credits->visibleRect().top(), 50);

        // Between the end and the restart waiting in the event loop.
        credits->start();
        QScrollBar *bar = credits->verticalScrollBar();
        while (bar->value() < bar->maximum() - 1)
            credits->timer(nullptr);
        credits->timer(nullptr);
        QCOMPARE(credits->state(), State::Pausing);
        credits->stop();
        QTest::qWait(80);
        QCOMPARE(credits->state(), State::Idle);
        QCOMPARE(bar->value(), bar->maximum() - 1);
    }

    void clicksFireOnceOnRelease_data()
    {
        QTest::addColumn<QByteArray>("action");
        QTest::addColumn<QPoint>("releaseAt");
        QTest::newRow("released inside") << "close"_ba << QPoint(50, 50);
        QTest::newRow("released outside") << "close"_ba << QPoint(-40, 500);
        QTest::newRow("action without argument") << "ping"_ba << QPoint(50, 50);
    }

    void clicksFireOnceOnRelease()
    {
        QFETCH(QByteArray, action);
        QFETCH(QPoint, releaseAt);
        QJAboutBackgroundView window;
        window.resize(200, 100);
        Receiver receiver;
        window.setTarget(&receiver);
        window.setAction(action);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));

        if (!window.rect().contains(releaseAt)) {
            for (int i = 0; i < 2; ++i) // the move and the release outside
                QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"occurs outside target window"_s));
        }
        QTest::mousePress(window.windowHandle(), Qt::LeftButton, {}, QPoint(20, 20));
        QTest::mouseMove(window.windowHandle(), releaseAt);
        QVERIFY(receiver.senders.isEmpty()); // nothing until the button goes up
        QTest::mouseRelease(window.windowHandle(), Qt::LeftButton, {}, releaseAt);
        QCOMPARE(receiver.senders, QList<QObject *> {action == "close" ? &window : nullptr});

        // A release without a press, and other buttons, do nothing.
        QTest::mouseRelease(window.windowHandle(), Qt::LeftButton, {}, QPoint(20, 20));
        QTest::mouseClick(window.windowHandle(), Qt::RightButton, {}, QPoint(20, 20));
        QCOMPARE(receiver.senders.size(), 1);
    }

    void clickOrDeactivationClosesTheBox_data()
    {
        QTest::addColumn<QString>("viewName");
        QTest::newRow("background") << QString();
        QTest::newRow("icon") << u"appIconImageView"_s;
        QTest::newRow("name") << u"appNameImageView"_s;
        QTest::newRow("another window activated") << u"-"_s;
        // Escape closes it too, though the credits view has the focus.
        QTest::newRow("Escape") << u"esc"_s;
    }

    void clickOrDeactivationClosesTheBox()
    {
        QFETCH(QString, viewName);
        QJAboutBox *box = QJAboutBox::aboutBox();
        box->open();
        QJAboutWindow *window = box->window();
        QVERIFY(QTest::qWaitForWindowActive(window));
        QCOMPARE(textView(window)->state(), State::Pausing);
        QWidget other;
        if (viewName == u"-") {
            other.show();
            other.activateWindow();
        } else if (viewName == u"esc") {
            textView(window)->setFocus();
            QTest::keyClick(window, Qt::Key_Escape);
        } else {
            // The background below the picture and the version line, or the middle of a picture.
            const QPoint at
                = viewName.isEmpty() ? QPoint(5, 300) : window->findChild<QWidget *>(viewName)->geometry().center();
            QTest::mousePress(window->windowHandle(), Qt::LeftButton, {}, at);
            QVERIFY(window->isVisible());
            QTest::mouseRelease(window->windowHandle(), Qt::LeftButton, {}, QPoint(-100, -100));
            QVERIFY(!window->isVisible()); // at once, on the release
        }
        QTRY_VERIFY(!window->isVisible());
        QCOMPARE(textView(window)->state(), State::Idle);
        // Kept for the next time.
        box->open();
        QCOMPARE(box->window(), window);
        QVERIFY(window->isVisible());
    }

    void opensCentredOnItsWindow_data()
    {
        QTest::addColumn<QRect>("opener"); // null: no window active
        QTest::addColumn<bool>("keptOnScreen");
        // Over the window it was opened from, not wherever the screen's middle is.
        QTest::newRow("active window") << QRect(250, 180, 500, 400) << false;
        // With no window active, the screen's middle.
        QTest::newRow("no window") << QRect() << false;
        // A window in a corner: centred as far as the screen allows, never partly off it.
        QTest::newRow("window in a corner") << QRect(0, 0, 120, 90) << true;
    }

    void opensCentredOnItsWindow()
    {
        QFETCH(QRect, opener);
        QFETCH(bool, keptOnScreen);
        QJAboutBox *box = QJAboutBox::aboutBox();
        box->window(); // built ahead, as a host may: the place is chosen when it opens
        QWidget window;
        if (!opener.isNull()) {
            window.setGeometry(opener);
            window.show();
            window.activateWindow();
            QVERIFY(QTest::qWaitForWindowActive(&window));
        }
        box->open();
        const QRect about = box->window()->frameGeometry();
        const QRect screen = box->window()->screen()->availableGeometry();
        if (keptOnScreen)
            QVERIFY(screen.contains(about));
        else
            QVERIFY2(
                (about.center() - (opener.isNull() ? screen : window.frameGeometry()).center()).manhattanLength() <= 2,
                qPrintable(u"%1,%2"_s.arg(about.center().x()).arg(about.center().y())));
    }

    void worksWhileAModalDialogRuns()
    {
        QWidget main;
        main.show();
        QDialog dialog(&main);
        dialog.setWindowModality(Qt::ApplicationModal);
        dialog.show();
        QVERIFY(QTest::qWaitForWindowActive(&dialog));

        // An ordinary window shown now is blocked: the click does not reach it.
        Receiver receiver;
        QJAboutBackgroundView blocked;
        blocked.resize(50, 50);
        blocked.setTarget(&receiver);
        blocked.setAction("ping");
        blocked.show();
        QVERIFY(QTest::qWaitForWindowExposed(&blocked));
        QTest::mouseClick(blocked.windowHandle(), Qt::LeftButton, {}, QPoint(5, 5)); // through the window system
        QVERIFY(receiver.senders.isEmpty());

        QJAboutBox *box = QJAboutBox::aboutBox();
        box->open();
        QVERIFY(QTest::qWaitForWindowActive(box->window()));
        QTest::mouseClick(box->window()->windowHandle(), Qt::LeftButton, {}, QPoint(5, 300));
        QVERIFY(!box->window()->isVisible());
    }

    void contentViewKeepsOrderAndGeometry()
    {
        QWidget content;
        content.resize(300, 200);
        const QList<QRect> frames {{10, 10, 50, 20}, {0, 0, 300, 200}, {200, 150, 90, 40}};
        QWidgetList subviews;
        for (const QRect &frame : frames) {
            subviews.append(new QWidget(&content));
            subviews.last()->setGeometry(frame);
        }
        subviews.at(2)->hide();
        auto *helper = new QObject(&content); // not a view: stays behind

        QJAboutWindow window(QRect(0, 0, 300, 200));
        window.setContentView(&content);
        QJAboutBackgroundView *background = window.contentView();
        QCOMPARE(background->size(), QSize(300, 200));
        QCOMPARE(background->findChildren<QWidget *>(Qt::FindDirectChildrenOnly), subviews);
        for (int i = 0; i < frames.size(); ++i)
            QCOMPARE(subviews.at(i)->geometry(), frames.at(i));
        QVERIFY(content.findChildren<QWidget *>().isEmpty());
        QCOMPARE(helper->parent(), &content);
        window.show();
        QVERIFY(subviews.at(0)->isVisible() && subviews.at(1)->isVisible());
        QVERIFY(!subviews.at(2)->isVisible());
    }

    void backgroundImagesSideBySide()
    {
        const QJBundle bundle = QJBundle::frameworkBundle();
        const QImage left(bundle.pathForImageResource(u"leftBack"_s));
        const QImage right(bundle.pathForImageResource(u"rightBack"_s));
        QVERIFY(!left.isNull() && !right.isNull());
        QJAboutBackgroundView background;
        background.resize(left.width() + right.width(), qMax(left.height(), right.height()));
        const QImage drawn = background.grab().toImage().convertToFormat(left.format());
        for (const QPoint &at : {QPoint(3, 7), QPoint(left.width() - 1, left.height() - 1)})
            QCOMPARE(drawn.pixel(at), left.pixel(at));
        for (const QPoint &at : {QPoint(0, 0), QPoint(right.width() - 2, right.height() / 2)})
            QCOMPARE(drawn.pixel(at + QPoint(left.width(), 0)), right.pixel(at));
    }
};

QTEST_MAIN(TestAbout)
#include "tst_about.moc"
