// SPDX-License-Identifier: LGPL-2.1-or-later
#include "cli.h"

#include <QCoreApplication>
#ifdef QJKIT_HAVE_GUI
#include <QGuiApplication>
#endif

#include <memory>

namespace
{
QtMessageHandler qtHandler = nullptr;

// The tool's standard error carries its own messages only. Qt notes a missing XDG_RUNTIME_DIR when
// the text-measuring commands start its GUI part; a tool that keeps nothing there need not say so.
void messageHandler(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    if (message.startsWith(QLatin1StringView("QStandardPaths: XDG_RUNTIME_DIR not set")))
        return;
    qtHandler(type, context, message);
}
} // namespace

int main(int argc, char **argv)
{
    QStringList words;
    for (int i = 1; i < argc; ++i)
        words.append(QString::fromLocal8Bit(argv[i]));
    qsizetype used = 0;
    [[maybe_unused]] const Cli::Command *command = Cli::findCommand(words, &used);

    qtHandler = qInstallMessageHandler(messageHandler);
    std::unique_ptr<QCoreApplication> app;
#ifdef QJKIT_HAVE_GUI
    if (command && command->needsGui) {
        // Text measuring needs fonts, not a screen.
        if (qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")
            && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
            qputenv("QT_QPA_PLATFORM", "offscreen");
        app = std::make_unique<QGuiApplication>(argc, argv);
    }
#endif
    if (!app)
        app = std::make_unique<QCoreApplication>(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("qjkit"));
    Cli::exit(Cli::main(QCoreApplication::arguments()));
}
