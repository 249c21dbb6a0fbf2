"""Takes Markdown pages and C headers apart: blocks, links, anchors, examples."""

import dataclasses
import pathlib
import re

ROOT = pathlib.Path(__file__).resolve().parents[2]
EXAMPLES = ROOT / "docs" / "examples"


@dataclasses.dataclass
class Block:
    """A piece of code: of a fenced block, or of a header's comment."""
    place: str     # the file's name, relative to the root
    line: int      # of its first line
    language: str
    text: str

    def __str__(self):
        return f"{self.place}:{self.line}"


@dataclasses.dataclass
class Page:
    path: pathlib.Path
    blocks: list
    prose: list    # (number, text) of the lines outside of blocks
    anchors: set

    @property
    def name(self):
        return str(self.path.relative_to(ROOT)) if self.path.is_relative_to(ROOT) else self.path.name

    def links(self):
        """(line, target) of every link and picture."""
        for number, text in self.prose:
            for target in re.findall(r"\]\(([^()\s]+)\)", re.sub(r"``.*?``|`[^`]*`", "", text)):
                yield number, target


def anchor_of(heading, taken):
    """What a heading is reached by, as the usual hosts of repositories make it."""
    plain = re.sub(r"\[([^]]*)\]\([^)]*\)", r"\1", heading).strip().lower()
    anchor = re.sub(r"[^\w\- ]", "", plain).replace(" ", "-")
    number, first = 0, anchor
    while anchor in taken:
        number += 1
        anchor = f"{first}-{number}"
    return anchor


def page_of(path, text=None):
    blocks, prose, anchors = [], [], set()
    fence = None
    place = str(path.relative_to(ROOT)) if path.is_relative_to(ROOT) else path.name
    for number, line in enumerate((path.read_text() if text is None else text).splitlines(), 1):
        if fence is not None:
            if line.rstrip() == fence:
                fence = None
            else:
                blocks[-1].text += line + "\n"
        elif opening := re.fullmatch(r"(```+)(\w*)\s*", line):
            fence = opening[1]
            blocks.append(Block(place, number + 1, opening[2], ""))
        else:
            if heading := re.match(r"#{1,6} (.*)", line):
                anchors.add(anchor_of(heading[1], anchors))
            prose.append((number, line))
    if fence is not None:
        raise ValueError(f"{place}: a block is left open")
    return Page(path, blocks, prose, anchors)


def all_pages():
    folders = [ROOT, ROOT / "docs", ROOT / "tests", ROOT / "bench"]
    return [page_of(path) for folder in folders for path in sorted(folder.glob("*.md"))]


def guide():
    """The pages whose code is compiled and whose sessions are typed."""
    return [page for page in all_pages() if page.path.parent.name == "docs" or page.path == ROOT / "README.md"]


def headers():
    return sorted([*(ROOT / "include").rglob("*.h"), *(ROOT / "platform" / "msgbus" / "include").glob("*.h")])


def comments_of(text):
    """(first line, lines without the comment's own signs) of every comment of a header."""
    for comment in re.finditer(r"/\*.*?\*/", text, re.DOTALL):
        first = text.count("\n", 0, comment.start()) + 1
        body = comment[0][2:-2].splitlines()
        yield first, [re.sub(r"^ ?\*? ?", "", line) if index else line.strip() for index, line in enumerate(body)]


def is_code(line):
    return line.startswith("  ") or line.strip() == ""


def examples_of(path, text=None):
    """The examples of a header: what is indented behind a paragraph that begins with "Example"."""
    place = str(path.relative_to(ROOT)) if path.is_relative_to(ROOT) else path.name
    for first, lines in comments_of(path.read_text() if text is None else text):
        index = 0
        while index < len(lines):
            if not re.match(r"Example\b", lines[index]):
                index += 1
                continue
            while index < len(lines) and lines[index].strip():
                index += 1
            while index < len(lines) and not lines[index].strip():
                index += 1
            begin = index
            while index < len(lines) and is_code(lines[index]):
                index += 1
            code = "\n".join(line[2:] for line in lines[begin:index]).rstrip()
            yield Block(place, first + begin, "c", code + "\n")


def stray_code_of(path, text=None):
    """Lines of comments that look like statements and belong to no example."""
    text = path.read_text() if text is None else text
    shown = set()
    for block in examples_of(path, text):
        shown.update(range(block.line, block.line + block.text.count("\n")))
    for first, lines in comments_of(text):
        for index, line in enumerate(lines):
            if re.match(r"  .*[;{]$", line) and first + index not in shown:
                yield first + index, line.strip()
