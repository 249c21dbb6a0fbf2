"""The guide is kept true: code compiles, programs print what is shown, links and names lead somewhere."""

import concurrent.futures
import os
import pathlib
import re
import subprocess
import tempfile
import unittest
import xml.etree.ElementTree

import compiling
import pages
import references
import sessions

BUILD = pathlib.Path(compiling.BUILD)


def in_parallel(work, items):
    # More than there are processors, since some of the work is waiting.
    with concurrent.futures.ThreadPoolExecutor(2 * os.cpu_count()) as pool:
        return list(pool.map(work, items))


def compile_all(blocks, folder):
    """The programs that became of the blocks, and what the compiler complained about."""
    programs = [folder / f"program-{index}" for index in range(len(blocks))]
    return programs, in_parallel(lambda pair: compiling.compile_block(*pair), zip(blocks, programs))


class DocsTest(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.guide = pages.guide()

    def setUp(self):
        # Not in the default folder for temporary files: the sandbox may hide it.
        folder = tempfile.TemporaryDirectory(dir=BUILD, prefix="docs-")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def blocks(self, language):
        return [block for page in self.guide for block in page.blocks if block.language == language]

    def nothing_of(self, complaints):
        complaints = [complaint for complaint in complaints if complaint]
        if complaints:
            self.fail("\n" + "\n".join(complaints))


class Programs(DocsTest):
    def test_shown_on_pages_are_the_files_of_the_examples(self):
        files = {path.read_text(): path.name for path in pages.EXAMPLES.glob("*.c")}
        shown = [block for block in self.blocks("c") if compiling.is_program(block.text)]
        self.nothing_of(f"{block}: is no file of docs/examples" for block in shown if block.text not in files)
        self.assertEqual(sorted(files[block.text] for block in shown), sorted(files.values()))

    def test_of_the_examples_are_all_run_in_a_session(self):
        typed = "".join(block.text for block in self.blocks("console"))
        for path in sorted(pages.EXAMPLES.glob("*.c")):
            self.assertRegex(typed, rf"docs/examples/run {path.stem}\n|docs/examples/{path.name} ")

    def test_that_are_fragments_of_pages_compile(self):
        fragments = [block for block in self.blocks("c") if not compiling.is_program(block.text)]
        self.nothing_of(compile_all(fragments, self.folder)[1])

    def test_in_headers_compile_and_run(self):
        examples = [block for header in pages.headers() for block in pages.examples_of(header)]
        self.assertGreaterEqual(len(examples), 9)
        programs, complaints = compile_all(examples, self.folder)
        self.nothing_of(complaints)
        script = "".join(f"timeout 60 {program} </dev/null >/dev/null || echo '{block}: ended with' $?\n"
                         for block, program in zip(examples, programs))
        run = subprocess.run([str(pages.ROOT / "tools/gateway/sandbox"), "--", "sh", "-c", script],
                             stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True, timeout=200)
        self.assertEqual(run.returncode, 0)
        self.nothing_of(run.stdout.splitlines())

    def test_in_headers_all_stand_behind_the_word_example(self):
        self.nothing_of(f"{header.name}:{line}: {code}" for header in pages.headers()
                        for line, code in pages.stray_code_of(header))


class Sessions(DocsTest):
    def test_show_what_their_commands_print(self):
        checkout = self.folder / "checkout"
        sessions.checkout(checkout, BUILD)
        of_pages = [[session for block in page.blocks if block.language == "console"
                     for session in sessions.sessions_of(block)] for page in self.guide]
        self.assertGreaterEqual(sum(map(len, of_pages)), 20)
        complaints = in_parallel(lambda typed: sessions.type_sessions(typed, checkout, BUILD), filter(None, of_pages))
        self.nothing_of(complaint for of_page in complaints for complaint in of_page)

    def test_that_take_long_name_only_what_is_there(self):
        self.nothing_of(complaint for block in self.blocks("sh") for complaint in references.wrong_commands(block))

    def test_of_the_target_show_the_bytes_of_the_pc_in_reverse(self):
        page = next(page for page in self.guide if page.path.name == "formats.md")
        shown = {language: [line for block in page.blocks if block.language == language
                            for line in block.text.splitlines()] for language in ("console", "text")}
        field = re.compile(r" *(\d+)  ((?:[0-9a-f]{2} )+) +([0-9a-f]+  .+)")
        here = {match[1]: match for match in map(field.fullmatch, shown["console"]) if match}
        self.assertGreaterEqual(len(shown["text"]), 6)
        for line in shown["text"]:
            if match := field.fullmatch(line):
                self.assertEqual(match[3], here[match[1]][3])
                self.assertEqual(match[2].split(), here[match[1]][2].split()[::-1])
            else:
                self.assertIn(line, shown["console"])  # texts lie in one order everywhere


class Links(DocsTest):
    def test_lead_to_files_and_headings(self):
        self.nothing_of(complaint for page in pages.all_pages() for complaint in references.broken_links(page))

    def test_reach_every_page_of_the_guide_from_its_index(self):
        index = next(page for page in self.guide if page.path == pages.ROOT / "docs" / "README.md")
        linked = {target for _, target in index.links()}
        for page in self.guide:
            if page.path.parent == index.path.parent and page.path != index.path:
                self.assertIn(page.path.name, linked)

    def test_show_every_picture_and_pictures_say_what_they_are(self):
        linked = {(page.path.parent / target).resolve() for page in self.guide for _, target in page.links()}
        for path in sorted((pages.ROOT / "docs" / "pictures").iterdir()):
            self.assertIn(path, linked)
            picture = xml.etree.ElementTree.parse(path).getroot()
            self.assertTrue(picture.findtext("{http://www.w3.org/2000/svg}title"), path.name)


class Names(DocsTest):
    def test_of_the_library_are_spelt_right(self):
        known = references.library_names()
        for page in pages.all_pages():
            self.nothing_of(f"{page.name}: {name}" for name in references.ANY_LIBRARY_NAME.findall(page.path.read_text())
                            if name not in known)

    def test_of_all_functions_are_on_a_page_of_the_guide(self):
        told = "".join(page.path.read_text() for page in self.guide if page.path.name != "surprises.md")
        functions = list(references.exported_functions())
        self.assertGreater(len(functions), 90)
        self.nothing_of(name for name, _ in functions if not re.search(rf"\b{name}\b", told))

    def test_of_functions_with_a_hazard_are_among_the_surprises(self):
        told = (pages.ROOT / "docs" / "surprises.md").read_text()
        hazardous = [name for name, comment in references.exported_functions() if "HAZARD" in comment]
        self.assertGreater(len(hazardous), 10)
        self.nothing_of(name for name in hazardous if not re.search(rf"\b{name}\b", told))


if __name__ == "__main__":
    unittest.main()
