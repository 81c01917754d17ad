// SPDX-License-Identifier: LGPL-2.1-or-later
// qjkit check-update: the update check's core, as a given application and build.
#include "QJUpdateChecker.h"
#include "cli.h"

#include <QJsonArray>
#include <QJsonObject>

using namespace Qt::StringLiterals;

namespace
{
QString required(const Cli::Args &args, const QString &option)
{
    if (!args.has(option) || args.value(option).isEmpty())
        throw Cli::UsageError(u"check-update: the option %1 is required"_s.arg(option));
    return args.value(option);
}

const Cli::Registrar checkUpdate({
    .name = u"check-update"_s,
    .summary = u"Asks the version server for versions of NAME newer than BUILD and prints them as JSON, newest first."_s,
    .options = {
        {u"--base-url"_s, u"URL"_s, u"the version server's base address, ending in /AppServices/Versions/"_s},
        {u"--name"_s, u"NAME"_s, u"the application's name (its directory is the name without spaces, lower-cased)"_s},
        {u"--build"_s, u"BUILD"_s, u"the installed build"_s},
        {u"--language-key"_s, u"KEY"_s, u"the record key of the descriptions (default: the English \"updateKey\")"_s},
    },
    .run =
        [](const Cli::Args &args) {
            const QUrl base(required(args, u"--base-url"_s), QUrl::StrictMode);
            const QString scheme = base.scheme().toLower();
            if (!base.isValid() || base.host().isEmpty() || (scheme != u"http" && scheme != u"https"))
                throw Cli::UsageError(u"check-update: --base-url needs an http or https address"_s);
            QJUpdateChecker checker;
            checker.setBaseUrl(base);
            checker.setApplicationName(required(args, u"--name"_s));
            checker.setInstalledBuild(required(args, u"--build"_s));
            if (args.has(u"--language-key"_s))
                checker.setDescriptionKey(args.value(u"--language-key"_s));
            const QJUpdateCheckResult result = checker.check();
            if (result.status == QJUpdateCheckResult::NotReachable)
                throw Cli::NothingError(u"update server not reachable: "_s + result.reason);
            QJsonArray versions;
            for (const QJUpdateRecord &record : result.records) {
                versions.append(QJsonObject {
                    {u"description"_s, record.description}, {u"key"_s, record.key}, {u"version"_s, record.version}});
            }
            Cli::printJson(versions);
            return 0;
        },
    .details = u"Exit status 1 when the server cannot be reached. An index that cannot be read counts as no "
               "newer version. Each request ends within 10 seconds and reads at most 4 MiB."_s,
});
} // namespace
