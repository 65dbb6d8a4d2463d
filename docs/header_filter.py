#!/usr/bin/env python3
"""Doxygen INPUT_FILTER for include/ky/*.h: reads a header, prints it with the
plain // comments that document it turned into Doxygen comments.

The headers keep one comment style, the one a reader of the header sees; the
reference is built from those same comments, so the two cannot drift. The
rules follow how the headers are written:

- The banner (`// File: ky/x.h` and the comment lines after it) documents
  the file.
- A run of full-line // comments directly above a declaration (no blank line
  between) documents that declaration. A comment followed by a blank line is a
  section heading or a note, not documentation.
- One comment above several declarations with no blank line between them
  documents each of them (a Doxygen member group with distributed docs).
- A // comment after code on the same line documents that member.
- An entry named X_dbg with no comment of its own is the debug twin of X
  that the string toolkit's naming grammar defines; it gets that sentence.
- Explicit instantiation declarations (`extern template`) and helper macros
  that the header #undefs again are not entries of their own: the template
  they instantiate carries the contract. They are blanked.

Every input line gives exactly one output line, so Doxygen's warnings point at
the header's own line numbers.
"""
import re
import sys

COMMENT = re.compile(r"^(\s*)//(?!/)(.*)$")
BANNER = re.compile(r"^//\s*File:\s*\S+\s*$")
GROUP_OPEN = "/**@{*/"
GROUP_CLOSE = "/**@}*/"
# Characters that Doxygen reads as commands or markup in comment text; the
# headers mean them literally. Backtick spans are left alone (code already).
SPECIAL = re.compile(r"([\\@<>&#%$])")


def trailing_comment_at(line):
    """Index of a // comment that follows code on the line, or -1."""
    quote = None
    i = 0
    while i < len(line) - 1:
        c = line[i]
        if quote:
            if c == "\\":
                i += 1
            elif c == quote:
                quote = None
        elif c in "\"'":
            quote = c
        elif line.startswith("//", i):
            return i if line[:i].strip() else -1
        i += 1
    return -1


def doc_text(text):
    parts = text.split("`")
    for k in range(0, len(parts), 2):
        parts[k] = SPECIAL.sub(r"\\\1", parts[k])
    return "`".join(parts)


def as_doc(line):
    m = COMMENT.match(line)
    return m.group(1) + "///" + doc_text(m.group(2))


def indent_of(line):
    return len(line) - len(line.lstrip())


def braces(line):
    code = code_of(line)
    return code.count("{") - code.count("}")


def declaration_run(lines, start):
    """The declarations that follow a doc comment ending before `start`.

    Returns (end, statements, depth): the run is lines[start:end], it holds
    `statements` complete declarations at its own level, and `depth` is the
    brace depth left open at its end (non-zero for a class or namespace body
    that the run only begins). A run of #define lines is one of macros."""
    macros = lines[start].lstrip().startswith("#define")
    base = indent_of(lines[start])
    depth = 0
    statements = 0
    i = start
    while i < len(lines):
        line = lines[i]
        if not line.strip():
            break
        if macros:
            if not line.lstrip().startswith("#define"):
                break
            statements += 1
            while lines[i].rstrip().endswith("\\") and i + 1 < len(lines):
                i += 1
            i += 1
            continue
        if depth == 0 and i > start:
            if COMMENT.match(line) or indent_of(line) < base or line.lstrip().startswith("#"):
                break
        depth += braces(line)
        code = code_of(line).rstrip()
        if depth == 0 and (code.endswith(";") or code.endswith("}")):
            statements += 1
        i += 1
        if depth < 0:
            break
    return i, statements, depth


def blank_non_entries(lines):
    undefined = set(re.findall(r"^\s*#\s*undef\s+(\w+)", "\n".join(lines), re.M))
    i = 0
    while i < len(lines):
        line = lines[i]
        m = re.match(r"\s*#\s*(define|undef)\s+(\w+)", line)
        if m and m.group(2) in undefined:
            while lines[i].rstrip().endswith("\\"):
                lines[i] = ""
                i += 1
            lines[i] = ""
        elif re.match(r"\s*extern\s+template\b", line):
            while not lines[i].rstrip().endswith(";"):
                lines[i] = ""
                i += 1
            lines[i] = ""
        i += 1
    return lines


DEBUG_TWIN = re.compile(r"\b(\w+)_dbg\s*\(")
SCOPE = re.compile(r"\b(class|struct|union|enum|namespace)\b|extern\s*\"C\"")


def code_of(line):
    """The line without comments and string or character literals, so that
    braces in them are not counted."""
    if COMMENT.match(line) or line.lstrip().startswith("///"):
        return ""
    cut = trailing_comment_at(line)
    code = line if cut < 0 else line[:cut]
    code = re.sub(r"/\*.*?\*/", "", code)
    return re.sub(r"\"(\\.|[^\"\\])*\"|'(\\.|[^'\\])*'", "", code)


class Scopes:
    """Brace nesting, telling bodies whose members are entries (namespace,
    class, enum) from code bodies (functions, initialisers), where comments
    are the implementer's and stay plain."""

    def __init__(self):
        self.stack = []
        self.pending = ""
        self.in_macro = False

    def in_code(self):
        return "code" in self.stack

    def feed(self, line):
        if self.in_macro or line.lstrip().startswith("#"):
            self.in_macro = line.rstrip().endswith("\\")
            return
        for ch in code_of(line):
            if ch == "{":
                self.stack.append("scope" if SCOPE.search(self.pending) else "code")
                self.pending = ""
            elif ch == "}":
                if self.stack:
                    self.stack.pop()
                self.pending = ""
            elif ch == ";":
                self.pending = ""
            else:
                self.pending += ch
        self.pending += " "


def group(out, lines, first, start, end):
    """Makes lines[start:end] one member group that shares the comment in
    lines[first:start], rewritten as one C-style block so it stays one
    paragraph and the group markers fit on its last line."""
    for k in range(first, start):
        m = COMMENT.match(lines[k])
        opener = "/**" if k == first else "   "
        out[k] = m.group(1) + opener + doc_text(m.group(2)).replace("*/", "*&#47;")
    out[start - 1] += " */ " + GROUP_OPEN
    if end < len(lines) and not lines[end].strip():
        out[end] = GROUP_CLOSE
        return
    last = out[end - 1]
    cut = trailing_comment_at(last)
    if cut < 0:
        out[end - 1] = last + " " + GROUP_CLOSE
    else:
        out[end - 1] = last[:cut].rstrip() + " " + GROUP_CLOSE + " " + last[cut:]


def filter_header(text):
    lines = blank_non_entries(text.split("\n"))
    out = list(lines)
    scopes = Scopes()
    i = 0
    # The banner: the first comment block, when it names the file.
    if lines and BANNER.match(lines[0]):
        out[0] = "/// @file"
        i = 1
        while i < len(lines) and COMMENT.match(lines[i]):
            out[i] = as_doc(lines[i])
            i += 1
    while i < len(lines):
        line = lines[i]
        if not scopes.in_code() and COMMENT.match(line):
            first = i
            while i < len(lines) and COMMENT.match(lines[i]):
                i += 1
            following = lines[i] if i < len(lines) else ""
            if following.strip() and not following.lstrip().startswith("#endif"):
                for k in range(first, i):
                    out[k] = as_doc(lines[k])
                end, statements, depth = declaration_run(lines, i)
                macros = following.lstrip().startswith("#")
                closed = end < len(lines) and not lines[end].strip()
                # A macro group needs the blank line after it for its close
                # marker: on the last #define line the marker would be part
                # of the macro.
                if statements > 1 and depth == 0 and (closed or not macros):
                    group(out, lines, first, i, end)
            continue  # otherwise a heading or a note, not attached to a declaration
        twin = DEBUG_TWIN.search(code_of(line))
        if twin and not scopes.in_code() and (i == 0 or not COMMENT.match(lines[i - 1])):
            out[i] = (
                f"/** As {twin.group(1)}(), with three leading debug-context values that it"
                f" ignores. */ {out[i]}"
            )
        if not scopes.in_code() and not line.lstrip().startswith("#"):
            cut = trailing_comment_at(out[i])
            closing = re.match(r"\s*}\s*;?\s*$", out[i][:cut]) if cut >= 0 else None
            if cut >= 0 and out[i][cut + 2] != "/" and not closing:
                out[i] = out[i][:cut] + "///<" + doc_text(out[i][cut + 2 :])
        scopes.feed(line)
        i += 1
    return "\n".join(out)


def main():
    with open(sys.argv[1], encoding="utf-8") as f:
        sys.stdout.write(filter_header(f.read()))


if __name__ == "__main__":
    main()
