"""Runs the scripts that derive constants and looks for what they print in the source that they name.

    check_constants.py source-folder

A script prints `# path/of/source` and then lines `name = value`. Spaces do not count. A name that comes more than once
stands for as many constants, in the order of the source.
"""

import os
import re
import subprocess
import sys


def definitions(source, name):
    """The texts that follow `name =` or `name[...] =`, without spaces."""
    places = re.finditer(rf"\b{re.escape(name)}\s*(\[[^]]*\]\s*)?=(?!=)", source)
    return ["".join(source[place.end():].split()) for place in places]


def take(texts, value):
    """Takes the texts up to the first that is this value; or returns what the first is instead."""
    wanted = re.compile(re.escape("".join(value.split())) + "[,;)}]")
    for i, text in enumerate(texts):
        if wanted.match(text):
            del texts[:i + 1]
            return None
    return re.match(r"\{[^}]*\}|[^,;]*", texts[0])[0] if texts else "nothing"


def differences(script, root):
    """A line for each constant that the source does not hold."""
    done = subprocess.run([script], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    if done.returncode:
        return [f"{script} ends with {done.returncode}: {done.stderr.strip()}"]
    heading, *constants = done.stdout.splitlines() or [""]
    path = heading[1:].strip()
    if not heading.startswith("#") or not constants:
        return [f"{script} prints no source and constants: {done.stdout}"]
    with open(os.path.join(root, path), encoding="utf-8") as file:
        source = file.read()
    texts, lines = {}, []
    for constant in constants:
        name, value = map(str.strip, constant.split("=", 1))
        found = take(texts.setdefault(name, definitions(source, name)), value)
        if found is not None:
            lines.append(f"{script}: {name} in {path}: expected {value}, found {found}")
    return lines


def main():
    root = sys.argv[1]
    folder = os.path.join(root, "scripts", "derive")
    scripts = sorted(os.listdir(folder))
    lines = [line for script in scripts for line in differences(os.path.join(folder, script), root)]
    if lines or not scripts:
        sys.exit("\n".join(lines) or f"{folder} has no scripts")


main()
