#!/usr/bin/env python3
"""The reference manual of a build: nothing is missing in it, and the programs that print it have no complaint."""
import os
import pathlib
import re
import subprocess
import sys
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = TOOL = None


def exported_names():
    text = re.sub(r"/\*.*?\*/", "", (ROOT / "src" / "exports.map").read_text(), flags=re.DOTALL)
    names = re.search(r"global:(.*?)local:", text, re.DOTALL).group(1)
    return set(re.findall(r"\w+", names))


def run(*command, **options):
    return subprocess.run([str(word) for word in command], capture_output=True, text=True, timeout=120, **options)


def rendered(page):
    # Overstruck letters and line breaks are the terminal's.
    shown = run("mandoc", "-T", "ascii", page).stdout
    return re.sub(r"\s+", " ", re.sub(r".\x08", "", shown))


class ManPages(unittest.TestCase):
    def pages(self):
        return sorted((BUILD / "share" / "man").glob("man[13]/*.[13]"))

    def test_have_no_complaint_of_the_formatter(self):
        pages = [page for page in self.pages() if not page.is_symlink()]
        self.assertEqual(len(pages), 9, pages)
        checked = run("mandoc", "-T", "lint", *pages)
        self.assertEqual((checked.returncode, checked.stdout + checked.stderr), (0, ""))

    def test_exist_for_every_exported_name(self):
        there = {page.stem for page in self.pages()}
        self.assertGreater(len(exported_names()), 80)
        self.assertEqual(exported_names() - there, set())
        for page in self.pages():
            self.assertTrue(page.exists(), f"{page} leads nowhere")

    def test_tell_of_the_name_they_are_called_by(self):
        for page in self.pages():
            if page.is_symlink():
                self.assertTrue(page.stem in rendered(page), page.stem)

    def test_of_the_tool_tell_of_every_command_and_option(self):
        page = rendered(BUILD / "share" / "man" / "man1" / "roqutil.1")
        top = run(TOOL, "--help").stdout
        groups = re.search(r"\nGroups:\n(.*?)\n\n", top, re.DOTALL).group(1)
        for group in re.findall(r"^  (\S+)", groups, re.MULTILINE):
            inner = re.search(r"\nCommands:\n(.*?)\n\n", run(TOOL, group, "--help").stdout, re.DOTALL).group(1)
            for command in re.findall(r"^  (\S+)", inner, re.MULTILINE):
                self.assertTrue(f" {group} {command} " in page, f"{group} {command}")
                options = re.findall(r"^  .{4}(--\S+)", run(TOOL, group, command, "--help").stdout, re.MULTILINE)
                self.assertIn("--help", options)
                for option in options:
                    self.assertTrue(option == "--help" or option in page, f"{group} {command} {option}")

    def test_keep_code_as_it_is_written(self):
        page = rendered(BUILD / "share" / "man" / "man3" / "roqutil-process.3")
        self.assertTrue('ROQ_UTIL_ParseArgs("ping -c 3 \'my host\' 2>>/var/log/ping", &argv, NULL, &plan)' in page)


class HtmlPages(unittest.TestCase):
    def test_are_made_without_a_warning_and_tell_of_every_exported_name(self):
        made = run("cmake", "--build", BUILD, "--target", "reference", env=dict(os.environ, CLICOLOR="0"))
        self.assertEqual(made.returncode, 0, made.stdout + made.stderr)
        self.assertNotIn("warning:", made.stdout + made.stderr)
        pages = "".join(page.read_text() for page in (BUILD / "docs" / "reference" / "html").glob("*_8h.html"))
        documented = set(re.findall(r'class="memname">[^<]*?(?:<[^>]*>[^<]*?)*?(\w+)\s*(?:\[[^]]*\])*\s*</td>', pages))
        self.assertEqual(exported_names() - documented, set())


if __name__ == "__main__":
    BUILD, TOOL = pathlib.Path(sys.argv.pop(1)), pathlib.Path(sys.argv.pop(1))
    unittest.main()
