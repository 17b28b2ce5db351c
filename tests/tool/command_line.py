"""Runs kyv-ms as a user does: exit codes, what goes to which stream, files that it writes."""

import contextlib
import gzip
import json
import os
import pty
import stat
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree as ElementTree

TOOL = sys.argv.pop(1)


def run(*arguments, stdin=None):
    done = subprocess.run([TOOL, *map(str, arguments)], input=stdin, capture_output=True, timeout=120)
    return done.returncode, done.stdout, done.stderr.decode()


def on_terminal(*arguments):
    """What the tool writes to its standard error where that is a terminal."""
    own, tools = pty.openpty()
    with subprocess.Popen([TOOL, *map(str, arguments)], stdout=subprocess.DEVNULL, stderr=tools):
        os.close(tools)
        shown = b""
        with contextlib.suppress(OSError):  # how Linux says that nobody writes any more
            while read := os.read(own, 4096):
                shown += read
    os.close(own)
    return shown.decode()


class CommandLineTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="kyv-ms-test-")
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def path(self, name):
        return os.path.join(self.folder, name)

    def write(self, name, content):
        with open(self.path(name), "wb") as file:
            file.write(content)
        return self.path(name)

    def simulated(self, name="run.mzML", *arguments, spectra=13):
        code, _, error = run("simulate", self.path(name), "--spectra", spectra, "--quiet", *arguments)
        self.assertEqual((code, error), (0, ""))
        return self.path(name)


class UsageTest(CommandLineTest):
    def test_help_and_version_succeed(self):
        for arguments in (["--help"], ["--version"], ["survey", "--help"], ["simulate", "--help"], ["bytes", "compress", "--help"]):
            code, output, error = run(*arguments)
            self.assertEqual((code, error), (0, ""), arguments)
            self.assertTrue(output)
        self.assertRegex(run("--version")[1].decode(), r"^kyv-ms \d+\.\d+\.\d+\n$")
        for command in ("survey", "simulate"):
            self.assertIn("Examples:", run(command, "--help")[1].decode())

    def test_wrong_arguments_are_usage(self):
        for arguments in (
            [],
            ["nonsense"],
            ["survey"],
            ["survey", "--nonsense", "a"],
            ["survey", "--repeat", "0", "a"],
            ["simulate"],
            ["simulate", "a", "--kind", "nonsense"],
            ["simulate", "a", "--seed", "-1"],
            ["simulate", "a", "--seed", "18446744073709551616"],
            ["simulate", "a", "--seed", ""],
            ["simulate", ""],
            ["survey", ""],
            ["bytes", "compress", "", "a"],
            ["simulate", "a", "--spectra", "many"],
            ["bytes"],
            ["bytes", "nonsense"],
            ["bytes", "compress", "--nonsense"],
        ):
            code, output, error = run(*arguments)
            self.assertEqual((code, output), (2, b""), arguments)
            self.assertTrue(error, arguments)


class SimulateTest(CommandLineTest):
    def content(self, path):
        with open(path, "rb") as file:
            return file.read()

    def test_same_seed_same_bytes(self):
        one = self.content(self.simulated())
        self.assertEqual(self.content(self.simulated()), one)
        self.assertNotEqual(self.content(self.simulated("run.mzML", "--seed", 2)), one)

    def test_streams_and_devices_stay_what_they_are(self):
        file = self.content(self.simulated("-.mzML"))
        code, output, error = run("simulate", "-", "--spectra", 13)
        self.assertEqual((code, output), (0, file))
        self.assertRegex(error, r"^standard output: 13 spectra, .* seed 1\n$")

        pipe = self.path("-")
        os.mkfifo(pipe)
        with open(self.path("copy"), "wb") as copy, subprocess.Popen(["cat", pipe], stdout=copy):
            self.assertEqual(run("simulate", pipe, "--spectra", 13, "--quiet"), (0, b"", ""))
        self.assertEqual(self.content(self.path("copy")), file)
        self.assertTrue(stat.S_ISFIFO(os.stat(pipe).st_mode))

        code, _, error = run("simulate", "/dev/full")
        self.assertEqual((code, error), (5, "kyv-ms: /dev/full: No space left on device\n"))
        self.assertTrue(stat.S_ISCHR(os.stat("/dev/full").st_mode))

    def test_any_name_gives_a_sound_run(self):
        path = self.simulated("a\x01<&>\"b.mzML")
        code, _, error = run("survey", path)
        self.assertEqual((code, error), (0, ""))

    def test_a_failure_leaves_no_file(self):
        code, _, error = run("simulate", self.path("missing/run.mzML"))
        self.assertEqual(code, 5)
        self.assertEqual(error.count("\n"), 1)
        self.assertEqual(os.listdir(self.folder), [])

    def test_zlib_holds_the_same_spectra(self):
        plain = json.loads(run("survey", "--json", self.simulated("a.mzML"))[1])["files"][0]
        packed = json.loads(run("survey", "--json", self.simulated("b.mzML", "--zlib"))[1])["files"][0]
        self.assertEqual(plain["points"], packed["points"])
        self.assertLess(packed["fileBytes"], plain["fileBytes"])
        self.assertEqual(packed["arrayFormats"], {"32-bit float, zlib": 13, "64-bit float, zlib": 13})


class SurveyTest(CommandLineTest):
    def test_one_run(self):
        code, output, error = run("survey", self.simulated())
        self.assertEqual((code, error), (0, ""))
        self.assertIn("13 spectra", output.decode())
        self.assertIn("planar_double_float_bit_compressed_v1", output.decode())

    def test_gzip(self):
        with open(self.simulated(), "rb") as file:
            path = self.write("run.mzML.gz", gzip.compress(file.read()))
        self.assertEqual(run("survey", path)[0], 0)

    def test_exit_codes(self):
        good = self.simulated()
        corrupt = self.write("corrupt.mzML", b"<mzML><run></mzML>")
        missing = self.path("missing.mzML")
        for arguments, expected in (
            ([good], 0),
            ([corrupt], 3),
            ([missing], 5),
            ([self.folder], 5),
            ([good, corrupt], 1),
            ([missing, good], 1),
            ([corrupt, corrupt], 3),
            ([missing, missing], 5),
            ([missing, corrupt], 3),
        ):
            code, output, error = run("survey", "--quiet", *arguments)
            self.assertEqual(code, expected, arguments)
            self.assertEqual(error.count("\n"), sum(a != good for a in arguments))
            self.assertEqual(b"13 spectra" in output, good in arguments)

    def test_a_refusal_names_file_byte_and_reason(self):
        for name, content, expected in (
            ("a.mzML", b"<mzML><run></mzML>", "byte 13: XML: mismatched tag"),
            ("b.imzML", b'<mzML><cvParam accession="IMS:1000030"/></mzML>',
             "byte 6: imzML is not supported: its arrays are in a separate file"),
            ("c.mzData", b"<mzData></mzData>", "byte 0: mzData is not supported, only mzML"),
            ("d.mzXML", b"<mzXML></mzXML>", "byte 0: mzXML is not supported, only mzML"),
            ("e.mzML", b"<!DOCTYPE mzML><mzML></mzML>", "byte 0: a DOCTYPE is not accepted"),
            ("f.mzML", b"", "byte 0: the file is empty"),
        ):
            path = self.write(name, content)
            code, output, error = run("survey", path)
            self.assertEqual((code, output), (3, b""))
            self.assertEqual(error, f"kyv-ms: {path}: {expected}\n")

    def test_names_from_files_do_not_steer_the_terminal(self):
        path = self.write("a.mzML", b'<mzML><run><spectrum id="&#10;&#x9b;31m" defaultArrayLength="3"/></run></mzML>')
        code, output, _ = run("survey", path)
        self.assertEqual(code, 0)
        self.assertIn("no m/z array\n      (  31m)", output.decode())

    def test_unknown_compressions_are_counted_and_named(self):
        array = '<binaryDataArray><cvParam accession="MS:%d" name="%s"/><cvParam accession="MS:1002312" name="MS-Numpress linear prediction compression"/><binary/></binaryDataArray>'
        spectrum = '<spectrum id="scan=4" defaultArrayLength="3">' + array % (1000514, "m/z array") + array % (1000515, "intensity array") + "</spectrum>"
        path = self.write("a.mzML", f"<mzML><run>{spectrum}</run></mzML>".encode())
        code, output, error = run("survey", path)
        self.assertEqual((code, error), (0, ""))
        self.assertIn("MS-Numpress linear prediction compression (2)", output.decode())
        file = json.loads(run("survey", "--json", path)[1])["files"][0]
        self.assertEqual(file["unknownCompressions"], {"MS-Numpress linear prediction compression": 2})
        self.assertEqual(file["notSurveyed"][0]["byteOffset"], 11)

    def test_chromatograms_only(self):
        path = self.write("a.mzML", b'<mzML><run><chromatogramList><chromatogram id="TIC"/></chromatogramList></run></mzML>')
        code, output, error = run("survey", path)
        self.assertEqual((code, error), (0, ""))
        self.assertIn("0 spectra, 0 points", output.decode())

    def test_json_has_the_documented_keys(self):
        code, output, _ = run("survey", "--json", self.simulated(), self.path("missing"))
        self.assertEqual(code, 1)
        report = json.loads(output)
        self.assertEqual(set(report), {"version", "tool", "files"})
        file, missing = report["files"]
        with open(os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../docs/kyv-ms.md")) as page:
            documented = page.read()
        keys = set(file) | set(missing) | set(missing["failure"])
        for row in file["methods"] + file["intensities"] + file["contents"]:
            keys |= set(row)
        for key in keys:
            self.assertIn(f"`{key}`", documented)
        self.assertEqual(missing["failure"]["kind"], "io")
        self.assertEqual([len(file[rows]) for rows in ("methods", "intensities", "contents")], [3, 2, 3])
        self.assertEqual(file["intensities"][0]["exactSpectra"], 13)
        self.assertEqual(file["contents"][0]["exactPieces"], 1)

    def test_plot_is_a_drawing_of_its_own(self):
        plot = self.path("plot.svg")
        code, _, error = run("survey", "--plot", plot, self.simulated())
        self.assertEqual((code, error), (0, ""))
        root = ElementTree.parse(plot).getroot()
        self.assertEqual(root.tag, "{http://www.w3.org/2000/svg}svg")
        self.assertNotIn("{http://www.w3.org/2000/svg}script", {element.tag for element in root.iter()})
        code, _, error = run("survey", "--plot", self.path("missing/plot.svg"), self.simulated())
        self.assertEqual((code, error.count("\n")), (5, 1))

    def test_no_progress_unless_on_a_terminal(self):
        self.assertEqual(run("survey", self.simulated())[2], "")

    def test_progress_on_a_terminal_is_wiped_at_the_end(self):
        file = self.simulated("long.mzML", spectra=30)
        shown = on_terminal("survey", file)
        self.assertRegex(shown, r"\[[#.]{24}\] +\d+ %  ")
        self.assertTrue(shown.endswith("\r\x1b[K"))
        self.assertEqual(on_terminal("survey", "--no-progress", file), "")

    def test_a_full_output_is_a_failure(self):
        with open("/dev/full", "wb") as full:
            done = subprocess.run([TOOL, "survey", self.simulated()], stdout=full, stderr=subprocess.PIPE)
        self.assertEqual(done.returncode, 5)

    def test_names_with_blanks_and_letters_of_any_language(self):
        path = self.simulated("l\u00e4uft \u8d28\u8c31.mzML")
        code, output, error = run("survey", path)
        self.assertEqual((code, error), (0, ""))
        self.assertIn(path, output.decode())


class BytesTest(CommandLineTest):
    def test_files_come_back(self):
        for content in (b"", b"a", b"abc" * 100000, os.urandom(50000), b"x" * (5 << 20)):
            original = self.write("original", content)
            packed, restored = self.path("packed"), self.path("restored")
            for verify in ([], ["--verify"]):
                self.assertEqual(run("bytes", "compress", original, packed, "--quiet", *verify), (0, b"", ""))
            self.assertEqual(run("bytes", "decompress", packed, restored, "--quiet"), (0, b"", ""))
            with open(restored, "rb") as file:
                self.assertEqual(file.read(), content)

    def test_streams_come_back(self):
        code, packed, error = run("bytes", "compress", stdin=b"abc" * 1000)
        self.assertEqual(code, 0)
        self.assertIn("standard input: 3.00 kB in 1 block", error)
        self.assertEqual(run("bytes", "decompress", "--quiet", stdin=packed), (0, b"abc" * 1000, ""))

    def test_a_file_may_replace_itself(self):
        path = self.write("file", b"abc" * 1000)
        self.assertEqual(run("bytes", "compress", path, path, "--quiet")[0], 0)
        self.assertLess(os.path.getsize(path), 300)
        self.assertEqual(run("bytes", "decompress", path, path, "--quiet")[0], 0)
        self.assertEqual(os.path.getsize(path), 3000)

    def test_verify_writes_nothing(self):
        packed = self.path("packed")
        run("bytes", "compress", self.write("file", b"abc" * 1000), packed)
        code, output, error = run("bytes", "decompress", "--verify", packed)
        self.assertEqual((code, output), (0, b""))
        self.assertIn("3.00 kB in 1 block", error)

    def test_damage_is_reported_and_not_passed_on(self):
        packed = self.path("packed")
        run("bytes", "compress", self.write("file", b"abc" * 1000), packed)
        with open(packed, "r+b") as file:
            file.seek(22)
            file.write(b"\xff\xff")
        kept = self.write("kept", b"as before")
        for arguments in ([packed, kept], ["--verify", packed], [packed, "-"]):
            code, output, error = run("bytes", "decompress", *arguments)
            self.assertEqual((code, output), (3, b""))
            self.assertEqual(error, f"kyv-ms: {packed}: byte 8: block 0 is damaged: its checksum does not agree\n")
        with open(kept, "rb") as file:
            self.assertEqual(file.read(), b"as before")

    def test_missing_and_unwritable_files(self):
        there = self.write("there", b"a")
        self.assertEqual(run("bytes", "compress", self.path("missing"), self.path("out"))[0], 5)
        self.assertEqual(run("bytes", "compress", there, self.path("missing/out"))[0], 5)
        self.assertEqual(run("bytes", "compress", there, self.folder)[0], 5)
        full = "kyv-ms: /dev/full: cannot write: No space left on device\n"
        large = self.write("large", os.urandom(5 << 20))
        self.assertEqual(run("bytes", "compress", large, "/dev/full")[::2], (5, full))
        self.assertEqual(run("bytes", "compress", large, large, "--quiet")[0], 0)
        self.assertEqual(run("bytes", "decompress", large, "/dev/full")[::2], (5, full))
        os.remove(large)
        self.assertEqual(sorted(os.listdir(self.folder)), ["there"])


if __name__ == "__main__":
    unittest.main(verbosity=2)
