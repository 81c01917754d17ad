// SPDX-License-Identifier: LGPL-2.1-or-later
#include "cli.h"

#include "QJValue.h"
#include "qjkitversion.h"

#include <QCoreApplication>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>
#include <QStringDecoder>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define QJKIT_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define QJKIT_SANITIZED 1
#endif
#endif

using namespace Qt::StringLiterals;

namespace Cli
{
namespace
{
QList<Command> &registry()
{
    static QList<Command> list;
    return list;
}

QString commandHelp(const Command &c)
{
    QString text = u"Usage: qjkit %1%2%3\n\n%4\n"_s.arg(c.name, c.options.isEmpty() ? QString() : u" [OPTIONS]"_s,
        c.arguments.isEmpty() ? QString() : u' ' + c.arguments, c.summary);
    if (!c.details.isEmpty())
        text += u'\n' + c.details + u'\n';
    QList<Option> options = c.options;
    options.append({u"--help"_s, QString(), u"Shows this help."_s});
    text += u"\nOptions:\n"_s;
    for (const Option &o : options) {
        const QString left = o.valueName.isEmpty() ? o.name : o.name + u' ' + o.valueName;
        text += u"  %1  %2\n"_s.arg(left, -22).arg(o.description);
    }
    return text;
}

QString toolHelp(const QString &prefix = QString())
{
    QString text = u"Usage: qjkit COMMAND [OPTIONS] ARGS\n\n"
                   "Tries QJKit's capabilities from the command line. A missing FILE or \"-\" reads standard input;\n"
                   "text is read as UTF-8. Exit status: 0 success, 1 the operation answered nothing, 2 usage or\n"
                   "input error.\n\nCommands:\n"_s;
    QList<Command> sorted = registry();
    std::sort(sorted.begin(), sorted.end(), [](const Command &a, const Command &b) { return a.name < b.name; });
    for (const Command &c : std::as_const(sorted)) {
        if (!prefix.isEmpty() && !c.name.startsWith(prefix + u' '))
            continue;
        text += u"  %1  %2\n"_s.arg(c.name, -22).arg(c.summary);
    }
    text += u"\nRun \"qjkit COMMAND --help\" for a command's options.\n"_s;
    return text;
}
} // namespace

static QList<QJValue> &keptValues()
{
    static QList<QJValue> kept;
    return kept;
}

Registrar::Registrar(Command command)
{
    registry().append(std::move(command));
}

const QList<Command> &commands()
{
    return registry();
}

Args::Args(const Command &command, const QStringList &words)
{
    bool optionsEnded = false;
    for (qsizetype i = 0; i < words.size(); ++i) {
        const QString &w = words.at(i);
        if (optionsEnded || !w.startsWith(u"--"_s)) {
            m_positional.append(w);
            continue;
        }
        if (w == u"--") {
            optionsEnded = true;
            continue;
        }
        QString name = w;
        QString inlineValue;
        bool hasInline = false;
        if (const qsizetype eq = w.indexOf(u'='); eq > 0) {
            name = w.left(eq);
            inlineValue = w.mid(eq + 1);
            hasInline = true;
        }
        const auto option = std::find_if(
            command.options.cbegin(), command.options.cend(), [&](const Option &o) { return o.name == name; });
        if (option == command.options.cend())
            throw UsageError(u"%1: unknown option %2 (see \"qjkit %1 --help\")"_s.arg(command.name, name));
        if (option->valueName.isEmpty()) {
            if (hasInline)
                throw UsageError(u"%1: option %2 takes no value"_s.arg(command.name, name));
            m_flags.append(name);
        } else if (hasInline) {
            m_values.insert(name, inlineValue);
        } else {
            if (i + 1 >= words.size())
                throw UsageError(u"%1: option %2 needs a value %3"_s.arg(command.name, name, option->valueName));
            m_values.insert(name, words.at(++i));
        }
    }
    const qsizetype n = m_positional.size();
    if (n < command.minPositional || (command.maxPositional >= 0 && n > command.maxPositional)) {
        throw UsageError(u"%1: expected %2, got %3 argument%4 (see \"qjkit %1 --help\")"_s
                             .arg(command.name, command.arguments.isEmpty() ? u"no arguments"_s : command.arguments)
                             .arg(n)
                             .arg(n == 1 ? QString() : u"s"_s));
    }
}

qint64 Args::integer(const QString &name, qint64 fallback, qint64 min, qint64 max) const
{
    if (!has(name))
        return fallback;
    bool ok = false;
    const qint64 v = value(name).toLongLong(&ok);
    if (!ok || v < min || v > max)
        throw UsageError(
            u"option %1 needs an integer from %2 to %3, not \"%4\""_s.arg(name).arg(min).arg(max).arg(value(name)));
    return v;
}

QString inputName(const QString &file)
{
    return file == u"-" ? u"standard input"_s : file;
}

QByteArray readInput(const QString &file)
{
    QFile f;
    bool opened;
    if (file == u"-")
        opened = f.open(stdin, QIODevice::ReadOnly);
    else {
        f.setFileName(file);
        opened = f.open(QIODevice::ReadOnly);
    }
    if (!opened)
        throw UsageError(u"%1: %2"_s.arg(inputName(file), f.errorString()));
    QByteArray data = f.readAll();
    if (f.error() != QFileDevice::NoError)
        throw UsageError(u"%1: %2"_s.arg(inputName(file), f.errorString()));
    return data;
}

QString readText(const QString &file)
{
    const QByteArray data = readInput(file);
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder(data);
    if (decoder.hasError())
        throw UsageError(u"%1: not valid UTF-8 text"_s.arg(inputName(file)));
    return text;
}

void writeOut(const QByteArray &bytes)
{
    if (!bytes.isEmpty() && std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stdout) != size_t(bytes.size()))
        throw UsageError(u"cannot write to standard output"_s);
}

void writeOut(const QString &text)
{
    writeOut(text.toUtf8());
}

void printLine(const QString &text)
{
    QByteArray bytes = text.toUtf8();
    bytes += '\n';
    writeOut(bytes);
}

void printJson(const QJsonValue &value)
{
    QByteArray bytes;
    if (value.isArray())
        bytes = QJsonDocument(value.toArray()).toJson(QJsonDocument::Compact);
    else
        bytes = QJsonDocument(value.toObject()).toJson(QJsonDocument::Compact);
    bytes += '\n';
    writeOut(bytes);
}

void printError(const QString &message)
{
    const QByteArray bytes = u"qjkit: %1\n"_s.arg(message).toUtf8();
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stderr);
}

const Command *findCommand(const QStringList &words, qsizetype *used)
{
    // The command is the longest registered name that the first words spell.
    const Command *command = nullptr;
    *used = 0;
    for (const Command &c : registry()) {
        const QStringList name = c.name.split(u' ');
        if (name.size() > *used && words.mid(0, name.size()) == name) {
            command = &c;
            *used = name.size();
        }
    }
    return command;
}

void keepUntilExit(const QJValue &value)
{
    keptValues().append(value);
}

void exit(int status)
{
    std::fflush(stdout);
    std::fflush(stderr);
#ifdef QJKIT_SANITIZED
    // Sanitized builds take everything apart, so that the leak checker sees a clean end: the
    // application object too (main() holds it, but std::exit() does not return there), as Qt gives
    // the font library's caches back only when it goes.
    keptValues().clear();
    delete QCoreApplication::instance();
    std::exit(status);
#else
    std::_Exit(status);
#endif
}

int main(const QStringList &arguments)
{
    const QStringList words = arguments.mid(1);
    if (words.isEmpty()) {
        std::fputs(qPrintable(toolHelp()), stderr);
        return 2;
    }
    if (words.first() == u"--help" || words.first() == u"-h" || words.first() == u"help") {
        writeOut(toolHelp());
        return 0;
    }
    if (words.first() == u"--version") {
        printLine(u"qjkit " QJKIT_VERSION_STRING ""_s);
        return 0;
    }

    qsizetype used = 0;
    const Command *command = findCommand(words, &used);
    try {
        if (!command) {
            const bool isGroup = std::any_of(registry().cbegin(), registry().cend(),
                [&](const Command &c) { return c.name.startsWith(words.first() + u' '); });
            if (isGroup) {
                const bool help = words.size() > 1 && words.at(1) == u"--help";
                if (help) {
                    writeOut(toolHelp(words.first()));
                    return 0;
                }
                std::fputs(qPrintable(toolHelp(words.first())), stderr);
                throw UsageError(words.size() > 1 ? u"%1: unknown command \"%2\""_s.arg(words.at(0), words.at(1))
                                                  : u"%1: a command is missing"_s.arg(words.at(0)));
            }
            throw UsageError(u"unknown command \"%1\" (see \"qjkit --help\")"_s.arg(words.first()));
        }
        const QStringList rest = words.mid(used);
        const qsizetype optionsEnd = rest.indexOf(u"--"_s);
        if ((optionsEnd < 0 ? rest : rest.mid(0, optionsEnd)).contains(u"--help"_s)) {
            writeOut(commandHelp(*command));
            return 0;
        }
        const Args args(*command, rest);
        const int status = command->run(args);
        std::fflush(stdout);
        return status;
    } catch (const UsageError &e) {
        std::fflush(stdout);
        printError(QString::fromStdString(e.what()));
        return 2;
    } catch (const NothingError &e) {
        std::fflush(stdout);
        if (*e.what())
            printError(QString::fromStdString(e.what()));
        return 1;
    }
}
} // namespace Cli
