// SPDX-License-Identifier: LGPL-2.1-or-later
// Updater: the program QJKit Demo's update window starts when the user chooses "Update". It shows
// which version it would install; being a demo, it installs nothing.
//
// The demo hands the update over in its environment (QJKIT_DEMO_UPDATE_*), set when its update
// check finds a newer version. With QJKIT_DEMO_TOUR_SHOT set, it saves a picture of its window
// there and quits.
#include "DemoArt.h"
#include "WindowPicture.h"

#include <QApplication>
#include <QDialogButtonBox>
#include <QGridLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>

#include <cstdio>

using namespace Qt::StringLiterals;

namespace
{
QString handedOver(const char *name)
{
    return qEnvironmentVariable(name).trimmed();
}

QLabel *wrapped(const QString &text)
{
    auto *label = new QLabel(text);
    label->setWordWrap(true);
    label->setTextFormat(Qt::PlainText);
    return label;
}
} // namespace

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    QApplication::setApplicationName(u"Updater"_s);
    QApplication::setWindowIcon(DemoArt::applicationIcon());

    const QString application = handedOver("QJKIT_DEMO_UPDATE_APPLICATION");
    const QString version = handedOver("QJKIT_DEMO_UPDATE_VERSION");
    const QString build = handedOver("QJKIT_DEMO_UPDATE_BUILD");
    const QString installed = handedOver("QJKIT_DEMO_UPDATE_INSTALLED");
    const QString notes = qEnvironmentVariable("QJKIT_DEMO_UPDATE_NOTES");
    const QString source = handedOver("QJKIT_DEMO_UPDATE_SOURCE");
    const QString name = application.isEmpty() ? u"QJKit Demo"_s : application;

    QWidget window;
    window.setObjectName(u"updaterWindow"_s);
    window.setWindowTitle(QObject::tr("%1 Updater").arg(name));

    auto *icon = new QLabel;
    icon->setPixmap(DemoArt::iconPixmap(64, window.devicePixelRatioF()));
    icon->setAlignment(Qt::AlignTop);
    auto *heading = new QLabel;
    QFont headingFont = heading->font();
    headingFont.setBold(true);
    headingFont.setPointSizeF(headingFont.pointSizeF() * 1.25);
    heading->setFont(headingFont);
    heading->setTextFormat(Qt::PlainText);

    auto *details = new QVBoxLayout;
    details->setSpacing(8);
    details->addWidget(heading);
    if (version.isEmpty()) {
        heading->setText(QObject::tr("No update to install"));
        details->addWidget(wrapped(
            QObject::tr("The updater is started by %1 when its update window offers a newer version and you choose "
                        "\"Update\" (Help > Check for Updates…).")
                .arg(name)));
    } else {
        heading->setText(QObject::tr("Ready to install %1 %2").arg(name, version));
        auto *facts = new QGridLayout;
        facts->setHorizontalSpacing(12);
        facts->setVerticalSpacing(4);
        const QList<std::pair<QString, QString>> rows {
            {QObject::tr("Version:"), build.isEmpty() ? version : QObject::tr("%1 (build %2)").arg(version, build)},
            {QObject::tr("Installed now:"), installed.isEmpty() ? QObject::tr("unknown") : installed},
            {QObject::tr("From:"), source.isEmpty() ? QObject::tr("unknown") : source},
        };
        for (int row = 0; row < rows.size(); ++row) {
            auto *label = new QLabel(rows.at(row).first);
            label->setAlignment(Qt::AlignRight | Qt::AlignTop);
            facts->addWidget(label, row, 0);
            QLabel *value = wrapped(rows.at(row).second);
            value->setTextInteractionFlags(Qt::TextSelectableByMouse);
            facts->addWidget(value, row, 1);
        }
        facts->setColumnStretch(1, 1);
        details->addLayout(facts);
        details->addSpacing(4);
        details->addWidget(new QLabel(QObject::tr("What's new:")));
        auto *text = new QPlainTextEdit(notes);
        text->setReadOnly(true);
        text->setMinimumHeight(96);
        details->addWidget(text, 1);
        QLabel *note = wrapped(QObject::tr(
            "This is the demo's updater: it shows what it would install, and downloads and changes nothing."));
        QPalette muted = note->palette();
        muted.setColor(QPalette::WindowText, muted.color(QPalette::PlaceholderText));
        note->setPalette(muted);
        details->addWidget(note);
    }

    auto *top = new QHBoxLayout;
    top->setSpacing(16);
    top->addWidget(icon, 0, Qt::AlignTop);
    top->addLayout(details, 1);

    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Close);
    QObject::connect(buttons, &QDialogButtonBox::rejected, &window, &QWidget::close);

    auto *layout = new QVBoxLayout(&window);
    layout->setContentsMargins(20, 20, 20, 14);
    layout->addLayout(top, 1);
    layout->addWidget(buttons);
    window.resize(560, version.isEmpty() ? 180 : 380);
    window.show();

    const QString shot = qEnvironmentVariable("QJKIT_DEMO_TOUR_SHOT");
    if (!shot.isEmpty()) {
        QTimer::singleShot(700, &window, [&window, shot] {
            const bool saved = WindowPicture::save(&window, shot);
            std::printf("Updater: %s %s\n", saved ? "saved" : "could not save", qPrintable(shot));
            QApplication::exit(saved ? 0 : 1);
        });
    }
    return app.exec();
}
