"""Whether what a page names is there: files, anchors, presets, options, names of the library."""

import json
import re
import subprocess

from pages import ROOT, headers, page_of

PRESETS = {preset["name"] for preset in json.loads((ROOT / "CMakePresets.json").read_text())["configurePresets"]}
CACHE_NAMES = set(re.findall(r"\bROQ_\w+", (ROOT / "cmake" / "options.cmake").read_text()))
ANY_LIBRARY_NAME = re.compile(r"\bROQ_\w*\w")


def broken_links(page):
    for line, target in page.links():
        place, _, anchor = target.partition("#")
        if re.match(r"[a-z]+:", place):
            if not place.startswith("https:"):
                yield f"{page.name}:{line}: {target}: only https: leads outside"
            continue
        path = (page.path.parent / place).resolve()
        if place and not path.exists():
            yield f"{page.name}:{line}: {target}: no such file"
        elif anchor and (place and path.suffix != ".md" or anchor not in (page_of(path) if place else page).anchors):
            yield f"{page.name}:{line}: {target}: no such heading"


def wrong_commands(block):
    """Of commands that are not typed: their syntax, and the files, presets and options that they name."""
    syntax = subprocess.run(["bash", "-n"], input=block.text, capture_output=True, text=True)
    if syntax.returncode != 0:
        yield f"{block}: {syntax.stderr}"
    for name in re.findall(r"--preset[ =](\w+)", block.text):
        if name not in PRESETS:
            yield f"{block}: there is no preset {name}"
    for name in re.findall(r"-D(ROQ_\w+)", block.text):
        if name not in CACHE_NAMES:
            yield f"{block}: there is no option {name}"
    for path in re.findall(r"(?<![\w/.$-])((?:\./|tools/|tests/|bench/|docs/|cmake/|include/)[\w./-]*)", block.text):
        if not (ROOT / path).exists():
            yield f"{block}: there is no {path}"


def library_names():
    """Every name that the sources, the build and the scripts know."""
    tracked = subprocess.run(["git", "-C", str(ROOT), "ls-files", "--cached", "--others", "--exclude-standard"],
                             capture_output=True, text=True, check=True).stdout.splitlines()
    names = set()
    for path in tracked:
        if not path.startswith(("docs/", "tests/docs/")) and not path.endswith(".md") and "corpus" not in path:
            names.update(ANY_LIBRARY_NAME.findall((ROOT / path).read_text(errors="replace")))
    return names


def exported_functions():
    """Function and the comment in front of it."""
    for header in headers():
        if header.name == "roqmsg.h":
            continue
        text = header.read_text()
        for declaration in re.finditer(r"/\*((?:[^*]|\*(?!/))*)\*/\nROQ_API [^;]*?(\w+)\(", text):
            yield declaration[2], declaration[1]
