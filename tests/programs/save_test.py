# Saving while system calls fail, the process is killed or the disk is full: save_test.py SAVER
# VORN_TEST_KILLS is how many processes are killed at random.
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
APART = (ROOT and ctypes.CDLL(None).unshare(0x20000) == 0
         and subprocess.call(["mount", "--make-rprivate", "/"]) == 0)
ACLS = 0 == subprocess.call(
    'f=$(mktemp) && setfacl -m u:1:r "$f"; code=$?; rm "$f"; exit $code', shell=True)
OLD = b"old\n" * 99999
NEW = b"[s]\r\n" + b"".join(b"n" * size + b"\r\n" for size in (65535, 40000, 40000, 9))
PLANTED, SHORT, REMOVED, KILLED, STOPPED = -2, -3, -4, -signal.SIGKILL, -signal.SIGSTOP
CALLS = "openat", "flock", "fchmod", "write", "fsync", "close", "renameat"
FAULTS = KILLED, SHORT, errno.EINTR, errno.EIO, errno.ENOSPC
# What may fail: the lock, looking for abandoned files, the mode (in place then, but for want of room),
# the old file's close, the folder's fsync, the lock's close and the folder's.
MAY_FAIL = (("flock", 1), ("openat", 4), ("fchmod", 1), ("close", 1), ("fsync", 2), ("close", 3),
            ("close", 4))
TRACE = """openat link 0 openat aim/ 0 openat aim NEW exclusively 600 flock aim/NEW 0 openat aim . 0
    fchmod aim/NEW 640 close aim/file 0 write aim/NEW 0 write aim/NEW 0 write aim/NEW 0
    write aim/NEW 0 fsync aim/NEW 0 close aim/NEW 0 renameat aim NEW aim file 0 fsync aim 0
    close aim/file 0 close aim 0"""
# What is prepared, what is saved to, what comes of it, and whether root itself saves. The last five
# take root, the last two mounts.
ROWS = [
    ("chmod 600 file", ["file"], "replaced new", False),
    ("chmod 751 file; ln -s file a; ln -s $PWD/a aim/b", ["aim/b", "a"], "replaced new", False),
    ("ln -s aim/new link", ["link"], "made new aim/new 640 1", False),
    ("ln file aim/twin", ["file"], "same new", False),
    ("chmod 555 .", ["file"], "same new", False),
    ("", ["/dev/null"], "same none", False),
    ("chmod 444 file", ["file"], "refused old", False),
    ("chmod 555 aim; ln -s loop loop; mkfifo -m 666 pipe",
     ["aim/new", "loop", "pipe", "aim", "aim/", "missing/x", "file/x", ""], "refused none", False),
    ("chown 0 file; chgrp 0 victim; chmod 666 *", ["file", "victim"], "same new", False),
    ("chmod 444 file", ["file"], "replaced new", True),
    ("chown 7:8 file; chmod 7751 file", ["file"], "replaced new", True),
    ("mount --bind file file", ["file"], "same new", True),
    ("mount -t tmpfs -o size=500k none aim; cp file aim", ["aim/file"], "same old", True)]


ACL_ROWS = [("setfacl -m u:1:rw file", ["file"], "same new", False),
            ("cp -p file aim; setfacl -d -m u:1:rw aim", ["aim/file"], "same new", False)]


# Large ones are in a block of their own.
ATTRIBUTES = {"user.empty": b"", "user.binary": bytes(range(256)), "user.large": b"l" * 3000}


def attach():
    try:
        for name, value in ATTRIBUTES.items():
            os.setxattr("file", name, value)
    except OSError as error:
        if error.errno != errno.ENOTSUP:
            raise
        raise unittest.SkipTest("no user attributes here")


def attributes(path):
    return {name: os.getxattr(path, name) for name in os.listxattr(path)}


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


# Each file with its mode, number of names, aim as a link, and owner.
def listing():
    found = "find . -mindepth 1 -printf '%P %m %n %l\\t%U:%G\\n'"
    return set(subprocess.check_output(found, shell=True, text=True).splitlines())


# What saving does to the file, what loading finds then, and what else is not as it was.
def outcome(path, *plan, **how):
    before, old = listing(), os.path.exists(path) and os.stat(path).st_ino
    code = save(path, *plan, **how).returncode
    what = ("refused" if code & 1 else "made" if not old
            else "same" if os.stat(path).st_ino == old else "replaced")
    changes = [line.split("\t")[0].strip() for line in listing() - before]
    return " ".join([what, "none" if code & 2 else state(path), *changes])


class SaveTest(unittest.TestCase):
    def setUp(self):
        os.umask(0o27)
        os.chdir(self.enterContext(tempfile.TemporaryDirectory()))
        self.addCleanup(start)

    def sweep(self, before, call, fault):
        harmless = fault == SHORT or fault == errno.EINTR and call != "renameat"
        for n in itertools.count(1):
            start("rm file" if before == "none" else "")
            code = save("file", call, n, fault).returncode
            may_fail = (fault > 0 and (call, fault) != ("fchmod", errno.ENOSPC)
                        and (call, n + (call == "close" and before == "none")) in MAY_FAIL)
            states = (["new"] if harmless or may_fail or code >= 4
                      else [before] if fault > 0 else [before, "new"])
            self.assertIn(state("file"), states, (before, call, n, fault))
            self.assertLessEqual(len(glob.glob(".vorn*")), code < 0)
            if code >= 4:
                return n - 1

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

    def test_links_modes_owners_and_full_disks(self):
        print("mounts:", "included" if APART else "left out, since they are not permitted")
        for prepare, paths, expected, as_root in ACL_ROWS * ACLS + ROWS[:8 + 3 * ROOT + 2 * APART]:
            for path in paths:
                start(prepare)
                found = outcome(path, user=0 if as_root else NOBODY)
                self.assertEqual(found, expected, (prepare, path))
        start()
        self.assertEqual(outcome("file", tool=["prlimit", "--fsize=100000"]), "same old")
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
                attach()
                self.assertEqual(outcome("file", *plan), expected)
                self.assertEqual(attributes("file"), ATTRIBUTES)

    def test_a_kill_at_any_moment_leaves_a_whole_file(self):
        start()
        kills = int(os.environ.get("VORN_TEST_KILLS", 100))
        for _ in range(kills):
            with self.assertRaises(subprocess.TimeoutExpired):
                subprocess.run([SAVER, "file", f"{NOBODY} forever"],
                               stdout=subprocess.DEVNULL, timeout=random.uniform(0.002, 0.02))
            self.assertIn(state("file"), ("old", "new"))
        print(f"{kills} kills: {len(glob.glob('.vorn*'))} temporary files left")
        self.assertEqual(save("file").returncode, 0)
        self.assertEqual(glob.glob(".vorn*"), [])

    def test_the_next_save_removes_what_nobody_writes(self):
        def left_by(path, call, fault):
            before = set(glob.glob(".vorn*"))
            process = subprocess.Popen([SAVER, path, f"{NOBODY} {call} 1 {fault}"],
                                       stdout=subprocess.DEVNULL)
            self.addCleanup(process.kill)
            state = os.waitid(os.P_PID, process.pid, os.WEXITED | os.WSTOPPED | os.WNOWAIT)
            if state.si_code != os.CLD_STOPPED:
                process.wait()
            [name] = set(glob.glob(".vorn*")) - before
            return name, process

        start()
        writing, writer = left_by("file", "write", STOPPED)
        renaming, renamer = left_by("file", "renameat", STOPPED)
        abandoned = [left_by("file", call, KILLED)[0] for call in ("flock", "write", "renameat")]
        kept = [left_by("victim", "write", KILLED)[0], writing, renaming]
        kept += [abandoned[-1] + "0", abandoned[-1][:-1], abandoned[-1][:-1] + "x"]
        for name in kept[3:]:
            shutil.copy(abandoned[-1], name)
        for make in (os.mkdir, os.mkfifo, lambda name: os.symlink("victim", name)):
            kept.append(f"{abandoned[-1][:-8]}{len(kept):08x}")
            make(kept[-1])
        for name in kept[3:-1]:
            os.chmod(name, 0o777)
        self.assertEqual(save("file").returncode, 0)
        self.assertEqual(sorted(glob.glob(".vorn*")), sorted(kept))
        for process in writer, renamer:
            process.send_signal(signal.SIGCONT)
            self.assertEqual(process.wait(), 0)
        self.assertEqual(sorted(glob.glob(".vorn*")), sorted(set(kept) - {writing, renaming}))

    def test_a_file_that_another_save_takes_for_abandoned_is_made_again(self):
        for fault in REMOVED, errno.EWOULDBLOCK:
            start()
            self.assertEqual(outcome("file", "flock", 1, fault), "replaced new", fault)


unittest.main()
