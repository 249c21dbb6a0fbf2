#!/usr/bin/env python3
"""Installing what is missing, with recording stand-ins for the machine's tools."""

import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

SETUP = pathlib.Path(__file__).resolve().parents[2] / "tools" / "setup"

LIST = """
# comment
shell     sh
folder    /usr/b*n
absent    no-such-command-here
gone      /no/such/file*
extra     no-such-extra-here      optional
"""


class InstallPackages(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="set up ")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.script = shutil.copy(SETUP / "install-packages", self.folder)
        (self.folder / "packages-test").write_text(LIST)
        self.log = self.folder / "log"
        self.log.touch()
        self.tools = self.folder / "tools"
        self.tools.mkdir()
        self.tool("id", "echo 0")

    def tool(self, name, text):
        (self.tools / name).write_text(f"#!/bin/sh\n{text}\n")
        (self.tools / name).chmod(0o755)

    def install(self, *arguments):
        environment = dict(os.environ, PATH=f"{self.tools}:{os.environ['PATH']}", LOG=str(self.log), TOOLS=str(self.tools))
        return subprocess.run([self.script, *arguments], capture_output=True, text=True, env=environment,
                              stdin=subprocess.DEVNULL, timeout=60)

    def test_does_nothing_when_all_is_there(self):
        (self.folder / "packages-test").write_text("shell sh\n")
        self.tool("apt-get", "echo called >>$LOG")
        result = self.install("test")
        self.assertEqual((result.returncode, result.stdout, result.stderr, self.log.read_text()), (0, "", "", ""))

    def test_says_what_is_missing_and_how_to_get_it(self):
        self.tool("apt-get", 'echo "$@" >>$LOG')
        result = self.install("test")
        self.assertEqual(result.returncode, 1)
        self.assertEqual(result.stderr, "Missing packages: absent gone\n"
                                        "Install them as root: apt-get install absent gone\n")

    def test_installs_without_questions(self):
        self.tool("apt-get", 'echo "$DEBIAN_FRONTEND $@" >>$LOG')
        self.install("test")
        options = "noninteractive -y -q -o Dpkg::Use-Pty=0 -o DPkg::Lock::Timeout=300"
        self.assertEqual(self.log.read_text().splitlines(),
                         [f"{options} update", f"{options} install --no-install-recommends absent gone",
                          f"{options} install --no-install-recommends extra"])

    def test_is_content_when_only_optional_packages_cannot_be_had(self):
        (self.folder / "packages-test").write_text("new new-command\nextra no-such-extra-here optional\n")
        self.tool("apt-get", 'case "$*" in *install*new) printf "#!/bin/sh\\n" >"$TOOLS/new-command"; '
                             'chmod +x "$TOOLS/new-command";; *extra) exit 100;; esac')
        result = self.install("test")
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertIn("not to be had, and not needed: extra", result.stdout)

    def test_uses_sudo_for_a_plain_user(self):
        self.tool("id", "echo 1000")
        self.tool("sudo", '[ "$1" != -n ] || exit 0; echo sudo "$@" >>$LOG')
        self.install("test")
        self.assertTrue(all(line.startswith("sudo env DEBIAN_FRONTEND=noninteractive apt-get")
                            for line in self.log.read_text().splitlines()))
        self.assertNotEqual(self.log.read_text(), "")

    def test_tries_nothing_as_a_plain_user_who_would_be_asked_for_a_password(self):
        self.tool("id", "echo 1000")
        self.tool("sudo", "exit 1")
        self.tool("apt-get", "echo called >>$LOG")
        result = self.install("test")
        self.assertEqual((result.returncode, self.log.read_text()), (1, ""))
        self.assertIn("apt-get install absent gone", result.stderr)

    def test_dry_run_only_says(self):
        self.tool("apt-get", "echo called >>$LOG")
        result = self.install("--dry-run", "test")
        self.assertEqual((result.returncode, result.stdout),
                         (1, "missing: absent gone\nmissing, not needed: extra\n"))
        self.assertEqual(self.log.read_text(), "")

    def test_of_an_unknown_list_is_wrong_use(self):
        self.assertEqual(self.install("unknown").returncode, 2)
        self.assertEqual(self.install().returncode, 2)

    def test_lists_of_this_project_are_well_formed(self):
        for path in SETUP.glob("packages-*"):
            for line in path.read_text().splitlines():
                fields = line.split()
                if fields and not line.startswith("#"):
                    self.assertIn(len(fields), (2, 3), line)
                    self.assertEqual(fields[2:], ["optional"][:len(fields) - 2], line)


if __name__ == "__main__":
    unittest.main()
