// SPDX-License-Identifier: LGPL-2.1-or-later
// The example of docs/about.md: Help > About opens the about box with the application's own
// pictures, version and credits.
#include <QJKit/QJAboutBox.h>
#include <QJKit/QJBundle.h>

#include <QApplication>
#include <QMainWindow>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QStyle>

using namespace Qt::StringLiterals;

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    QApplication::setApplicationName(u"Sample Writer"_s);
    QApplication::setApplicationVersion(u"1.4"_s);
    QMainWindow window;
    window.setCentralWidget(new QPlainTextEdit);

    //! [about]
    QJBundle::mainBundle().setObjectForInfoDictionaryKey(u"2207"_s, u"CFBundleVersion"_s); // "Version 1.4 (2207)"

    QJAboutBox *box = QJAboutBox::aboutBox();
    box->setImage(QApplication::style()->standardPixmap(QStyle::SP_FileIcon)); // the application's icon
    box->setAboutText(QTextDocumentFragment::fromHtml(
        u"<h3>Sample Writer</h3><p>Written by Ada and Grace.</p><p>Thanks to everyone who tested it.</p>"_s));

    QMenu *help = window.menuBar()->addMenu(u"&Help"_s);
    help->addAction(u"&About Sample Writer"_s, box, [box] { box->open(); });
    //! [about]

    window.show();
    return app.exec();
}
