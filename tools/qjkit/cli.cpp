// SPDX-License-Identifier: LGPL-2.1-or-later
#include "cli.h"
#include "measure.h"

#include "QJValue.h"
#include "qjkitversion.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>
#include <QLibrary>
#include <QStringDecoder>

#include <algorithm>
#include <cerrno>
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

constexpr qsizetype HelpWidth = 80;
constexpr qsizetype LeftColumn = 26;

// @return @p text broken into lines of at most HelpWidth columns, each after @p indent spaces; the
// first line starts at column @p firstColumn (text already written on it). Line feeds are kept.
QString wrapped(const QString &text, qsizetype indent, qsizetype firstColumn)
{
    QString out;
    qsizetype column = firstColumn;
    const QStringList paragraphs = text.split(u'\n');
    for (qsizetype p = 0; p < paragraphs.size(); ++p) {
        if (p > 0) {
            out += u'\n' + QString(indent, u' ');
            column = indent;
        }
        bool lineStart = true;
        for (const QString &word : paragraphs.at(p).split(u' ', Qt::SkipEmptyParts)) {
            if (!lineStart && column + 1 + word.size() > HelpWidth) {
                out += u'\n' + QString(indent, u' ');
                column = indent;
                lineStart = true;
            }
            if (!lineStart) {
                out += u' ';
                ++column;
            }
            out += word;
            column += word.size();
            lineStart = false;
        }
    }
    return out;
}

// One "  NAME  description" row, the description wrapped in its column.
QString helpRow(const QString &left, const QString &description)
{
    QString row = u"  "_s + left;
    if (row.size() + 2 > LeftColumn)
        row += u'\n' + QString(LeftColumn, u' ');
    else
        row += QString(LeftColumn - row.size(), u' ');
    return row + wrapped(description, LeftColumn, LeftColumn) + u'\n';
}

QString commandHelp(const Command &c)
{
    const QString usage = u"Usage: qjkit %1%2%3"_s.arg(c.name, c.options.isEmpty() ? QString() : u" [OPTIONS]"_s,
        c.arguments.isEmpty() ? QString() : u' ' + c.arguments);
    QString text = wrapped(usage, 7, 0) + u"\n\n"_s + wrapped(c.summary, 0, 0) + u'\n';
    if (!c.details.isEmpty())
        text += u'\n' + wrapped(c.details, 0, 0) + u'\n';
    QList<Option> options = c.options;
    options.append({u"-h, --help"_s, QString(), u"Shows this help."_s});
    const bool ownVersion
        = std::any_of(options.cbegin(), options.cend(), [](const Option &o) { return o.name == u"--version"; });
    options.append({ownVersion ? u"-v"_s : u"-v, --version"_s, QString(), u"Shows the version of qjkit."_s});
    text += u"\nOptions:\n"_s;
    for (const Option &o : std::as_const(options))
        text += helpRow(o.valueName.isEmpty() ? o.name : o.name + u' ' + o.valueName, o.description);
    return text;
}

QString toolHelp(const QString &prefix = QString())
{
    QString text = u"Usage: qjkit COMMAND [OPTIONS] ARGS\n\n"_s
        + wrapped(u"Tries QJKit's capabilities from the command line. A missing FILE or \"-\" reads standard input; "
                  "text is read as UTF-8. Exit status: 0 success, 1 the operation answered nothing, 2 usage or "
                  "input error."_s,
            0, 0)
        + u"\n\nCommands:\n"_s;
    QList<Command> sorted = registry();
    std::sort(sorted.begin(), sorted.end(), [](const Command &a, const Command &b) { return a.name < b.name; });
    for (const Command &c : std::as_const(sorted)) {
        if (!prefix.isEmpty() && !c.name.startsWith(prefix + u' '))
            continue;
        text += helpRow(c.name, c.summary);
    }
    text += u"\nOptions:\n"_s + helpRow(u"-h, --help"_s, u"Shows this help."_s)
        + helpRow(u"-v, --version"_s, u"Shows the version of qjkit."_s);
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
    // Every word that does not start with "--" is an argument, so that texts such as "-5" or "-"
    // keep reaching the command as they always have; the options and their values are gathered
    // first and the arguments follow a "--" for the parser.
    QStringList optionWords;
    QStringList arguments;
    for (qsizetype i = 0; i < words.size(); ++i) {
        const QString &w = words.at(i);
        if (w == u"--") {
            arguments += words.mid(i + 1);
            break;
        }
        if (w == u"-h" || w == u"-v") {
            optionWords.append(w);
        } else if (!w.startsWith(u"--"_s)) {
            arguments.append(w);
        } else {
            optionWords.append(w);
            const auto option = std::find_if(
                command.options.cbegin(), command.options.cend(), [&w](const Option &o) { return o.name == w; });
            if (option != command.options.cend() && !option->valueName.isEmpty()) {
                if (i + 1 >= words.size())
                    throw UsageError(u"%1: missing value after '%2' (see \"qjkit %1 --help\")"_s.arg(command.name, w));
                optionWords.append(words.at(++i));
            }
        }
    }

    QCommandLineParser parser;
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    for (const Option &o : command.options) {
        parser.addOption(QCommandLineOption(o.name.mid(2), o.description, o.valueName));
    }
    // A command with a --version option of its own (publish-update) keeps it; -v still works.
    const bool ownVersion = std::any_of(
        command.options.cbegin(), command.options.cend(), [](const Option &o) { return o.name == u"--version"; });
    const QCommandLineOption help(QStringList {u"h"_s, u"help"_s});
    const QCommandLineOption version(ownVersion ? QStringList {u"v"_s} : QStringList {u"v"_s, u"version"_s});
    parser.addOptions({help, version});
    if (!parser.parse(QStringList {u"qjkit"_s} + optionWords + QStringList {u"--"_s} + arguments)) {
        // Qt's sentence, in the style of the tool's other messages.
        QString why = parser.errorText();
        if (why.endsWith(u'.'))
            why.chop(1);
        if (!why.isEmpty())
            why[0] = why.at(0).toLower();
        throw UsageError(u"%1: %2 (see \"qjkit %1 --help\")"_s.arg(command.name, why));
    }
    m_help = parser.isSet(help);
    m_version = parser.isSet(version);
    for (const Option &o : command.options) {
        const QString name = o.name.mid(2);
        if (!parser.isSet(name))
            continue;
        if (o.valueName.isEmpty())
            m_flags.append(o.name);
        else
            m_values.insert(o.name, parser.values(name).constLast());
    }
    m_positional = parser.positionalArguments();
    if (m_help || m_version)
        return;
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

void openInput(QFile &f, const QString &file, qint64 limit)
{
    bool opened;
    if (file == u"-")
        opened = f.open(stdin, QIODevice::ReadOnly);
    else {
        f.setFileName(file);
        opened = f.open(QIODevice::ReadOnly);
    }
    if (!opened)
        throw UsageError(u"%1: %2"_s.arg(inputName(file), f.errorString()));
    // A file says its size, and one over the limit is refused unread; a pipe or device is read up
    // to the limit and refused once it gives more (readPieces).
    if (!f.isSequential() && f.size() > limit)
        throw UsageError(u"%1: larger than %2 bytes"_s.arg(inputName(file)).arg(limit));
}

void readPieces(const QString &file, qint64 limit, const std::function<void(QByteArrayView)> &take)
{
    QFile f;
    openInput(f, file, limit);
    const auto tooLarge = [&] { return UsageError(u"%1: larger than %2 bytes"_s.arg(inputName(file)).arg(limit)); };
    QByteArray buffer(qsizetype(1) << 20, Qt::Uninitialized);
    for (qint64 total = 0;;) {
        const qint64 got = f.read(buffer.data(), buffer.size());
        if (got < 0)
            throw UsageError(u"%1: %2"_s.arg(inputName(file), f.errorString()));
        if (got == 0)
            return;
        total += got;
        if (total > limit)
            throw tooLarge();
        take(QByteArrayView(buffer.constData(), got));
    }
}

QByteArray readInput(const QString &file, qint64 limit)
{
    QByteArray data;
    // A regular file says its size: one allocation instead of a growing buffer copied as it grows.
    if (const QFileInfo info(file); file != u"-" && info.isFile() && info.size() <= limit)
        data.reserve(info.size());
    readPieces(file, limit, [&data](QByteArrayView piece) { data += piece; });
    return data;
}

Input::Input(const QString &file)
{
    if (file != u"-") {
        m_file.setFileName(file);
        if (m_file.open(QIODevice::ReadOnly) && !m_file.isSequential() && m_file.size() > 0) {
            if (m_file.size() > MaximumInputSize)
                throw UsageError(u"%1: larger than %2 bytes"_s.arg(file).arg(MaximumInputSize));
            if (uchar *mapped = m_file.map(0, m_file.size())) {
                bytes = QByteArray::fromRawData(reinterpret_cast<const char *>(mapped), m_file.size());
                return;
            }
        }
        m_file.close();
    }
    bytes = readInput(file);
}

QString readText(const QString &file)
{
    const Input input(file);
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder(input.bytes);
    if (decoder.hasError())
        throw UsageError(u"%1: not valid UTF-8 text"_s.arg(inputName(file)));
    return text;
}

namespace
{
bool outputFailed = false;

[[noreturn]] void throwOutputError()
{
    outputFailed = true;
    throw UsageError(u"cannot write the output: %1"_s.arg(qt_error_string(errno)));
}
} // namespace

void writeOut(QByteArrayView bytes)
{
    if (!bytes.isEmpty() && std::fwrite(bytes.data(), 1, size_t(bytes.size()), stdout) != size_t(bytes.size()))
        throwOutputError();
}

void writeOut(const QByteArray &bytes)
{
    writeOut(QByteArrayView(bytes));
}

namespace
{
// Standard output as a device, written through the same stream as writeOut(). A failed write
// keeps errno for the message.
class OutputDevice : public QIODevice
{
public:
    OutputDevice() { open(QIODevice::WriteOnly | QIODevice::Unbuffered); }
    int error = 0;

protected:
    qint64 readData(char *, qint64) override { return -1; }
    qint64 writeData(const char *data, qint64 size) override
    {
        if (std::fwrite(data, 1, size_t(size), stdout) == size_t(size))
            return size;
        error = errno;
        return -1;
    }
};
} // namespace

void writeTo(const std::function<bool(QIODevice *)> &write)
{
    OutputDevice device;
    if (!write(&device)) {
        errno = device.error;
        throwOutputError();
    }
}

void flushOutput()
{
    if (!outputFailed && std::fflush(stdout) != 0)
        throwOutputError();
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

const MeasureModule &measureModule()
{
    static const MeasureModule *module = [] {
        // Beside the tool in the build tree, in its own folder of the library folder once installed.
        const QString tool = QFileInfo(u"/proc/self/exe"_s).canonicalPath();
        for (const QString &folder : {tool, tool + u"/" QJKIT_MEASURE_MODULE_DIR ""_s}) {
            QLibrary library(folder + u"/qjkit-measure"_s);
            if (const auto get = reinterpret_cast<const MeasureModule *(*)()>(library.resolve("qjkitMeasureModule")))
                return get();
        }
        return static_cast<const MeasureModule *>(nullptr);
    }();
    if (!module)
        throw UsageError(u"the text-measuring part of qjkit (qjkit-measure) cannot be loaded"_s);
    return *module;
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
    // Output still buffered is written now; failing to is an error like any other write.
    try {
        flushOutput();
    } catch (const UsageError &e) {
        if (status != 2) // an error already said is the one line
            printError(QString::fromStdString(e.what()));
        status = 2;
    }
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

void printVersion()
{
    printLine(u"qjkit " QJKIT_VERSION_STRING ""_s);
}

int main(const QStringList &arguments)
{
    const QStringList words = arguments.mid(1);
    if (words.isEmpty()) {
        printError(u"a command is missing (see \"qjkit --help\")"_s);
        return 2;
    }
    if (words.first() == u"--help" || words.first() == u"-h" || words.first() == u"help") {
        writeOut(toolHelp());
        return 0;
    }
    if (words.first() == u"--version" || words.first() == u"-v") {
        printVersion();
        return 0;
    }

    qsizetype used = 0;
    const Command *command = findCommand(words, &used);
    try {
        if (!command) {
            const bool isGroup = std::any_of(registry().cbegin(), registry().cend(),
                [&](const Command &c) { return c.name.startsWith(words.first() + u' '); });
            if (isGroup) {
                const bool help = words.size() > 1 && (words.at(1) == u"--help" || words.at(1) == u"-h");
                if (words.size() > 1 && (words.at(1) == u"--version" || words.at(1) == u"-v")) {
                    printVersion();
                    return 0;
                }
                if (help) {
                    writeOut(toolHelp(words.first()));
                    return 0;
                }
                throw UsageError(words.size() > 1 ? u"%1: unknown command \"%2\""_s.arg(words.at(0), words.at(1))
                                                  : u"%1: a command is missing"_s.arg(words.at(0)));
            }
            throw UsageError(u"unknown command \"%1\" (see \"qjkit --help\")"_s.arg(words.first()));
        }
        const Args args(*command, words.mid(used));
        if (args.help()) {
            writeOut(commandHelp(*command));
            return 0;
        }
        if (args.version()) {
            printVersion();
            return 0;
        }
        const int status = command->run(args);
        flushOutput();
        return status;
    } catch (const UsageError &e) {
        if (!outputFailed)
            std::fflush(stdout);
        printError(QString::fromStdString(e.what()));
        return 2;
    } catch (const NothingError &e) {
        if (!outputFailed)
            std::fflush(stdout);
        if (*e.what())
            printError(QString::fromStdString(e.what()));
        return 1;
    }
}
} // namespace Cli
