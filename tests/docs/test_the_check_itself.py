"""The check of the guide sees what is wrong: each of its parts is given something broken."""

import pathlib
import tempfile
import unittest

import compiling
import pages
import references
import sessions

BUILD = pathlib.Path(compiling.BUILD)


def console(text):
    return sessions.sessions_of(pages.Block("page.md", 1, "console", text))


class TheCheck(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(dir=BUILD, prefix="docs-")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def page(self, text):
        return pages.page_of(self.folder / "page.md", text)

    def complaints_about(self, text):
        checkout = self.folder / "checkout"
        sessions.checkout(checkout, BUILD)
        return sessions.type_sessions(console(text), checkout, BUILD)

    def test_sees_output_that_differs(self):
        complaints = self.complaints_about("$ roqutil cidr 255.0.0.0\n9\n$ echo good\ngood\n$ echo surplus\n")
        self.assertEqual(len(complaints), 2)
        self.assertIn("page.md:1: roqutil cidr", complaints[0])
        self.assertIn("surplus", complaints[1])

    def test_sees_commands_that_fail_or_end_the_shell(self):
        complaints = self.complaints_about("$ false\n$ exit 0\n$ echo never\nnever\n")
        self.assertEqual(len(complaints), 2)
        self.assertIn("ended with 1", complaints[0])
        self.assertIn("was not reached", complaints[1])

    def test_takes_dots_for_anything_but_a_difference(self):
        self.assertTrue(sessions.agrees("a\n...\nz\n", "a\nb\nc\nz\n"))
        self.assertTrue(sessions.agrees("pid ...\n", "pid 17\n"))
        self.assertTrue(sessions.agrees("...\n", ""))
        self.assertFalse(sessions.agrees("a\n...\nz\n", "a\nb\n"))
        self.assertFalse(sessions.agrees("pid ...\n", "pid 17\nmore\n"))
        self.assertFalse(sessions.agrees("", "something\n"))
        self.assertFalse(sessions.agrees("a.b\n", "axb\n"))

    def test_sees_code_that_does_not_compile(self):
        for code in ("int i = ROQ_UTIL_NoSuchFunction();\n", "uint32_t unused;\n", "int twice(int i) {\n  return j;\n}\n",
                     "#include <roqutil.h>\nint main(void) { return ROQ_UTIL_GVarAttach(); }\n"):
            block = pages.Block("page.md", 7, "c", code)
            self.assertIn("page.md:7", compiling.compile_block(block, self.folder / "program"))

    def test_finds_the_examples_of_headers(self):
        header = ("/*\n * Does it. Example, of two words:\n *\n * Example: how to.\n *\n *   call(1);\n *\n *   call(2);\n"
                  " *\n * More.\n *\n *   stray(3);\n */\nvoid call(int);\n")
        path = pathlib.Path("header.h")
        self.assertEqual([(block.line, block.text) for block in pages.examples_of(path, header)],
                         [(6, "call(1);\n\ncall(2);\n")])
        self.assertEqual(list(pages.stray_code_of(path, header)), [(12, "stray(3);")])

    def test_sees_links_that_lead_nowhere(self):
        page = self.page("# A heading\n[a](#a-heading) [b](#no-heading) [c](nothing.md) `[d](code.md)`\n"
                         "[e](http://example.net)\n```\n[f](block.md)\n```\n")
        self.assertEqual([complaint.split(": ")[1] for complaint in references.broken_links(page)],
                         ["#no-heading", "nothing.md", "http://example.net"])

    def test_tells_headings_of_one_text_apart(self):
        self.assertEqual(self.page("# What? `Now`\n## What? Now\n").anchors, {"what-now", "what-now-1"})

    def test_sees_commands_that_name_what_is_not_there(self):
        block = pages.Block("page.md", 1, "sh", "cmake --preset spaceship -DROQ_COLOUR=red\ntools/gateway/castle -- ls (\n")
        self.assertEqual(len(list(references.wrong_commands(block))), 4)


if __name__ == "__main__":
    unittest.main()
