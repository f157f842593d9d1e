#!/usr/bin/env python3
"""Makes of the public header, whose comments are plain text, what Doxygen reads: filter.py HEADER.

A line of dashes begins a group. A comment that stands by itself is the text of the functions that follow it, or of the
whole group where no function without statuses of its own follows it. A comment directly above declarations belongs to
each of them. Lists of statuses become return values, lists of arguments parameters; other lists stay as they are.
"""

import re
import sys

STATUS = re.compile(r"  (velSts\w+)  +(.*)")
TWIN = re.compile(r"^ORV_API extern __typeof__\((\w+)\) (\w+);", re.MULTILINE)
ARGUMENTS = re.compile(r"  (\w+(?:, \w+)*),?(?:  +(.*))?$")


def plain(comment):
    """The text of a comment, by lines."""
    return [re.sub(r"^ \* ?", "", line).rstrip() for line in comment[3:-2].split("\n")]


def identifier(title):
    return re.sub(r"\W+", "_", title.lower())


def escape(text, names):
    text = re.sub(r"([\\@<>&#%])", r"\\\1", text)
    text = re.sub(r"`([^`]*)`", r"<code>\1</code>", text)
    return re.sub(r"\b\w+\b(?!\()", lambda word: "#" + word[0] if word[0] in names else word[0], text)


class Text:
    """A comment: paragraphs and tables ready for Doxygen, statuses, and lists that may be of arguments."""

    def __init__(self, lines, names):
        self.statuses, self.arguments, self.names = [], {}, names
        self.first = re.split(r"(?<=[^.])[.:;](?:\s|$)", " ".join(lines).strip())[0].strip()
        self.first = self.first if len(self.first) < 75 else self.first.split(", ")[0]
        self.body, self.after, block = [], [], []  # up to the statuses, and what follows them
        for line in lines + [""]:
            if block and (line.startswith("  ") != block[0].startswith("  ") or not line):
                self.close(block)
                block = []
            if line:
                block.append(line)
            else:
                (self.after if self.statuses else self.body).append("")

    def close(self, block):
        body = self.after if self.statuses else self.body
        if not block[0].startswith("  "):
            body += [escape(line, self.names) for line in block]
        elif block[0].startswith("  - "):
            body += ["", *(escape(line, self.names) for line in block), ""]
        else:
            rest = self.take_statuses(block)
            self.take_arguments(rest)
            if rest:
                body += ["\\verbatim", *rest, "\\endverbatim"]

    def with_statuses(self):
        return [*self.body, "", *table(self.statuses, self.names), "", *self.after]

    def take_statuses(self, block):
        rest, into = [], None
        for line in block:
            status = STATUS.match(line)
            if status:
                into = [status[1], status[2]]
                self.statuses.append(into)
            elif into and line.startswith(" " * 12):
                into[1] += " " + line.strip()
            else:
                into = None
                rest.append(line)
        return rest

    def take_arguments(self, block):
        """Names and texts in two columns; of a row of many names the text begins in the next line."""
        names = []
        for line in block:
            found = ARGUMENTS.match(line)
            if found:
                names = found[1].split(", ") if not names or found[2] or self.arguments.get(names[0]) else \
                    names + found[1].split(", ")
                self.arguments.update(dict.fromkeys(names, found[2] or ""))
            elif line.startswith(" " * 6):
                self.arguments.update({name: f"{self.arguments[name]} {line.strip()}".strip() for name in names})
            else:
                names = []


def table(statuses, names):
    rows = [f"<tr><td>#{name}</td><td>{escape(text, names)}</td></tr>" for name, text in statuses]
    return ["<table>", *rows, "</table>"] if rows else []


def declarations(code):
    """What stands under one comment: lines of the preprocessor and declarations; and the twins after a blank line."""
    code, _, rest = code.partition("\n\n")
    found = re.findall(r"#(?:[^\n]*\\\n)*[^\n]*|[^#;{\s][^;{]*(?:\{[^}]*\}[^;]*)?;[^\n/]*(?:/\*(?:(?!\*/).)*\*/)?",
                       code, re.DOTALL)
    return found, re.findall(TWIN, rest)


class Filter:
    def __init__(self, header):
        self.header = header
        bare = re.sub(r"/\*.*?\*/", "", header, flags=re.DOTALL)
        self.functions = {name: declaration for declaration, name in re.findall(
            r"^(ORV_API (?!extern)[^;(]*?(\w+)\([^;]*;)", bare, re.MULTILINE)}
        self.names = {*self.functions, *re.findall(r"^  (\w+) = ", bare, re.MULTILINE)}
        self.out, self.group, self.shared, self.statuses, self.families = [], None, None, [], 0

    def emit(self, lines):
        self.out.append(["/**", *lines])

    def close_family(self):
        if self.shared:
            self.out.append("/** @} */")
        self.shared = None

    def main_page(self, lines):
        """The header's first comment, with links in place of its table of contents, which says what is in a group."""
        at = lines.index("Contents (each section begins with a line of dashes and its name)") + 1
        end = lines.index("", at)
        self.contents = dict(re.findall(r"^  (\S.*?)  +(.*)$", "\n".join(lines[at:end]), re.MULTILINE))
        text = Text(lines[end:], self.names)
        self.arguments = text.arguments
        titles = re.findall(r"^/\* -{4} (.*?) -+ \*/", self.header, re.MULTILINE)
        links = [f"- \\ref {identifier(title)} {escape(self.contents[title], ())}" for title in titles]
        self.emit(["\\mainpage libOrv", lines[0].partition(": ")[2], *links, "", *text.body])
        self.emit(["\\file", "The one public header."])

    def begin_group(self, title):
        self.close_family()
        if self.group:
            self.out.append("/** @} */")
        self.group = identifier(title)
        self.statuses, self.titles = [], set()
        said = self.contents[title]
        self.emit([f"\\defgroup {self.group} {title}", f"{said[:1].upper()}{said[1:]}."])
        self.introduction = self.out[-1]
        self.out.append("/** @{ */")

    def whole_group(self, text):
        self.close_family()
        self.statuses = text.statuses or self.statuses
        self.introduction += ["", *text.with_statuses()]

    def begin_family(self, text):
        self.close_family()
        self.statuses, self.families = text.statuses or self.statuses, self.families + 1
        self.shared = f"family_{self.families}"
        if text.first in self.titles:
            sys.exit(f"{self.group} has two texts that begin with '{text.first}'")
        self.titles.add(text.first)
        self.family = text.arguments
        self.said = text.first.replace('"', "")
        self.emit([f"\\name {escape(text.first, ())}", f"\\anchor {self.shared}", *text.with_statuses()])
        self.out.append("/** @{ */")

    def document(self, text, declaration):
        function = re.match(r"ORV_API (?!extern)[^(]*?(\w+)\((.*)\);", declaration, re.DOTALL)
        if not function or text.statuses:
            self.close_family()
        self.emit([*text.body, "", *(self.details(text, *function.groups()) if function else []), *text.after, "",
                   *([f"\\see \\ref {self.shared} \"{self.said}\", \\ref {self.group}"] if self.shared else [])])
        self.out.append(re.sub(r"(?<=[,;]) *\n? */\*(?= )|(?<=\d) +/\*(?= )", " /**<", declaration))

    def details(self, text, name, arguments):
        """Arguments, where all are known, and statuses: the function's own, or those of the text before it."""
        arguments = re.findall(r"(\w+)(?:\[\d*\])?(?:,|$)", arguments) if arguments != "void" else []
        family = self.family if self.shared else {}
        known = {**self.arguments, **family, **text.arguments} if name.startswith("orv") else text.arguments
        if all(argument in known for argument in arguments):
            yield from (f"\\param {argument} {escape(known[argument], self.names)}" for argument in arguments)
        statuses = text.statuses or self.statuses
        if statuses and self.functions[name].startswith("ORV_API VelStatus"):
            yield from ["", "\\returns the first that holds:"]
            yield from table([*statuses, ["velStsNoErr", "done"]], self.names)

    def twin(self, original, name):
        self.emit([f"#{original} by the name that saves a jump."])
        self.out.append(re.sub(rf"\b{original}\(", name + "(", self.functions[original]))

    def declarations(self, text, code):
        found, twins = declarations(code)
        for declaration in found:
            if not TWIN.match(declaration):
                self.document(text, declaration)
        for original, name in [*re.findall(TWIN, "\n".join(found)), *twins]:
            self.twin(original, name)

    def run(self):
        pieces = re.split(r"^(/\*.*?\*/)\n", self.header, flags=re.DOTALL | re.MULTILINE)[1:]
        (top, head), *comments = zip(pieces[0::2], pieces[1::2])
        self.main_page(plain(top))
        self.out.append(head)
        for (comment, code), (next_comment, next_code) in zip(comments, [*comments[1:], comments[0]]):
            title = re.match(r"/\* -{4} (.*?) -+ \*/", comment)
            if title:
                self.begin_group(title[1])
            elif code.startswith("\n"):
                shared = next_code[:1] != "\n" and not Text(plain(next_comment), self.names).statuses
                (self.begin_family if shared else self.whole_group)(Text(plain(comment), self.names))
            else:
                self.declarations(Text(plain(comment), self.names), code)
        self.close_family()
        self.out.append("/** @} */")
        return "\n".join(piece if isinstance(piece, str) else "\n".join([*piece, "*/"]) for piece in self.out)


if __name__ == "__main__":
    with open(sys.argv[1], encoding="utf-8") as file:
        print(Filter(file.read()).run())
