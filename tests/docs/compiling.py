"""Compiles the C code of pages and headers against the built library."""

import os
import re
import subprocess

from pages import ROOT

BUILD = os.environ["ROQ_BUILD"]
COMPILER = os.environ.get("ROQ_CC", "cc")
STRICT = ["-std=c11", "-pedantic", "-Wall", "-Wextra", "-Werror"]

# What fragments may use without saying so.
PREAMBLE = """#define _GNU_SOURCE
#include <arpa/inet.h>
#include <roqmsg.h>
#include <roqutil.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
"""


def is_program(code):
    return re.search(r"^int main\(", code, re.MULTILINE) is not None


def defines_something(code):
    """Whether a fragment stands at file scope: it has a line that begins a function or a record."""
    return re.search(r"^(struct \w+|[a-z][\w ]*\**[ *]\w+\([^;]*\)) \{", code, re.MULTILINE) is not None


def program_of(block):
    """Makes a program of a fragment. Statements become a function that is called."""
    place = f'#line {block.line} "{block.place}"\n'
    if defines_something(block.text):
        return PREAMBLE + place + block.text + "int main(void) { return 0; }\n"
    return (PREAMBLE + "static void example(void) {\n" + place + block.text + "}\n"
            "int main(void) {\n  example();\n  return 0;\n}\n")


def compile_block(block, program):
    """What the compiler complains about, nothing when it made the program."""
    code = block.text if is_program(block.text) else program_of(block)
    result = subprocess.run(
        [COMPILER, *STRICT, f"-I{ROOT}/include", f"-I{ROOT}/platform/msgbus/include", "-x", "c", "-",
         f"-L{BUILD}/lib", "-lroqutil", "-lroqmsg", f"-Wl,-rpath,{BUILD}/lib", "-o", str(program)],
        input=code, stderr=subprocess.PIPE, text=True, timeout=120)
    return "" if result.returncode == 0 else f"{block}: {result.stderr}"
