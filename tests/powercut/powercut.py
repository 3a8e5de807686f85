# Cuts the power of a machine that saves files, and looks what is on its disks then:
# powercut.py FOLDER CUTS, with the kernel and initrd in FOLDER.
#
# A machine's disks are served here (NBD), which records each write and flush, and what the machine
# had told to be saved by then. Then disks are made as they would be after a cut at any of these
# requests: what was flushed is on them; what was not is there, or lost, or lost in part, sector by
# sector. Other machines mount and judge them. A record itself ends with a kill.
import collections
import concurrent.futures
import contextlib
import mmap
import os
import random
import re
import shutil
import signal
import socket
import struct
import subprocess
import sys
import threading
import time

FOLDER, CUTS = sys.argv[1], int(sys.argv[2])
# Noisy is ext4 that does not put the file on the disk because it is renamed, while another process
# has what it writes put there.
WAYS = [f"{system}:{way}" for system in ("ext4", "noisy", "xfs", "btrfs")
        for way in ("ini", "set", "tool")]
CONTROLS = ["noisy:rename-without-fsync", "noisy:truncate-and-write", "noisy:truncate-and-fsync",
            "ext4:no-fsync-of-folder"]
DISKS = WAYS + CONTROLS
SECTOR = 4096  # A disk writes it whole; ext4 and btrfs cannot mount part of a superblock.
RECORDED, DEADLINE, AT_ONCE, TRIES = 30, 180, 24, 3  # seconds, seconds, disks of a boot, boots
WRITE, DISCONNECT, FLUSH = 1, 2, 3

Request = collections.namedtuple("Request", "saved offset data")  # No data: a flush.


def base(disk):
    return f"{FOLDER}/{disk}.img"


# The machine's disks, and what it tells to be saved: a byte with the disk's number for each version.
class Recorder:
    def __init__(self):
        self.logs = [[] for _ in DISKS]
        self.counts = [0] * (1 + len(DISKS))  # The first is of no disk.
        self.lock = threading.Lock()
        with open(f"{FOLDER}/told", "wb"):
            self.told = open(f"{FOLDER}/told", "rb", buffering=0)

    def drive(self, i):
        path = f"{FOLDER}/disk{i}.socket"
        if os.path.exists(path):
            os.remove(path)
        server = socket.socket(socket.AF_UNIX)
        server.bind(path)
        server.listen(1)
        threading.Thread(target=self.serve_until_killed, args=(i, server), daemon=True).start()
        return f"driver=nbd,server.type=unix,server.path={path}"

    def saved(self, i):
        with self.lock:
            for number in self.told.read():
                self.counts[number] += 1
            return self.counts[1 + i]

    def serve_until_killed(self, i, server):
        with contextlib.suppress(ConnectionError):
            self.serve(i, server)

    def serve(self, i, server):
        with open(base(DISKS[i]), "rb") as file:
            image = mmap.mmap(file.fileno(), 0, access=mmap.ACCESS_COPY)
        connection = server.accept()[0]
        stream = connection.makefile("rb")
        connection.sendall(struct.pack(">8sQQI124x", b"NBDMAGIC", 0x00420281861253, len(image), 5))
        while head := stream.read(28):
            _, _, kind, handle, offset, size = struct.unpack(">IHH8sQI", head)
            reply = struct.pack(">II8s", 0x67446698, 0, handle)
            if kind == WRITE:
                data = stream.read(size)
                image[offset:offset + size] = data
                self.logs[i].append(Request(self.saved(i), offset, data))
            elif kind == FLUSH:
                self.logs[i].append(Request(self.saved(i), 0, None))
            elif kind == DISCONNECT:
                return
            else:
                reply += image[offset:offset + size]
            connection.sendall(reply)


def machine(task, disks, drives):
    command = ["qemu-system-x86_64", "-M", "q35", "-cpu", "qemu64", "-m", "400", "-accel", "tcg",
               "-nodefaults", "-display", "none", "-no-reboot", "-serial", "stdio",
               "-debugcon", f"file:{FOLDER}/told" if task == "record" else "null",
               "-kernel", f"{FOLDER}/kernel", "-initrd", f"{FOLDER}/initrd", "-append",
               "console=ttyS0 quiet panic=-1 rdinit=/bin/init mitigations=off "
               f"task={task} disks={','.join(disks)}",
               "-smp", "2" if task == "record" else "1"]
    for i, drive in enumerate(drives):
        command += ["-blockdev", f"{drive},node-name=d{i}", "-device", f"virtio-blk,drive=d{i}"]
    return subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE)


def record():
    recorder = Recorder()
    process = machine("record", DISKS, [recorder.drive(i) for i in range(len(DISKS))])
    end = time.monotonic() + DEADLINE
    while min(recorder.counts[1:]) < 2 and process.poll() is None and time.monotonic() < end:
        time.sleep(0.1)
        recorder.saved(0)
    time.sleep(RECORDED + random.random())
    process.send_signal(signal.SIGKILL)
    said = process.communicate()[0].decode(errors="replace")
    if min(recorder.counts[1:]) < 2 or "@" in said:
        sys.exit(f"the machine did not save: {recorder.counts}\n{said}")
    return recorder.logs


# The disk as it is after a cut before request `at`, always the same one for the same arguments.
def make(path, disk, log, at, kind):
    lots = random.Random(at)
    subprocess.check_call(["cp", "--sparse=always", base(disk), path])
    flushed = max((n for n in range(at) if log[n].data is None), default=0)
    with open(path, "r+b") as image:
        for n, (_, offset, data) in enumerate(log[:at]):
            for start in range(0, len(data or b""), SECTOR):
                if n < flushed or kind == "kept" or kind == "torn" and lots.random() < 0.5:
                    image.seek(offset + start)
                    image.write(data[start:start + SECTOR])


# What a machine says to each of the disks, by its number: versions and numbers of temporary files.
def judge(name, cuts):
    folder = f"{FOLDER}/{name}"
    for _ in range(TRIES):
        os.makedirs(folder, exist_ok=True)
        for i, (disk, log, at, kind) in enumerate(cuts):
            make(f"{folder}/{i}", disk, log, at, kind)
        process = machine("judge", [cut[0] for cut in cuts],
                          [f"driver=file,filename={folder}/{i}" for i in range(len(cuts))])
        try:
            said = process.communicate(timeout=DEADLINE)[0].decode(errors="replace")
        except subprocess.TimeoutExpired:
            process.kill()
            said = process.communicate()[0].decode(errors="replace")
        shutil.rmtree(folder)
        found = dict(re.findall(r"@ (\d+),(.*)", said))
        if len(found) == len(cuts):
            return [found[str(i + 1)].split(",") for i in range(len(cuts))]
    sys.exit(f"{TRIES} machines did not judge {[cut[0] for cut in cuts]}\n{said}")


# The version, if the file is whole.
def version_in(versions):
    whole = re.fullmatch(r" ?4000 (\d+) ?", versions)
    return whole and int(whole[1])


for disk in DISKS:  # Each with an identity of its own.
    system = disk.split(":")[0].replace("noisy", "ext4")
    subprocess.check_call(["truncate", "-s", "320M", base(disk)])
    subprocess.check_call([f"mkfs.{system}", "-q", base(disk)], stdout=subprocess.DEVNULL)
records = [record() for _ in range(1 + CUTS // 50)]
cuts = []
for disk, *logs in zip(DISKS, *records):
    cuts += [(disk, log, len(log), "kept") for log in logs]  # by the kill
    for n in range(CUTS if disk in WAYS else 20):
        log = logs[n % len(logs)]
        first = next(n for n, request in enumerate(log) if request.saved > 0)
        cuts.append((disk, log, random.randrange(first + 1, len(log)),
                     ("kept", "lost", "torn")[n % 3]))
batches = [cuts[n:n + AT_ONCE] for n in range(0, len(cuts), AT_ONCE)]
with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
    found = sum(pool.map(judge, map(str, range(len(batches))), batches), [])

# A machine of its own looks again at what seems not to be whole, lest the first one was at fault.
for n, cut in enumerate(cuts):
    if cut[0] in WAYS and not version_in(found[n][0]):
        print(f"{cut[0]}, cut {cut[2]}, {cut[3]}: {found[n]}; looked at again")
        [found[n]] = judge("again", [cut])

tally = collections.defaultdict(collections.Counter)
for (disk, log, at, kind), (versions, before, after) in zip(cuts, found):
    saved = log[at - 1].saved
    version = version_in(versions)
    if not version or version < saved:
        print(f"{disk}, cut {at} of {len(log)}, {kind}, {saved} saved: {versions!r}")
    count = tally[disk]
    count["cuts"] += 1
    count["lost"] += bool(version) and version < saved
    count["mixed"] += not version
    count["left"] += int(before)
    count["left for good"] += int(after)
for disk, *logs in zip(DISKS, *records):
    tally[disk]["saved"] = sum(log[-1].saved for log in logs)
    print(f"{disk}: {dict(tally[disk])}")
total = sum((tally[disk] for disk in WAYS), collections.Counter())
blind = [disk for disk in CONTROLS if not tally[disk]["lost"] + tally[disk]["mixed"]]
for disk in blind:
    print(f"{disk} went unnoticed")
print(f"{total['cuts']} cuts, {total['saved']} versions saved, {total['lost']} lost, "
      f"{total['mixed']} mixed, {total['left']} temporary files left, "
      f"{total['left for good']} after the next save")
sys.exit(bool(blind or total["lost"] or total["mixed"] or total["left for good"]))
