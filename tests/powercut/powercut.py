# Cuts the power of a machine that saves files, and looks what is on its disks then:
# powercut.py FOLDER CUTS, with the kernel and initrd in FOLDER.
#
# QEMU logs each write and flush of the machine's disks. The machine writes which version it has
# saved behind the file system, so that the log says it too. Then disks are made as they would be
# after a cut at any of these requests: what was flushed is on them; what was not is there, or lost,
# or lost in part, sector by sector. Other machines mount and judge them. A record itself ends with a
# kill.
import collections
import concurrent.futures
import os
import random
import re
import shutil
import struct
import subprocess
import sys
import time

FOLDER, CUTS = sys.argv[1], int(sys.argv[2])
# Noisy is ext4 that does not put the file on the disk because it is renamed, while another process
# has what it writes put there.
WAYS = [f"{system}:{way}" for system in ("ext4", "noisy", "xfs", "btrfs")
        for way in ("ini", "set", "tool")]
CONTROLS = ["noisy:rename-without-fsync", "noisy:truncate-and-write", "noisy:truncate-and-fsync",
            "ext4:no-fsync-of-folder"]
DISKS = WAYS + CONTROLS
IMAGES = {disk: f"{FOLDER}/{disk}.img" for disk in DISKS}
SIZE = 320 << 20  # of a file system; tests/powercut/saver.cpp writes behind it.
SECTOR = 4096  # A disk writes it whole; ext4 and btrfs cannot mount part of a superblock.
RECORDED, DEADLINE, AT_ONCE, TRIES = 30, 180, 24, 3  # seconds, seconds, disks of a boot, boots

Request = collections.namedtuple("Request", "saved offset data")  # No data: a flush.


def requests(path):
    """What QEMU has logged for a disk, as Linux' log-writes does: headers in 512 bytes, and data."""
    log = [Request(0, 0, None)]  # What mkfs wrote is on the disk.
    saved = 0
    with open(path, "rb") as file:
        file.seek(512)
        while len(head := file.read(512)) == 512:
            sector, sectors, flags, _ = struct.unpack_from("<4Q", head)
            data = file.read(512 * sectors)
            if len(data) < 512 * sectors:
                break
            if 512 * sector == SIZE:
                saved = int(data.rstrip(b"\0"))
            elif sectors or flags:
                log.append(Request(saved, 512 * sector, data or None))
    return log


def machine(task, disks, drives):
    command = ["qemu-system-x86_64", "-M", "q35", "-cpu", "qemu64", "-m", "400", "-accel", "tcg",
               "-nodefaults", "-display", "none", "-no-reboot", "-serial", "stdio",
               "-kernel", f"{FOLDER}/kernel", "-initrd", f"{FOLDER}/initrd", "-append",
               "console=ttyS0 quiet panic=-1 rdinit=/bin/init mitigations=off "
               f"task={task} disks={','.join(disks)}",
               "-smp", "2" if task == "record" else "1"]
    for i, drive in enumerate(drives):
        command += ["-blockdev", f"{drive},node-name=d{i}",
                    "-device", f"virtio-blk,drive=d{i},discard=off,write-zeroes=off"]
    return command


def record():
    paths = [f"{FOLDER}/{i}" for i in range(len(DISKS))]
    for path, disk in zip(paths, DISKS):
        subprocess.check_call(["cp", "--sparse=always", IMAGES[disk], path])
        open(f"{path}.log", "wb").close()
    drives = [f"driver=blklogwrites,file.driver=file,file.filename={path},"
              f"log.driver=file,log.filename={path}.log" for path in paths]
    process = subprocess.Popen(machine("record", DISKS, drives),
                               stdin=subprocess.DEVNULL, stdout=subprocess.PIPE)
    end = time.monotonic() + DEADLINE
    saved = [0]
    while min(saved) < 2 and process.poll() is None and time.monotonic() < end:
        time.sleep(1)
        saved = [requests(f"{path}.log")[-1].saved for path in paths]
    time.sleep(RECORDED + random.random())
    process.kill()
    said = process.communicate()[0].decode(errors="replace")
    if min(saved) < 2 or "@" in said:
        sys.exit(f"the machine did not save: {saved}\n{said}")
    return [requests(f"{path}.log") for path in paths]


def make(path, disk, log, at, kind):
    """The disk as it is after a cut before request `at`, always the same for the same arguments."""
    lots = random.Random(at)
    subprocess.check_call(["cp", "--sparse=always", IMAGES[disk], path])
    flushed = max(n for n in range(at) if log[n].data is None)
    with open(path, "r+b") as image:
        for n, (_, offset, data) in enumerate(log[:at]):
            for start in range(0, len(data or b""), SECTOR):
                if n < flushed or kind == "kept" or kind == "torn" and lots.random() < 0.5:
                    image.seek(offset + start)
                    image.write(data[start:start + SECTOR])


def judge(name, cuts):
    """What a machine says to each of the disks: versions and numbers of temporary files."""
    folder = f"{FOLDER}/{name}"
    for _ in range(TRIES):
        os.makedirs(folder, exist_ok=True)
        for i, cut in enumerate(cuts):
            make(f"{folder}/{i}", *cut)
        drives = [f"driver=file,filename={folder}/{i}" for i in range(len(cuts))]
        command = ["timeout", str(DEADLINE), *machine("judge", [cut[0] for cut in cuts], drives)]
        said = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              encoding="utf-8", errors="replace").stdout
        shutil.rmtree(folder)
        found = dict(re.findall(r"@ (\d+),(.*)", said))
        if len(found) == len(cuts):
            return [found[str(i + 1)].split(",") for i in range(len(cuts))]
    sys.exit(f"{TRIES} machines did not judge {[cut[0] for cut in cuts]}\n{said}")


def version_in(versions):
    """The version, if the file is whole."""
    whole = re.fullmatch(r" ?4000 (\d+) ?", versions)
    return whole and int(whole[1])


for disk in DISKS:  # Each with an identity of its own.
    system = disk.split(":")[0].replace("noisy", "ext4")
    subprocess.check_call(["truncate", "-s", str(SIZE), IMAGES[disk]])
    subprocess.check_call([f"mkfs.{system}", "-q", IMAGES[disk]], stdout=subprocess.DEVNULL)
    subprocess.check_call(["truncate", "-s", str(SIZE + SECTOR), IMAGES[disk]])
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
    found = sum(pool.map(judge, [f"batch{n}" for n in range(len(batches))], batches), [])

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
