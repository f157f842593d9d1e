"""Checks that all relative links of the tree's pages lead to files, and that docs/index.md has every page:
check_links.py SOURCE"""

import os
import re
import sys
import urllib.parse

SOURCE = sys.argv[1]
HIDDEN = {"build", "node_modules"}


def pages():
    for folder, folders, names in os.walk(SOURCE):
        folders[:] = [name for name in folders if name not in HIDDEN and not name.startswith(".")]
        yield from (os.path.join(folder, name) for name in names if name.endswith(".md"))


def links(page):
    """The targets of a page's links and pictures, but not those in code."""
    with open(page, encoding="utf-8") as file:
        text = re.sub(r"^```.*?^```$|^ {4}[^\n]*|`[^`\n]*`", "", file.read(), flags=re.DOTALL | re.MULTILINE)
    found = re.findall(r"\]\(([^)\s]+)\)", text) + re.findall(r"\b(?:src|href)=\"([^\"]+)\"", text)
    return {urllib.parse.unquote(target) for target in found if not re.match(r"\w+:", target)}


def titles(page):
    """What `#...` may say in a link to the page."""
    with open(page, encoding="utf-8") as file:
        return {re.sub(r"\s", "-", re.sub(r"[^\w\s-]", "", title.lower()))
                for title in re.findall(r"^#+ (.*)$", file.read(), re.MULTILINE)}


def main():
    said, count = [], 0
    listed = set()
    for page in sorted(pages()):
        for target in sorted(links(page)):
            name, _, title = target.partition("#")
            file = os.path.normpath(os.path.join(os.path.dirname(page), name)) if name else page
            count += 1
            if page == os.path.join(SOURCE, "docs/index.md"):
                listed.add(file)
            if not os.path.exists(file) or title and title not in titles(file):
                said.append(f"{os.path.relpath(page, SOURCE)} links to {target}, which is not there")
    said += [f"docs/index.md does not link to {os.path.relpath(page, SOURCE)}" for page in sorted(pages())
             if page not in listed and page != os.path.join(SOURCE, "docs/index.md")]
    if said or count < 50:
        sys.exit("\n".join([*said, f"of {count} links"]))
    print(f"{count} links")


main()
