"""Runs vorn-ini as a shell does. Usage: vorn_ini_test.py VORN_INI"""
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

TOOL = sys.argv.pop(1)
DONE, NOT_FOUND, USAGE, FAILED = range(4)


def run(*arguments, text="", stdout=subprocess.PIPE):
    done = subprocess.run([TOOL, *arguments], input=text.encode(), stdout=stdout,
                          stderr=subprocess.PIPE, check=False)
    return done.returncode, (done.stdout or b"").decode(), done.stderr.decode()


class VornIni(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.file = self.folder / "studio.ini"
        self.file.write_bytes(b"Version = 1\n; a = b\n\n[Video]\nWidth = 1920\nwidth = 2\n[Empty]\n")

    def expect(self, code, output, *arguments, text=""):
        found, printed, error = run(*arguments, text=text)
        self.assertEqual((found, printed), (code, output), f"{arguments}: {error}")
        return error

    def test_shows_what_is_there(self):
        file = str(self.file)
        for code, output, *arguments in [
                (DONE, "2\n", "--case-sensitive", "get", file, "Video", "width"),
                (DONE, "1\n", "get", file, "", "Version"),
                (DONE, "8\n", "get", file, "Video", "Depth", "--default", "8"),
                (DONE, "Version=1\n[Video]\nWidth=1920\n[Empty]\n", "list", file),
                (DONE, "Version=1\n", "list", file, ""),
                (DONE, "\nVideo\nEmpty\n", "sections", file)]:
            self.expect(code, output, *arguments)

    def test_types_are_checked_and_written_alike(self):
        for kind, value, written in [("bool", "Yes", "true"), ("int", "+5", "5"), ("float", "5e-1", "0.5")]:
            self.expect(DONE, f"{written}\n", "get", "-", "", "k", "--type", kind, text=f"k={value}")
            self.expect(DONE, f"k={written}\n", "set", "-", "", "k", value, "--type", kind)
        for kind, value in [("bool", "2"), ("int", "5 px"), ("float", "1,5")]:
            self.expect(NOT_FOUND, "", "get", "-", "", "k", "--type", kind, text=f"k={value}")
            self.expect(USAGE, "", "set", "-", "", "k", value, "--type", kind)

    def test_a_change_touches_its_line_alone(self):
        before = self.file.read_text()
        self.expect(DONE, "", "set", str(self.file), "VIDEO", "Width", "3840")
        self.assertEqual(self.file.read_text(), before.replace("1920", "3840"))
        self.expect(DONE, "", "set", str(self.file), "Video", "Offset", "-5")
        self.expect(DONE, "", "unset", str(self.file), "Video", "offset")
        self.expect(DONE, "", "unset", str(self.file), "Empty")
        self.assertEqual(self.file.read_text(),
                         before.replace("1920", "3840").replace("[Empty]\n", ""))
        self.expect(NOT_FOUND, "", "unset", str(self.file), "Empty")

    def test_creates_a_file_and_filters_standard_input(self):
        new = self.folder / "new.ini"
        self.expect(DONE, "", "set", str(new), "A", "x", "1")
        self.assertEqual(new.read_text(), "[A]\nx=1\n")
        self.expect(DONE, "[A]\n", "unset", "-", "A", "x", text="[A]\nx = 1\n")

    def test_says_what_failed_and_why(self):
        file, missing = str(self.file), str(self.folder / "none" / "x.ini")
        for code, reason, *arguments in [
                (FAILED, f"{missing}: No such file or directory", "get", missing, "a", "b"),
                (FAILED, f"{missing}: {self.folder}/none: No such file", "set", missing, "a", "b", "c"),
                (FAILED, f"{self.folder}: Is a directory", "set", str(self.folder), "a", "b", "c"),
                (NOT_FOUND, f"{file}: [a] b: not found", "get", file, "a", "b"),
                (NOT_FOUND, f"{file}: b: not found", "unset", file, "", "b"),
                (NOT_FOUND, f"{file}: [a]: not found", "list", file, "a"),
                (NOT_FOUND, f'{file}: [Video] Width: "1920" is not of type bool', "get", file, "Video", "Width",
                 "--type", "bool"),
                (USAGE, "KEY is required", "get", file, "a"),
                (USAGE, "text not in {bool,int,float}", "get", file, "Video", "Width", "--type", "text"),
                (USAGE, f'{file}: [a] b: "c" is not of type int', "set", file, "a", "b", "c", "--type", "int"),
                (USAGE, f"{file}: [a] b: ", "set", file, "a", "b", "c\nd"),
                (USAGE, "A subcommand is required", "change", file)]:
            self.assertIn(reason, self.expect(code, "", *arguments))

    @unittest.skipUnless(os.path.exists("/dev/full"), "needs /dev/full")
    def test_output_that_cannot_be_written_is_a_failure(self):
        with open("/dev/full", "w") as full:
            for command in ["get", "-", "", "k"], ["list", "-"], ["set", "-", "", "k", "2"], ["--help"]:
                code, _, error = run(*command, text="k=1", stdout=full)
                self.assertEqual(code, FAILED, command)
                self.assertIn("standard output: No space left on device", error)

    def test_changes_at_the_same_time_all_stay(self):
        link = self.folder / "link.ini"
        link.symlink_to(self.file)
        for attempt in range(5):
            keys = [f"key{attempt}{n}" for n in range(8)]
            running = [subprocess.Popen([TOOL, "set", str([self.file, link][n % 2]), "Shared", key, key])
                       for n, key in enumerate(keys)]
            self.assertEqual([process.wait() for process in running], [DONE] * 8)
            _, listed, _ = run("list", str(self.file), "Shared")
            self.assertLessEqual({f"{key}={key}" for key in keys}, set(listed.splitlines()))

    def test_a_killed_process_leaves_no_lock(self):
        pipe = self.folder / "pipe"
        os.mkfifo(pipe)
        holder = subprocess.Popen([TOOL, "set", str(pipe), "A", "k", "1"])  # Waits with the lock.
        self.addCleanup(holder.kill)
        another = [TOOL, "set", str(self.file), "A", "k", "2"]
        with self.assertRaises(subprocess.TimeoutExpired):
            for _ in range(100):
                subprocess.call(another, timeout=2)
        holder.kill()
        holder.wait()
        self.assertEqual(subprocess.call(another, timeout=60), DONE)
        self.assertEqual({path.name for path in self.folder.iterdir()}, {"studio.ini", "pipe"})

    def test_version(self):
        self.assertRegex(run("--version")[1], r"^vorn-ini \d+\.\d+\.\d+\.\d+\n$")


unittest.main()
