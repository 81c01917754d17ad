#!/usr/bin/env python3
# SPDX-License-Identifier: LGPL-2.1-or-later
"""Writes the qjkit(1) manual page and the bash completion from the tool's own help texts.

    make-manual.py QJKIT VERSION MANPAGE COMPLETION

The help of "qjkit --help" and of "qjkit COMMAND --help" is the one source: what a user reads in
the terminal, the manual and the completion cannot disagree.
"""
import datetime
import os
import re
import subprocess
import sys


def run(tool, *args):
    env = dict(os.environ, LC_ALL="C.UTF-8", QT_QPA_PLATFORM="offscreen")
    return subprocess.run([tool, *args], check=True, capture_output=True, text=True, env=env).stdout


def sections(text):
    """Splits a help text into its usage line, its paragraphs and its "Name:" lists."""
    blocks = [b for b in text.strip("\n").split("\n\n")]
    usage = " ".join(line.strip() for line in blocks[0].splitlines()).removeprefix("Usage: ")
    paragraphs, lists = [], {}
    for block in blocks[1:]:
        lines = block.splitlines()
        if lines[0].endswith(":") and not lines[0].startswith(" "):
            lists[lines[0][:-1]] = rows(lines[1:])
        else:
            paragraphs.append(" ".join(line.strip() for line in lines))
    return usage, paragraphs, lists


def rows(lines):
    """The (name, description) rows of a two-column list whose descriptions may wrap."""
    result = []
    for line in lines:
        if line.startswith("  ") and not line.startswith("   "):
            name, _, description = line[2:].partition("  ")
            result.append([name.strip(), description.strip()])
        elif result:
            result[-1][1] = (result[-1][1] + " " + line.strip()).strip()
    return result


def roff(text):
    text = text.replace("\\", "\\e").replace("-", "\\-")
    return "\\&" + text if text.startswith((".", "'")) else text


def manual(tool, version):
    usage, paragraphs, lists = sections(run(tool, "--help"))
    epoch = os.environ.get("SOURCE_DATE_EPOCH")  # reproducible builds fix the date
    today = (datetime.datetime.fromtimestamp(int(epoch), datetime.timezone.utc).date() if epoch
             else datetime.date.today())
    out = [f'.TH QJKIT 1 "{today:%Y-%m-%d}" "QJKit {version}" "User Commands"',
           ".SH NAME", "qjkit \\- try QJKit's capabilities from the command line",
           ".SH SYNOPSIS", f".B qjkit\n{roff(usage.removeprefix('qjkit '))}",
           ".SH DESCRIPTION"]
    for paragraph in paragraphs:
        out += [".PP", roff(paragraph)]
    out.append(".SH OPTIONS")
    for name, description in lists.get("Options", []):
        out += [".TP", f".B {roff(name)}", roff(description)]
    out.append(".SH COMMANDS")
    commands = [name for name, _ in lists.get("Commands", [])]
    options = {}
    for command in commands:
        c_usage, c_paragraphs, c_lists = sections(run(tool, *command.split(), "--help"))
        out += [f".SS {roff(command)}", f".B qjkit {roff(c_usage.removeprefix('qjkit '))}"]
        for paragraph in c_paragraphs:
            out += [".PP", roff(paragraph)]
        own = [row for row in c_lists.get("Options", []) if row[0].split(",")[0] not in ("-h", "-v")]
        options[command] = [name.split()[0] for name, _ in own]
        for name, description in own:
            out += [".TP", f".B {roff(name)}", roff(description)]
    out += [".SH EXIT STATUS", ".TP", ".B 0", "success", ".TP", ".B 1", "the operation answered nothing",
            ".TP", ".B 2", "a usage or input error, said in one line on standard error"]
    return "\n".join(out) + "\n", commands, options


def completion(commands, options):
    """A bash completion: the first words complete to commands, then the command's options, then files."""
    groups = sorted({c.split()[0] for c in commands})
    lines = ["# bash completion for qjkit, generated from its help texts", "_qjkit()", "{",
             "    local cur=${COMP_WORDS[COMP_CWORD]}",
             '    local first=${COMP_WORDS[1]} second=${COMP_WORDS[2]}',
             "    if ((COMP_CWORD == 1)); then",
             f"        COMPREPLY=($(compgen -W \"{' '.join(groups)} --help --version\" -- \"$cur\"))",
             "        return",
             "    fi",
             '    case "$first" in']
    for group in groups:
        subcommands = [c.split()[1] for c in commands if c.startswith(group + " ")]
        if subcommands:
            lines += [f"    {group})",
                      "        if ((COMP_CWORD == 2)); then",
                      f"            COMPREPLY=($(compgen -W \"{' '.join(subcommands)} --help\" -- \"$cur\"))",
                      "            return",
                      "        fi",
                      '        case "$second" in']
            for sub in subcommands:
                words = " ".join(options[f"{group} {sub}"] + ["--help"])
                lines.append(f"        {sub}) _qjkit_options \"{words}\" ;;")
            lines += ["        esac ;;"]
        else:
            words = " ".join(options[group] + ["--help"])
            lines.append(f"    {group}) _qjkit_options \"{words}\" ;;")
    lines += ["    esac", "}",
              "_qjkit_options()", "{",
              "    local cur=${COMP_WORDS[COMP_CWORD]}",
              "    if [[ $cur == -* ]]; then",
              '        COMPREPLY=($(compgen -W "$1" -- "$cur"))',
              "    else",
              '        COMPREPLY=($(compgen -f -- "$cur"))',
              "    fi",
              "}",
              "complete -o filenames -F _qjkit qjkit"]
    return "\n".join(lines) + "\n"


def main():
    tool, version, manpage, script = sys.argv[1:5]
    page, commands, options = manual(tool, version)
    with open(manpage, "w", encoding="utf-8") as f:
        f.write(page)
    with open(script, "w", encoding="utf-8") as f:
        f.write(completion(commands, options))


if __name__ == "__main__":
    main()
