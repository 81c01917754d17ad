// SPDX-License-Identifier: LGPL-2.1-or-later
#include "cli.h"
#include "measure.h"

#include <QCoreApplication>

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
    const Cli::Command *command = Cli::findCommand(words, &used);

    qtHandler = qInstallMessageHandler(messageHandler);
    std::unique_ptr<QCoreApplication> app;
    if (command && command->needsGui) {
        try {
            app.reset(Cli::measureModule().application(argc, argv));
        } catch (const Cli::UsageError &) {
            // Reported when the command runs.
        }
    }
    if (!app)
        app = std::make_unique<QCoreApplication>(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("qjkit"));
    Cli::exit(Cli::main(QCoreApplication::arguments()));
}
