"""The manual page is what scripts/manual makes of the program's help, and bash completes the commands and options that
the help names.

    check_reference.py source-folder program
"""

import difflib
import os
import re
import subprocess
import sys

SOURCE, PROGRAM = sys.argv[1:]


def output(*command):
    return subprocess.run(command, check=True, text=True, stdout=subprocess.PIPE).stdout


def completed(*words):
    """What bash proposes for the last word."""
    script = 'source "$0"; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _orv; printf "%s\\n" "${COMPREPLY[@]}"'
    return set(output("bash", "-c", script, os.path.join(SOURCE, "tools/orv/completion.bash"), "orv", *words).split())


def same(got, expected, what):
    if got != expected:
        sys.exit(f"{what}: bash completes {sorted(got)}, and the help names {sorted(expected)}")


with open(os.path.join(SOURCE, "docs/man/orv.1.in")) as file:
    kept = file.read().splitlines()
made = output(sys.executable, "-B", os.path.join(SOURCE, "scripts/manual"), "--print", PROGRAM).splitlines()
if kept != made:
    sys.exit("\n".join(difflib.unified_diff(kept, made, "docs/man/orv.1.in", "scripts/manual --print", lineterm="")))

main = output(PROGRAM, "--help")
if main.count("\n") > 23:
    sys.exit("orv --help fills more than a screen")
commands = set(re.findall(r"^  orv ([a-z]+) ", main, re.MULTILINE))
same(completed(""), commands | set(re.findall(r"orv (--[a-z]+)", main)), "orv")
for command in sorted(commands):
    text = output(PROGRAM, command, "--help")
    if max(map(len, text.splitlines())) > 80:
        sys.exit(f"orv {command} --help is wider than 80 columns")
    if not re.search(rf"^  orv {command}\b", text.partition("\nExamples:\n")[2], re.MULTILINE):
        sys.exit(f"orv {command} --help has no example")
    options = set(re.findall(r"(?:^  |[ \[])(--[a-z-]+)", text, re.MULTILINE)) | {"--help"}
    same(completed(command, "--"), options, f"orv {command}")
    for option in sorted(options):
        for value in completed(command, option, ""):
            if not re.search(rf"\b{value}\b", text):
                sys.exit(f"orv {command} {option}: bash completes {value}, which the help does not name")
print(len(commands), "commands hold")
