#!/usr/bin/env python3
"""The recipes and the packages' files name options, files, licence and version that exist."""

import hashlib
import pathlib
import re
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
PACKAGING = ROOT / "packaging"
BUILDROOT = PACKAGING / "buildroot/package/roqutil"
LAYER = PACKAGING / "yocto/meta-roqutil"
RECIPE = next((LAYER / "recipes-support/roqutil").glob("*.bb"))
VERSION = re.search(r"^project\(roqutil VERSION (\S+)", (ROOT / "CMakeLists.txt").read_text(), re.MULTILINE)[1]
OPTIONS = (ROOT / "cmake/options.cmake").read_text()


def options_in(path):
    return re.findall(r"-D([A-Z_]+)=(\S*)", path.read_text())


class Recipes(unittest.TestCase):
    def test_name_options_that_the_build_has(self):
        known = set(re.findall(r"^(?:option|set)\((ROQ_[A-Z_]+) ", OPTIONS, re.MULTILINE))
        for path in (BUILDROOT / "roqutil.mk", RECIPE, PACKAGING / "debian/rules"):
            named = {name for name, _ in options_in(path) if name.startswith("ROQ_")}
            self.assertTrue(named, path)
            self.assertEqual(named - known, set(), path)

    def test_set_the_socket_mark_to_values_that_the_build_takes(self):
        taken = re.search(r"ROQ_QOS_MARK MATCHES \"\^\((\S+)\)\$\"", OPTIONS)[1].split("|")
        self.assertIn(re.search(r'^ROQ_QOS_MARK \?= "(\S+)"', RECIPE.read_text(), re.MULTILINE)[1], taken)
        chosen = re.search(r"ROQ_QOS_MARK=\$\(if \S+,(\S+),(\S+)\)", (BUILDROOT / "roqutil.mk").read_text()).groups()
        self.assertEqual(sorted(chosen), sorted(taken))

    def test_have_the_version_of_the_project(self):
        self.assertIn(f"ROQUTIL_VERSION = {VERSION}\n", (BUILDROOT / "roqutil.mk").read_text())
        self.assertEqual(RECIPE.name, f"roqutil_{VERSION}.bb")
        self.assertRegex((PACKAGING / "debian/changelog").read_text(), rf"^roqutil \({re.escape(VERSION)}\) ")

    def test_know_the_licence_by_its_hash(self):
        licence = (ROOT / "LICENSE").read_bytes()
        self.assertIn(f"sha256  {hashlib.sha256(licence).hexdigest()}  LICENSE\n", (BUILDROOT / "roqutil.hash").read_text())
        self.assertIn(f'"file://LICENSE;md5={hashlib.md5(licence).hexdigest()}"', RECIPE.read_text())

    def test_find_the_checkout_from_where_they_lie(self):
        steps = re.search(r"d\.getVar\('THISDIR'\) \+ '/([./]+)'", RECIPE.read_text())[1]
        self.assertEqual((RECIPE.parent / steps).resolve(), ROOT)
        steps = re.search(r"\$\(BR2_EXTERNAL_ROQUTIL_PATH\)/([./]+)\)", (BUILDROOT / "roqutil.mk").read_text())[1]
        self.assertEqual((PACKAGING / "buildroot" / steps).resolve(), ROOT)

    def test_include_files_of_their_trees_that_exist(self):
        source = re.search(r'source "\$BR2_EXTERNAL_ROQUTIL_PATH/(\S+)"', (PACKAGING / "buildroot/Config.in").read_text())[1]
        self.assertTrue((PACKAGING / "buildroot" / source).is_file())
        self.assertIn("name: ROQUTIL\n", (PACKAGING / "buildroot/external.desc").read_text())
        pattern = re.search(r'BBFILES \+= "\$\{LAYERDIR\}/(\S+)"', (LAYER / "conf/layer.conf").read_text())[1]
        self.assertEqual(list(LAYER.glob(pattern)), [RECIPE])

    def test_use_the_configuration_symbols_that_they_define(self):
        defined = set(re.findall(r"^config (\S+)", (BUILDROOT / "Config.in").read_text(), re.MULTILINE))
        used = set(re.findall(r"BR2_PACKAGE_ROQUTIL\w+", (BUILDROOT / "roqutil.mk").read_text()))
        self.assertEqual(used, defined - {"BR2_PACKAGE_ROQUTIL"})


if __name__ == "__main__":
    unittest.main()
