"""The manual that the public headers carry, taken apart: what the manual pages and the HTML pages are made from.

A header is an overview (its first comment), then sections ("/* ---- Title ---- ... */") and entries: a comment with the
declarations that follow it, up to the next blank line. A comment's text is paragraphs, lists of terms ("term  what it
is", in two columns), bullets (" - "), and anything else that is indented, which stays as it is.
"""
import re
from dataclasses import dataclass, field

TERM = re.compile(r"^(\S+(?: \S+)*?) {2,}(\S.*)$")
BULLET = re.compile(r"^ ?- (.*)$")
RULE = re.compile(r"^-{4} (.*?) -+$")


@dataclass
class Block:
    """Piece of a text: kind is paragraph, terms, bullets or literal."""
    kind: str
    lines: list = field(default_factory=list)  # literal: the lines; paragraph: one text; bullets: texts
    terms: list = field(default_factory=list)  # terms: pairs


@dataclass
class Entry:
    text: list  # blocks
    code: list  # lines of the declarations
    names: list


@dataclass
class Section:
    title: str  # empty for what stands before the first one
    text: list
    entries: list = field(default_factory=list)


@dataclass
class Header:
    name: str  # as it is included
    overview: list
    sections: list


def comment_lines(raw):
    """The text of a comment, without its marks; the indentation within it stays."""
    lines = []
    for line in raw:
        line = re.sub(r"^\s*(/\*+|\*+/|\*)", "", line)
        line = re.sub(r"\*+/\s*$", "", line).rstrip()
        lines.append(line.removeprefix(" "))
    while lines and not lines[0].strip():
        lines.pop(0)
    while lines and not lines[-1].strip():
        lines.pop()
    return lines


def indent_of(line):
    return len(line) - len(line.lstrip())


def is_term_list(lines):
    """Whether these are two columns: a term in the first, its text at the same column in all lines."""
    first = TERM.match(lines[0].strip())
    if first is None or lines[0].rstrip().endswith((";", "{", "}")):
        return False
    margin = indent_of(lines[0])
    column = margin + first.start(2)
    for line in lines:
        if indent_of(line) == margin:
            match = TERM.match(line.strip())
            if match is None or margin + match.start(2) != column or "   " in match.group(2):
                return False
        elif indent_of(line) != column:
            return False
    return True


def terms_of(lines):
    margin, terms = indent_of(lines[0]), []
    for line in lines:
        if indent_of(line) == margin:
            term, text = TERM.match(line.strip()).groups()
            terms.append([term, text])
        else:
            terms[-1][1] += " " + line.strip()
    return terms


def bullets_of(lines):
    texts = []
    for line in lines:
        match = BULLET.match(line)
        if match:
            texts.append(match.group(1))
        else:
            texts[-1] += " " + line.strip()
    return texts


def block_of(lines):
    if BULLET.match(lines[0]):
        return Block("bullets", bullets_of(lines))
    if is_term_list(lines):
        return Block("terms", terms=terms_of(lines))
    if indent_of(lines[0]) >= 2:
        margin = min(indent_of(line) for line in lines)
        return Block("literal", [line[margin:] for line in lines])
    return Block("paragraph", [" ".join(line.strip() for line in lines)])


def same_kind(line, block):
    """Whether a line goes on with the block's lines: bullets and indented text begin blocks of their own."""
    if BULLET.match(block[0]):
        return BULLET.match(line) or indent_of(line) >= 3
    if indent_of(block[0]) >= 2:
        return indent_of(line) >= 2
    if is_term_list(block):
        return True
    return indent_of(line) < 2 and not BULLET.match(line)


def blocks_of(lines):
    blocks, current = [], []
    for line in [*lines, ""]:
        if not line.strip() or (current and not same_kind(line, current)):
            if current:
                blocks.append(current)
            current = []
        if line.strip():
            current.append(line)
    return join_literals([block_of(block) for block in blocks])


def join_literals(blocks):
    """Blank lines within a picture or an example are its own."""
    joined = []
    for block in blocks:
        if joined and block.kind == joined[-1].kind == "literal":
            joined[-1].lines += ["", *block.lines]
        else:
            joined.append(block)
    return joined


def names_of(code):
    """The names that declarations introduce."""
    text = re.sub(r"/\*.*?\*/", "", "\n".join(code))
    text = re.sub(r"\{.*?\}", "", text, flags=re.DOTALL)
    names = re.findall(r"^#define (\w+)", text, re.MULTILINE)
    for declaration in re.sub(r"^#.*$", "", text, flags=re.MULTILINE).split(";"):
        if match := re.search(r"^typedef struct \w+\s+(\w+)\s*$", declaration.strip()):
            names.append(match.group(1))
        elif match := re.search(r"\bROQ_API\b(?:[^(]*?)(\w+)\s*(?:\(|(?:\[[^]]*\])+\s*$|$)", declaration.strip()):
            names.append(match.group(1))
    return names


def is_no_interface(code):
    """Include guards, includes, linkage: what a compiler needs and no reader."""
    return all(re.match(r"#ifndef \w+_H$|#define \w+_H$|#include |#endif|ROQ_EXTERN_C_", line) for line in code)


def pieces_of(text):
    """The comments at the margin, and the code between them in groups without blank lines."""
    comment, code = None, []
    for line in [*text.splitlines(), ""]:
        if comment is not None:
            comment.append(line)
        elif line.startswith("/*"):
            if code:
                yield "code", code
            comment, code = [line], []
        elif line.strip():
            code.append(line)
        elif code:
            yield "code", code
            code = []
        if comment is not None and comment[-1].rstrip().endswith("*/"):
            yield "comment", comment_lines(comment)
            comment = None


def parse(text, name):
    overview, sections, pending = None, [Section("", [])], None
    for kind, lines in pieces_of(text):
        if kind == "comment" and overview is None:
            overview = blocks_of(lines)
        elif kind == "comment" and (rule := RULE.match(lines[0])):
            sections.append(Section(rule.group(1), blocks_of(lines[1:])))
        elif kind == "comment":
            pending = blocks_of(lines)
        elif not is_no_interface(lines):
            sections[-1].entries.append(Entry(pending or [], lines, names_of(lines)))
            pending = None
    return Header(name, overview, [section for section in sections if section.title or section.entries])
