"""Types the sessions of a page in a sandbox and compares what is printed with what is shown."""

import os
import re
import subprocess

from pages import ROOT

MARK = "==== end of command"


class Session:
    """A command of a console block and what the page shows of it."""

    def __init__(self, block, line, command):
        self.block, self.line, self.command, self.shown = block, line, command, ""

    def __str__(self):
        return f"{self.block.place}:{self.line}: {self.command}"


def sessions_of(block):
    found = []
    for number, line in enumerate(block.text.splitlines(), block.line):
        if found and not found[-1].shown and found[-1].command.endswith("\\"):
            found[-1].command += "\n" + line
        elif line.startswith("$ "):
            found.append(Session(block, number, line[2:]))
        elif found:
            found[-1].shown += line + "\n"
        else:
            raise ValueError(f"{block}: a session begins with '$ '")
    return found


def agrees(shown, printed):
    """Whether a page may show this: "..." stands for anything, also for several lines where it stands alone."""
    # With the line end that a line of its own has, so that it may stand for nothing at all.
    pattern = "".join(r"(?:.*\n)*?" if line == "..." else re.escape(line).replace(r"\.\.\.", ".*?") + r"[ ]*\n"
                      for line in shown.splitlines())
    return re.fullmatch(pattern, "".join(line.rstrip() + "\n" for line in printed.splitlines())) is not None


def checkout(folder, build):
    """A folder that looks like a checkout whose release build is the given one."""
    folder.mkdir(parents=True)
    for entry in ROOT.iterdir():
        if entry.name not in ("build", ".git"):
            (folder / entry.name).symlink_to(entry)
    (folder / "build").mkdir()
    (folder / "build" / "release").symlink_to(build)


def type_sessions(sessions, folder, build):
    """What is wrong with the sessions of one page, typed one after the other by one shell in a sandbox of its own."""
    script = "".join(f"{{ {session.command}\n}} </dev/null; printf '\\n{MARK} %d\\n' $?\n" for session in sessions)
    result = subprocess.run(
        [str(ROOT / "tools" / "gateway" / "sandbox"), "--", "bash", "-c", script], cwd=folder, timeout=200,
        stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
        env={**os.environ, "PATH": f"{build}/bin:{os.environ['PATH']}", "LC_ALL": "C.UTF-8", "PWD": str(folder)})
    pieces = re.split(rf"\n{MARK} (\d+)\n", result.stdout.decode("utf-8", "replace"))
    complaints = []
    for index, session in enumerate(sessions):
        if 2 * index + 1 >= len(pieces):
            complaints.append(f"{session}\nwas not reached; the shell said:\n{pieces[-1]}")
            break
        printed, code = pieces[2 * index], int(pieces[2 * index + 1])
        if code != 0:
            complaints.append(f"{session}\nended with {code} and printed:\n{printed}")
        elif not agrees(session.shown, printed):
            complaints.append(f"{session}\nprinted:\n{printed}\nbut is shown as:\n{session.shown}")
    return complaints
