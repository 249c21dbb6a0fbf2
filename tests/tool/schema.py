"""The JSON documents of the tool as docs/tool.md describes them."""

import json
import os
import re

PAGE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "docs", "tool.md")

SCALARS = {
    "text": lambda value: isinstance(value, str),
    "number": lambda value: isinstance(value, int) and not isinstance(value, bool),
    "real": lambda value: isinstance(value, float),
    "boolean": lambda value: isinstance(value, bool),
    "hex": lambda value: isinstance(value, str) and re.fullmatch(r"0x[0-9a-f]{8}", value),
    "digits": lambda value: isinstance(value, str) and re.fullmatch(r"([0-9a-f]{2})*", value),
}


class Node:
    """What may stand in one place of a document, and whether it was ever seen there."""

    def __init__(self):
        self.kind = None      # of SCALARS, "object" or "array"; None: follows from what is below
        self.nullable = False
        self.members = {}
        self.element = None
        self.seen = self.seen_null = False

    def below(self, step):
        if step == "[]":
            self.element = self.element or Node()
            return self.element
        return self.members.setdefault(step, Node())

    def at(self, path):
        node = self
        for step in re.findall(r"\[\]|[^.\[\]]+", path):
            node = node.below(step)
        return node

    def set_type(self, text, page):
        text, self.nullable = re.subn(r" or null$", "", text)
        like = re.fullmatch(r"like (?:`([^`]+)` of )?`roqutil ([^`]+)`", text)
        if like:
            other = page[like[2]].at(like[1] or "")
            self.kind, self.members, self.element = other.kind, other.members, other.element
        elif text == "bytes":
            self.at("text").set_type("text or null", page)
            self.at("hex").set_type("digits", page)
        else:
            assert text in SCALARS or text in ("object", "array"), text
            self.kind = text

    def check(self, value, path=""):
        """Raises AssertionError where the value is not what the page says."""
        where = path or "the document"
        self.seen = True
        if value is None:
            assert self.nullable, f"{where} is null"
            self.seen_null = True
        elif self.members:
            assert isinstance(value, dict), f"{where} is no object: {value!r}"
            assert list(value) == list(self.members), f"{where} has {list(value)}, not {list(self.members)}"
            for name, member in self.members.items():
                member.check(value[name], f"{path}.{name}" if path else name)
        elif self.element:
            assert isinstance(value, list), f"{where} is no array: {value!r}"
            for element in value:
                self.element.check(element, path + "[]")
        else:
            assert SCALARS[self.kind](value), f"{where} is no {self.kind}: {value!r}"

    def never_seen(self, path=""):
        """The places that no document had so far, and the nulls."""
        missing = [] if self.seen else [path]
        if self.nullable and not self.seen_null:
            missing.append(path + " as null")
        for name, member in self.members.items():
            missing += member.never_seen(f"{path}.{name}" if path else name)
        return missing + (self.element.never_seen(path + "[]") if self.element else [])


def read_page():
    with open(PAGE, encoding="utf-8") as file:
        text = file.read()
    page, same, rows = {}, {}, []
    for section in re.split(r"^### ", text, flags=re.MULTILINE)[1:]:
        name = re.match(r"`roqutil ([^`]+)`\n", section)[1]
        page[name] = Node()
        other = re.search(r"^The document of `roqutil ([^`]+)`\.$", section, re.MULTILINE)
        if other:
            same[name] = other[1]
        rows += [(page[name].at(path), kind) for path, kind in re.findall(r"^\| `([^`]+)` \| ([^|]+?) \|", section, re.MULTILINE)]
    # What refers to another section comes when all are read.
    for node, kind in sorted(rows, key=lambda row: row[1].startswith("like ")):
        node.set_type(kind, page)
    page.update({name: page[other] for name, other in same.items()})
    return page, text


DOCUMENTS, TEXT = read_page()


def section_of(words):
    """The section that describes a command's document: its name, that of its whole group, or None."""
    for name in (" ".join(words[:2]), words[0], words[0] + " KIND"):
        if name in DOCUMENTS:
            return name
    return None


def check_output(words, output):
    """Checks the documents in the output of a typed command. The programs that some commands run print in front."""
    name = section_of(words)
    assert name is not None, f"docs/tool.md has no section for the document of {words}"
    # Texts may hold what other functions take for line ends, too.
    lines = output.rstrip("\n").split("\n")
    if name in ("exec", "sh"):
        lines = lines[-1:]
    for line in lines:
        try:
            DOCUMENTS[name].check(json.loads(line))
        except AssertionError as error:
            raise AssertionError(f"roqutil {' '.join(words)} --json: {error}; docs/tool.md says otherwise") from None
