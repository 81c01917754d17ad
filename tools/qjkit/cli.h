// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

// The framework every qjkit command is written in: a command registers itself with a Registrar,
// declares its options, and reads inputs and writes outputs through the helpers below, so that
// every command follows the same conventions (see "qjkit --help").

#include <QByteArray>
#include <QByteArrayView>
#include <QFile>
#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

#include <functional>
#include <stdexcept>

class QJsonValue;
class QJValue;

class QIODevice;

namespace Cli
{
/** A usage or input error: "qjkit: <message>" on standard error, exit status 2. */
struct UsageError : std::runtime_error
{
    explicit UsageError(const QString &message) : std::runtime_error(message.toStdString()) { }
};

/** The operation answered nothing: the message (if any) on standard error, exit status 1. */
struct NothingError : std::runtime_error
{
    explicit NothingError(const QString &message = QString()) : std::runtime_error(message.toStdString()) { }
};

/** An option of a command: a flag ("--wrap") or, when valueName is set, an option with a value. */
struct Option
{
    QString name; // with its dashes: "--width"
    QString valueName; // "N"; empty for a flag
    QString description; // one line
};

class Args;

/** A command, registered under one or more words ("plist convert"). */
struct Command
{
    QString name;
    QString arguments; // positional synopsis: "[FILE|-]"
    QString summary; // one line
    QList<Option> options;
    int minPositional = 0;
    int maxPositional = 0; // -1: any number
    std::function<int(const Args &)> run;
    QString details; // optional paragraph for --help
    bool needsGui = false; // measures text: runs under a QGuiApplication (offscreen without a display)
};

/** The parsed command line of one command. */
class Args
{
public:
    Args(const Command &command, const QStringList &words);

    /** -h or --help was given: the command shows its help and does nothing else. */
    bool help() const { return m_help; }
    /** -v or --version was given. */
    bool version() const { return m_version; }
    bool flag(const QString &name) const { return m_flags.contains(name); }
    bool has(const QString &name) const { return m_values.contains(name); }
    QString value(const QString &name, const QString &fallback = QString()) const
    {
        return m_values.value(name, fallback);
    }
    /** @return the option's value as an integer in [min, max]; a usage error otherwise. */
    qint64 integer(const QString &name, qint64 fallback, qint64 min, qint64 max) const;
    const QStringList &positional() const { return m_positional; }
    /** @return positional argument @p i, or @p fallback when absent. */
    QString at(int i, const QString &fallback = QString()) const
    {
        return i < m_positional.size() ? m_positional.at(i) : fallback;
    }

private:
    QStringList m_flags;
    QHash<QString, QString> m_values;
    QStringList m_positional;
    bool m_help = false;
    bool m_version = false;
};

/** Registers a command when the program starts. */
struct Registrar
{
    explicit Registrar(Command command);
};

const QList<Command> &commands();

/** The most a command reads as text or bytes: 1 GiB. */
constexpr qint64 MaximumInputSize = qint64(1) << 30;

/**
 * Reads a file, or standard input for "-", of at most @p limit bytes; a usage error names the file
 * when it cannot be read or is larger.
 */
QByteArray readInput(const QString &file, qint64 limit = MaximumInputSize);
/**
 * Opens @p file, or standard input for "-", for reading; a usage error when it cannot be opened or
 * says it is larger than @p limit.
 */
void openInput(QFile &f, const QString &file, qint64 limit);
/** Reads as readInput() does, giving the bytes to @p take a piece at a time instead of keeping them. */
void readPieces(const QString &file, qint64 limit, const std::function<void(QByteArrayView)> &take);
/**
 * The bytes of a file (at most MaximumInputSize), or of standard input for "-": a regular file is
 * mapped, not copied, for as long as the object lives; anything else is read.
 */
class Input
{
public:
    explicit Input(const QString &file);
    Input(const Input &) = delete;
    Input &operator=(const Input &) = delete;

    QByteArray bytes;

private:
    QFile m_file;
};

/** Reads a file (at most MaximumInputSize bytes) as UTF-8 text; invalid UTF-8 is a usage error. */
QString readText(const QString &file);
/** The name a message uses for an input: the file name, or "standard input" for "-". */
QString inputName(const QString &file);

void writeOut(QByteArrayView bytes);
void writeOut(const QByteArray &bytes);
void writeOut(const QString &text);
/**
 * Hands @p write a device on standard output (the stream writeOut() writes to); a usage error
 * "cannot write the output: <why>" when @p write returns false.
 */
void writeTo(const std::function<bool(QIODevice *)> &write);
/** Writes @p text and a line feed. */
void printLine(const QString &text);
/** Writes @p value as one compact JSON line. */
void printJson(const QJsonValue &value);
/** Writes what is still buffered; a usage error "cannot write the output: <why>" when it cannot. */
void flushOutput();
/** Writes "qjkit: <message>" on standard error. */
void printError(const QString &message);

/** @return the command that the first of @p words name; @p used receives how many words its name has. */
const Command *findCommand(const QStringList &words, qsizetype *used);

/**
 * Keeps @p value until the process ends. The tool then ends without taking its data apart, so a
 * large tree is reclaimed by the system at once instead of node by node.
 */
void keepUntilExit(const QJValue &value);

/** Flushes the output and ends the process with @p status (see keepUntilExit()). */
[[noreturn]] void exit(int status);

/** Prints "qjkit VERSION". */
void printVersion();

/** Runs the tool on the process's arguments. @return the exit status. */
int main(const QStringList &arguments);
} // namespace Cli
