// SPDX-License-Identifier: LGPL-2.1-or-later
// qjkit check-update: the update check's core, as a given application and build.
#include "QJPropertyListSerialization.h"
#include "QJUpdateChecker.h"
#include "QJUpdateInstaller.h"
#include "QJUpdateSignature.h"
#include "cli.h"

#include <QDate>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>
#include <QSaveFile>

using namespace Qt::StringLiterals;

namespace
{
QString required(const Cli::Args &args, const QString &option, const QString &command = u"check-update"_s)
{
    if (!args.has(option) || args.value(option).isEmpty())
        throw Cli::UsageError(u"%1: the option %2 is required"_s.arg(command, option));
    return args.value(option);
}

QUrl baseUrl(const Cli::Args &args, const QString &command)
{
    const QUrl base(required(args, u"--base-url"_s, command), QUrl::StrictMode);
    const QString scheme = base.scheme().toLower();
    if (!base.isValid() || base.host().isEmpty() || (scheme != u"http" && scheme != u"https"))
        throw Cli::UsageError(u"%1: --base-url needs an http or https address"_s.arg(command));
    return base;
}

// A public key given as its line or as the path of its key file.
QString publicKey(const Cli::Args &args, const QString &command)
{
    const QString key = required(args, u"--public-key"_s, command);
    if (!QFileInfo(key).isFile())
        return key;
    return QString::fromUtf8(Cli::readInput(key));
}

QString textFile(const QString &path)
{
    return QString::fromUtf8(Cli::readInput(path));
}

void writePlist(const QJValue &plist, const QString &path)
{
    QString why;
    if (!QJPropertyListSerialization::writePropertyListToFile(plist, path, true, &why))
        throw Cli::UsageError(u"%1: %2"_s.arg(path, why));
}

// Copies the package into the version directory through a temporary file, so a reader never sees
// half of it.
void copyInto(const QString &package, const QString &target)
{
    if (QFileInfo(package).canonicalFilePath() == QFileInfo(target).canonicalFilePath())
        return;
    QFile in(package);
    QSaveFile out(target);
    if (!in.open(QIODevice::ReadOnly))
        throw Cli::UsageError(u"%1: %2"_s.arg(package, in.errorString()));
    if (!out.open(QIODevice::WriteOnly))
        throw Cli::UsageError(u"%1: %2"_s.arg(target, out.errorString()));
    QByteArray block(1 << 16, Qt::Uninitialized);
    for (qint64 n; (n = in.read(block.data(), block.size())) > 0;) {
        if (out.write(block.constData(), n) != n)
            break;
    }
    if (!out.commit())
        throw Cli::UsageError(u"%1: %2"_s.arg(target, out.errorString()));
}

const Cli::Registrar publishUpdate({
    .name = u"publish-update"_s,
    .arguments = u"PACKAGE"_s,
    .summary = u"Publishes the signed PACKAGE as version KEY in the version directory DIR."_s,
    .options = {
        {u"--dir"_s, u"DIR"_s, u"The application's version directory (made when missing)."_s},
        {u"--key"_s, u"KEY"_s, u"The version key (the build) to publish."_s},
        {u"--version"_s, u"VERSION"_s, u"The version as shown."_s},
        {u"--description"_s, u"TEXT"_s, u"What is new in this version."_s},
        {u"--language-key"_s, u"LANG"_s, u"The record key of the description (default: en)."_s},
        {u"--signature"_s, u"SIGFILE"_s, u"The package's signature file."_s},
        {u"--public-key"_s, u"PUBKEY"_s, u"The public key the signature must verify against: its line or key file."_s},
    },
    .minPositional = 1,
    .maxPositional = 1,
    .run =
        [](const Cli::Args &args) {
            const QString command = u"publish-update"_s;
            const QString dir = required(args, u"--dir"_s, command);
            const QString key = required(args, u"--key"_s, command);
            const QString version = required(args, u"--version"_s, command);
            const QString description = required(args, u"--description"_s, command);
            const QString language = args.value(u"--language-key"_s, u"en"_s);
            const QString signature = textFile(required(args, u"--signature"_s, command));
            const QString key64 = publicKey(args, command);
            const QString package = args.at(0);
            if (key.contains(u'/') || key == u"." || key == u"..")
                throw Cli::UsageError(u"publish-update: the version key \"%1\" cannot name a file"_s.arg(key));
            if (!QFileInfo(package).isFile())
                throw Cli::UsageError(u"%1: not a file"_s.arg(package));
            QString why;
            if (!QJUpdateSignature::verifyFile(package, signature, key64, &why))
                throw Cli::UsageError(u"%1: %2"_s.arg(package, why));

            if (!QDir().mkpath(dir))
                throw Cli::UsageError(u"%1: the version directory cannot be made"_s.arg(dir));
            const QString index = dir + u"/info.plist"_s;
            QJDictionary published(QJMutability::Mutable);
            if (QFileInfo::exists(index)) {
                const QJValue read = QJPropertyListSerialization::propertyListFromFile(
                    index, QJMutability::Mutable, nullptr, &why);
                if (!read.isDictionary())
                    throw Cli::UsageError(u"%1: %2"_s.arg(index, why.isEmpty() ? u"not a dictionary"_s : why));
                published = read.toDictionary();
            }
            const QString fileName = QFileInfo(package).fileName();
            copyInto(package, dir + u'/' + fileName);
            QJDictionary record(QJMutability::Mutable);
            record.setObject(version, u"version"_s);
            record.setObject(description, language);
            record.setObject(fileName, u"package"_s);
            record.setObject(QFileInfo(package).size(), u"length"_s);
            record.setObject(signature, u"signature"_s);
            writePlist(record, dir + u'/' + key + u".plist"_s);
            // The index last: a version is listed only once its record and package are in place.
            published.setObject(QDate::currentDate().toString(Qt::ISODate), key);
            writePlist(published, index);
            return 0;
        },
    .details = u"The signature must verify against the public key, or nothing is published (exit status 2). "
               "PACKAGE is copied into DIR; KEY.plist gets version, the description, package, length and "
               "signature; KEY is added to DIR/info.plist, whose other keys stay."_s,
});

// The options that name a version server and what is installed, as check-update and
// install-update share them.
QList<Cli::Option> serverOptions()
{
    return {
        {u"--base-url"_s, u"URL"_s, u"The version server's base address, ending in /AppServices/Versions/."_s},
        {u"--name"_s, u"NAME"_s, u"The application's name (its directory is the name without spaces, lower-cased)."_s},
        {u"--build"_s, u"BUILD"_s, u"The installed build."_s},
    };
}

const Cli::Registrar installUpdate({
    .name = u"install-update"_s,
    .summary = u"Installs the newest version of NAME newer than BUILD into DIR, as the Updater does, and prints it as JSON."_s,
    .options = serverOptions()
        + QList<Cli::Option> {
            {u"--public-key"_s, u"PUBKEY"_s, u"The public key packages must be signed with: its line or key file."_s},
            {u"--install-dir"_s, u"DIR"_s, u"The install folder whose contents the new version replaces."_s},
        },
    .run =
        [](const Cli::Args &args) {
            const QString command = u"install-update"_s;
            QJUpdateInstaller installer;
            installer.setBaseUrl(baseUrl(args, command));
            installer.setApplicationName(required(args, u"--name"_s, command));
            installer.setInstalledBuild(required(args, u"--build"_s, command));
            installer.setPublicKey(publicKey(args, command));
            installer.setInstallPath(required(args, u"--install-dir"_s, command));
            switch (installer.install()) {
            case QJUpdateInstaller::NothingToInstall:
                throw Cli::NothingError(u"no newer version to install"_s);
            case QJUpdateInstaller::Failed:
                throw Cli::NothingError(u"update not installed: "_s + installer.errorString());
            case QJUpdateInstaller::Installed:
                break;
            }
            // Nothing is started here, so the new version is kept at once.
            installer.confirm();
            const QJUpdateRecord record = installer.record();
            Cli::printJson(QJsonObject {{u"installed"_s, record.key}, {u"version"_s, record.version}});
            return 0;
        },
    .details = u"Takes the newest version newer than BUILD that names a package, downloads it, verifies its "
               "signature, unpacks it and puts it in place of DIR's contents. Exit status 1 when nothing newer "
               "names a package, and when anything fails; then DIR is left exactly as it was."_s,
});

const Cli::Registrar checkUpdate({
    .name = u"check-update"_s,
    .summary = u"Asks the version server for versions of NAME newer than BUILD and prints them as JSON, newest first."_s,
    .options = serverOptions()
        + QList<Cli::Option> {
            {u"--language-key"_s, u"KEY"_s, u"The record key of the descriptions (default: the English \"updateKey\")."_s},
        },
    .run =
        [](const Cli::Args &args) {
            QJUpdateChecker checker;
            checker.setBaseUrl(baseUrl(args, u"check-update"_s));
            checker.setApplicationName(required(args, u"--name"_s));
            checker.setInstalledBuild(required(args, u"--build"_s));
            if (args.has(u"--language-key"_s))
                checker.setDescriptionKey(args.value(u"--language-key"_s));
            const QJUpdateCheckResult result = checker.check();
            if (result.status == QJUpdateCheckResult::NotReachable)
                throw Cli::NothingError(u"update server not reachable: "_s + result.reason);
            // Still "nothing newer", but a dead server must not look like one that is up to date.
            if (result.status == QJUpdateCheckResult::NoUpdate && !result.reason.isEmpty())
                Cli::printError(u"no version index: "_s + result.reason);
            QJsonArray versions;
            for (const QJUpdateRecord &record : result.records) {
                versions.append(QJsonObject {
                    {u"description"_s, record.description}, {u"key"_s, record.key}, {u"version"_s, record.version}});
            }
            Cli::printJson(versions);
            return 0;
        },
    .details = u"Exit status 1 when the server cannot be reached. An index that cannot be read counts as no "
               "newer version, and standard error says why. Each request ends within 10 seconds and reads at most "
               "4 MiB."_s,
});
} // namespace
