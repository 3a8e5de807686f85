"""Saving while system calls fail, the process is killed or the disk is full: save_test.py SAVER
VORN_TEST_KILLS is how many processes are killed at random."""
import ctypes
import errno
import glob
import itertools
import os
import random
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import unittest

SAVER = os.path.abspath(sys.argv.pop(1))
ROOT = os.geteuid() == 0
NOBODY = 65534 if ROOT else 0
CLONE_NEWNS = 0x20000
MAY_MOUNT = (ROOT and ctypes.CDLL(None).unshare(CLONE_NEWNS) == 0
             and subprocess.call(["mount", "--make-rprivate", "/"]) == 0)
HAS_ACLS = 0 == subprocess.call(
    'f=$(mktemp) && setfacl -m u:1:r "$f"; code=$?; rm "$f"; exit $code', shell=True)
OLD = b"old\n" * 99999
NEW = b"[s]\r\n" + b"".join(b"n" * size + b"\r\n" for size in (65535, 40000, 40000, 9))
ATTRIBUTES = {"user.empty": b"", "user.binary": bytes(range(256)), "user.large": b"l" * 3000}

REFUSED, UNREADABLE, NO_SUCH_CALL = 1, 2, 4
PLANTED, SHORT, REMOVED, KILLED, STOPPED = -2, -3, -4, -signal.SIGKILL, -signal.SIGSTOP
CALLS = ["openat", "flock", "fchmod", "write", "fsync", "close", "renameat"]
FAULTS = [KILLED, SHORT, errno.EINTR, errno.EIO, errno.ENOSPC]
TRACE = """openat link 0 openat aim/ 0 openat aim NEW exclusively 600 flock aim/NEW 0 openat aim . 0
    fchmod aim/NEW 640 close aim/file 0 write aim/NEW 0 write aim/NEW 0 write aim/NEW 0
    write aim/NEW 0 fsync aim/NEW 0 close aim/NEW 0 renameat aim NEW aim file 0 fsync aim 0
    close aim/file 0 close aim 0"""
# Which of the calls may fail: the lock, looking for abandoned files, the mode (in place then), the old
# file's close, the folder's fsync, the lock's close and the folder's.
MAY_FAIL = {"flock": [1], "openat": [4], "fchmod": [1], "close": [1, 3, 4], "fsync": [2]}


def start(prepare=""):
    owner = f"chown -R {NOBODY}:{NOBODY} .; " if ROOT else ""
    subprocess.check_call(f"""umount -q aim file 2>&-; chmod 700 .; rm -rf .vorn* *; set -e
        mkdir aim; yes old | head -n 99999 | tee file >victim; {owner} {prepare}""", shell=True)


def save(path, call="none", n=0, fault=0, user=NOBODY, tool=()):
    return subprocess.run([*tool, SAVER, path, f"{user} {call} {n} {fault}"],
                          stdout=subprocess.PIPE, text=True, restore_signals=False)


def state(path):
    if not os.path.isfile(path):
        return "none"
    with open(path, "rb") as file:
        return {OLD: "old", NEW: "new"}.get(file.read(), "broken")


def temporaries():
    return glob.glob(".vorn*")


def listing():
    """Each file with its mode, number of names, aim as a link, and owner."""
    found = "find . -mindepth 1 -printf '%P %m %n %l\\t%U:%G\\n'"
    return set(subprocess.check_output(found, shell=True, text=True).splitlines())


def outcome(path, *plan, **how):
    """What saving does to the file, what loading finds then, and what else is not as it was."""
    before = listing()
    old = os.stat(path).st_ino if os.path.exists(path) else None
    code = save(path, *plan, **how).returncode
    if code & REFUSED:
        what = "refused"
    elif old is None:
        what = "made"
    else:
        what = "same" if os.stat(path).st_ino == old else "replaced"
    changes = [line.split("\t")[0].strip() for line in listing() - before]
    return " ".join([what, "none" if code & UNREADABLE else state(path), *changes])


def allowed_states(before, call, n, fault):
    """What the file may be after a fault in the n-th of these calls."""
    if fault == KILLED:
        return [before, "new"]
    if fault == SHORT or (fault == errno.EINTR and call != "renameat"):
        return ["new"]
    if (call, fault) == ("fchmod", errno.ENOSPC):
        return [before]
    if call == "close" and before == "none":
        n += 1
    return ["new"] if n in MAY_FAIL.get(call, []) else [before]


class SaveTest(unittest.TestCase):
    def setUp(self):
        os.umask(0o27)
        os.chdir(self.enterContext(tempfile.TemporaryDirectory()))
        self.addCleanup(start)

    def expect_outcomes(self, rows, user=NOBODY):
        for prepare, paths, expected in rows:
            for path in paths:
                with self.subTest(prepare=prepare, path=path):
                    start(prepare)
                    self.assertEqual(outcome(path, user=user), expected)

    def sweep(self, before, call, fault):
        for n in itertools.count(1):
            start("rm file" if before == "none" else "")
            code = save("file", call, n, fault).returncode
            if code >= NO_SUCH_CALL:
                self.assertEqual(state("file"), "new")
                return n - 1
            self.assertIn(state("file"), allowed_states(before, call, n, fault), (before, call, n, fault))
            self.assertLessEqual(len(temporaries()), code < 0)

    def test_any_fault_leaves_the_old_file_or_the_new(self):
        rows = itertools.product(("old", "none"), CALLS, FAULTS)
        faults = sum(self.sweep(*row) for row in rows if row[1] == "write" or row[2] != SHORT)
        print(faults, "faults: the old file or the new one")
        self.assertGreater(faults, 100)

    def test_calls_come_in_this_order(self):
        start("mv file aim; ln -s file aim/chain; ln -s aim/chain link")
        traces = [save("link").stdout.replace(os.getcwd() + "/", "") for _ in range(2)]
        self.assertNotEqual(*traces)
        named = re.sub("[.]vorn-[0-9a-f]{16}-[0-9a-f]{16}", "NEW", traces[0])
        self.assertEqual(named.split(), TRACE.split())

    def test_written_in_place_only_where_no_file_may_be_made(self):
        for error, n in itertools.product(("EACCES", "EPERM", "EROFS", "ENOSPC", "EMFILE"), (2, 3)):
            start()
            expected = "refused old" if error in ("ENOSPC", "EMFILE") else "same new"
            self.assertEqual(outcome("file", "openat", n, getattr(errno, error)), expected, error)

    def test_links_and_modes(self):
        self.expect_outcomes([
            ("chmod 600 file", ["file"], "replaced new"),
            ("chmod 751 file; ln -s file a; ln -s $PWD/a aim/b", ["aim/b", "a"], "replaced new"),
            ("ln -s aim/new link", ["link"], "made new aim/new 640 1"),
            ("ln file aim/twin", ["file"], "same new"),
            ("chmod 555 .", ["file"], "same new"),
            ("", ["/dev/null"], "same none"),
            ("chmod 444 file", ["file"], "refused old"),
            ("chmod 555 aim; ln -s loop loop; mkfifo -m 666 pipe",
             ["aim/new", "loop", "pipe", "aim", "aim/", "missing/x", "file/x", ""], "refused none")])

    @unittest.skipUnless(HAS_ACLS, "no access lists here")
    def test_access_lists(self):
        self.expect_outcomes([
            ("setfacl -m u:1:rw file", ["file"], "same new"),
            ("cp -p file aim; setfacl -d -m u:1:rw aim", ["aim/file"], "same new")])

    @unittest.skipUnless(ROOT, "takes root")
    def test_owners(self):
        self.expect_outcomes([
            ("chown 0 file; chgrp 0 victim; chmod 666 *", ["file", "victim"], "same new")])
        self.expect_outcomes([
            ("chmod 444 file", ["file"], "replaced new"),
            ("chown 7:8 file; chmod 7751 file", ["file"], "replaced new")], user=0)

    @unittest.skipUnless(MAY_MOUNT, "mounts are not permitted")
    def test_mounts(self):
        self.expect_outcomes([
            ("mount --bind file file", ["file"], "same new"),
            ("mount -t tmpfs -o size=500k none aim; cp file aim", ["aim/file"], "same old")], user=0)

    def test_a_file_that_may_not_grow_keeps_its_old_bytes(self):
        start()
        self.assertEqual(outcome("file", tool=["prlimit", "--fsize=100000"]), "same old")

    def test_a_planted_link_is_not_followed(self):
        start()
        self.assertRegex(outcome("file", "openat", 3, PLANTED), "^replaced new [.]vorn.* victim$")
        self.assertEqual(state("victim"), "old")

    # A full disk refuses; in place it would take the old bytes too.
    def test_user_attributes_stay_with_the_file(self):
        rows = [("replaced new", "chmod 640 file", ()), ("same none", "chmod 200 file", ()),
                ("refused old", "", ("fsetxattr", 2, errno.ENOSPC)),
                ("refused old", "", ("fsetxattr", 3, errno.EDQUOT)),
                ("same new", "", ("fsetxattr", 1, errno.EIO)),
                ("same new", "", ("fsetxattr", 2, errno.ENOTSUP))]
        for expected, prepare, plan in rows:
            with self.subTest(prepare=prepare, plan=plan):
                start(prepare)
                try:
                    for name, value in ATTRIBUTES.items():
                        os.setxattr("file", name, value)
                except OSError as error:
                    self.assertEqual(error.errno, errno.ENOTSUP)
                    self.skipTest("no user attributes here")
                self.assertEqual(outcome("file", *plan), expected)
                found = {name: os.getxattr("file", name) for name in os.listxattr("file")}
                self.assertEqual(found, ATTRIBUTES)

    def test_a_kill_at_any_moment_leaves_a_whole_file(self):
        start()
        kills = int(os.environ.get("VORN_TEST_KILLS", 100))
        for _ in range(kills):
            with self.assertRaises(subprocess.TimeoutExpired):
                subprocess.run([SAVER, "file", f"{NOBODY} forever"],
                               stdout=subprocess.DEVNULL, timeout=random.uniform(0.002, 0.02))
            self.assertIn(state("file"), ("old", "new"))
        print(f"{kills} kills: {len(temporaries())} temporary files left")
        self.assertEqual(save("file").returncode, 0)
        self.assertEqual(temporaries(), [])

    def left_by(self, path, call, fault):
        """The temporary file of a process that a call stops or kills, and the process."""
        before = set(temporaries())
        process = subprocess.Popen([SAVER, path, f"{NOBODY} {call} 1 {fault}"], stdout=subprocess.DEVNULL)
        self.addCleanup(process.kill)
        os.waitid(os.P_PID, process.pid, os.WEXITED | os.WSTOPPED | os.WNOWAIT)
        if fault == KILLED:
            process.wait()
        [name] = set(temporaries()) - before
        return name, process

    def test_the_next_save_removes_what_nobody_writes(self):
        start()
        writing, writer = self.left_by("file", "write", STOPPED)
        renaming, renamer = self.left_by("file", "renameat", STOPPED)
        of_another, _ = self.left_by("victim", "write", KILLED)
        for call in "flock", "write", "renameat":
            abandoned, _ = self.left_by("file", call, KILLED)
        link, pipe = abandoned[:-8] + "00000001", abandoned[:-8] + "00000002"
        os.symlink("victim", link)
        os.mkfifo(pipe)
        longer, shorter, no_number = abandoned + "x", abandoned[:-1], abandoned[:-1] + "x"
        for name in longer, shorter, no_number:
            shutil.copy(abandoned, name)
            os.chmod(name, 0o777)
        kept = [of_another, link, pipe, longer, shorter, no_number]
        self.assertEqual(save("file").returncode, 0)
        self.assertCountEqual(temporaries(), [*kept, writing, renaming])
        for process in writer, renamer:
            process.send_signal(signal.SIGCONT)
            self.assertEqual(process.wait(), 0)
        self.assertCountEqual(temporaries(), kept)

    def test_a_file_that_another_save_takes_for_abandoned_is_made_again(self):
        for fault in REMOVED, errno.EWOULDBLOCK:
            start()
            made = save("file", "flock", 1, fault).stdout.count(" exclusively ")
            self.assertEqual((made, state("file"), temporaries()), (2, "new", []), fault)


unittest.main()
