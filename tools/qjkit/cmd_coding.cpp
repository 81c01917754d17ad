// SPDX-License-Identifier: LGPL-2.1-or-later
// qjkit blowfish encrypt|decrypt, code encode|decode, plist write-coded|read-coded.
#include "cli.h"
#include "plistio.h"

#include "QJBlowfish.h"
#include "QJBlowfishCoding.h"

#include <QtEndian>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{
bool isHex(const QString &text)
{
    return std::all_of(text.cbegin(), text.cend(),
        [](QChar c) { return (c >= u'0' && c <= u'9') || (c >= u'a' && c <= u'f') || (c >= u'A' && c <= u'F'); });
}

QString required(const Cli::Args &args, const QString &command, const QString &option)
{
    if (!args.has(option))
        throw Cli::UsageError(u"%1: option %2 is required"_s.arg(command, option));
    return args.value(option);
}

int runBlock(const Cli::Args &args, bool encrypt)
{
    const QString command = encrypt ? u"blowfish encrypt"_s : u"blowfish decrypt"_s;
    const QString keyHex = required(args, command, u"--key-hex"_s);
    if (keyHex.size() % 2 || !isHex(keyHex))
        throw Cli::UsageError(u"%1: --key-hex needs pairs of hexadecimal digits, not \"%2\""_s.arg(command, keyHex));
    const QString blockHex = args.at(0);
    if (blockHex.size() != 16 || !isHex(blockHex))
        throw Cli::UsageError(u"%1: BLOCK must be 16 hexadecimal digits, not \"%2\""_s.arg(command, blockHex));

    const QByteArray key = QByteArray::fromHex(keyHex.toLatin1());
    const QByteArray block = QByteArray::fromHex(blockHex.toLatin1());
    QJBlowfishContext context;
    QJBlowfish_Init(&context, reinterpret_cast<const unsigned char *>(key.constData()), size_t(key.size()));
    uint32_t l = qFromBigEndian<quint32>(block.constData());
    uint32_t r = qFromBigEndian<quint32>(block.constData() + 4);
    (encrypt ? QJBlowfish_Encrypt : QJBlowfish_Decrypt)(&context, &l, &r);
    Cli::printLine(u"%1%2"_s.arg(l, 8, 16, QChar(u'0')).arg(r, 8, 16, QChar(u'0')));
    return 0;
}

int runCode(const Cli::Args &args, bool encode)
{
    const QString command = encode ? u"code encode"_s : u"code decode"_s;
    const QString key = required(args, command, u"--key"_s);
    const QString file = args.at(0, u"-"_s);
    const QByteArray input = Cli::readInput(file);
    if (input.contains('\0'))
        throw Cli::UsageError(encode
                ? u"%1: holds a zero byte, which the coding cannot carry"_s.arg(Cli::inputName(file))
                : u"%1: holds a zero byte, so it is not coded data"_s.arg(Cli::inputName(file)));
    Cli::writeOut(encode ? QJBlowfishCoding::encodeWithBlowfishKey(input, key)
                         : QJBlowfishCoding::decodeWithBlowfishKey(input, key));
    return 0;
}

const QList<Cli::Option> keyHexOption {
    {u"--key-hex"_s, u"HEX"_s, u"The key as hexadecimal digits (required; bytes past 72 do not count)."_s}};
const QList<Cli::Option> keyOption {{u"--key"_s, u"KEY"_s, u"The key text, used as UTF-8 (required)."_s}};
const QString blockDetails = u"BLOCK is 16 hexadecimal digits: the left half, then the right half, each big-endian. "
                             "The result prints the same way, in lower case."_s;
const QString codeDetails
    = u"Every byte becomes ten bytes from 1 to 169; decoding takes ten bytes per byte and ignores a trailing "
      "partial group. Nothing is checked: a wrong key decodes to other bytes. Input holding a zero byte is refused."_s;

const Cli::Registrar encrypt({
    .name = u"blowfish encrypt"_s,
    .arguments = u"BLOCK"_s,
    .summary = u"Enciphers one 64-bit block with Blowfish."_s,
    .options = keyHexOption,
    .minPositional = 1,
    .maxPositional = 1,
    .run = [](const Cli::Args &args) { return runBlock(args, true); },
    .details = blockDetails,
});

const Cli::Registrar decrypt({
    .name = u"blowfish decrypt"_s,
    .arguments = u"BLOCK"_s,
    .summary = u"Deciphers one 64-bit block with Blowfish."_s,
    .options = keyHexOption,
    .minPositional = 1,
    .maxPositional = 1,
    .run = [](const Cli::Args &args) { return runBlock(args, false); },
    .details = blockDetails,
});

const Cli::Registrar encode({
    .name = u"code encode"_s,
    .arguments = u"[FILE|-]"_s,
    .summary = u"Codes bytes under a key, ten bytes per byte, to standard output."_s,
    .options = keyOption,
    .minPositional = 0,
    .maxPositional = 1,
    .run = [](const Cli::Args &args) { return runCode(args, true); },
    .details = codeDetails,
});

const Cli::Registrar decode({
    .name = u"code decode"_s,
    .arguments = u"[FILE|-]"_s,
    .summary = u"Decodes bytes coded under a key to standard output."_s,
    .options = keyOption,
    .minPositional = 0,
    .maxPositional = 1,
    .run = [](const Cli::Args &args) { return runCode(args, false); },
    .details = codeDetails,
});

const Cli::Registrar writeCoded({
    .name = u"plist write-coded"_s,
    .arguments = u"IN OUT"_s,
    .summary = u"Writes the dictionary property list IN as a coded file OUT."_s,
    .minPositional = 2,
    .maxPositional = 2,
    .run =
        [](const Cli::Args &args) {
            const QJDictionary dictionary = Cli::readDictionary(args.at(0));
            QString why;
            if (!QJBlowfishCoding::writeCodedToFile(dictionary, args.at(1), &why))
                throw Cli::NothingError(u"%1: could not be written: %2"_s.arg(args.at(1), why));
            return 0;
        },
    .details = u"IN may be any readable property list (\"-\": standard input). OUT holds its XML form, coded under "
               "the library's file key; it is replaced in place."_s,
});

const Cli::Registrar readCoded({
    .name = u"plist read-coded"_s,
    .arguments = u"IN"_s,
    .summary = u"Prints the property list of the coded file IN as XML."_s,
    .minPositional = 1,
    .maxPositional = 1,
    .run =
        [](const Cli::Args &args) {
            const QJValue plist = QJBlowfishCoding::readFromCodedFile(args.at(0));
            if (plist.isNone())
                throw Cli::NothingError(u"%1: not a coded property list"_s.arg(args.at(0)));
            Cli::printPropertyList(plist, args.at(0));
            return 0;
        },
    .details = u"The file is read under the library's file key, then under its fallback key."_s,
});
} // namespace
