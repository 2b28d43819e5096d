#!/usr/bin/python3
"""Usage: unordered-disk.py UPDATENOW FORMAT SITUATION DATABASE SERVER STATES SEED[:NUMBER]

Called by unordered-disk, which tells of the situations. Records the system calls of an
update from DATABASE/old to DATABASE/new, lays out what a disk that keeps no order may hold
after a power cut at any of them, and judges what plain updates make of that.

Such a disk may hold any of the calls that no sync covers yet, without the others, and of
a write any first part. A sync of the file system covers all calls before it, one of a
file what is in that file, one of a directory the names in it. A rename is whole.
"""
import copy
import functools
import os
import random
import re
import shutil
import subprocess
import sys

updatenow, format_name, situation, database, server, count, seed = sys.argv[1:]
ROOT, BASES, NO_SERVER = "/var/Quorvex", "/var/Quorvex/bases", "127.0.0.1:9"
NOT_KEPT = {"tmp", "var"}  # below ROOT; empty after the power cut
# All calls that could change a file or a name. Those with an error show nothing of what
# they do; cp then writes, and sets permissions, by others.
REFUSED = "copy_file_range,fsetxattr"
CALLS = f"""{REFUSED} openat ?open ?creat write pwrite64 writev pwritev sendfile splice ftruncate
?truncate fallocate ?rename renameat renameat2 ?link linkat ?symlink symlinkat ?unlink unlinkat
?rmdir ?mkdir mkdirat ?chmod fchmod fchmodat fsync fdatasync syncfs sync"""
TRACE = os.environ["FAULTS"] + "/trace"
STRACE = ["strace", "-f", "--seccomp-bpf", "-y", "-z", "-xx", "-s", "9999999", "-o", TRACE, "-e",
          "trace=" + ",".join(CALLS.split()), "-e", f"inject={REFUSED}:error=EOPNOTSUPP"]


def read(top):
    """Path -> (mode, contents) of a file, None for a directory."""
    found = {}
    for directory, folders, names in os.walk(top):
        if directory == ROOT:
            folders[:] = set(folders) - NOT_KEPT
        for path in [os.path.join(directory, name) for name in folders + names]:
            found[path[len(top) + 1:]] = None
            if os.path.isfile(path):
                with open(path, "rb") as file:
                    found[path[len(top) + 1:]] = (os.stat(path).st_mode & 0o7777, file.read())
    return found


def files(top):
    return {path: file for path, file in read(top).items() if file}


def lay_out(state):
    for name in os.listdir(ROOT):
        shutil.rmtree(os.path.join(ROOT, name))
    os.makedirs(ROOT + "/var/log")
    for path, file in sorted(state.items()):
        if file is None:
            os.mkdir(os.path.join(ROOT, path))
            continue
        with open(os.path.join(ROOT, path), "wb") as out:
            out.write(file[1])
            os.fchmod(out.fileno(), file[0])
    with open("/opt/Quorvex/var/run/checkupdate", "w", encoding="ascii") as lock:
        lock.write("updatenow:999999999")


def update(from_server, tracer=()):
    with open("/opt/Quorvex/etc/updates.conf", "w", encoding="ascii") as conf:
        conf.write(f"[Update]\nServerList={from_server}\n")
    subprocess.run([*tracer, updatenow], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                   stderr=subprocess.DEVNULL, check=False)


# A disk: number -> a directory {name: number}, or a file [mode, contents]. 0 is ROOT.
# Nobody sees what no name leads to. A change of it: the numbers of what it changes, the
# names that it sets (None: it is a sync of these numbers), and what it does to a disk.


def tree(disk, number=0, path=""):
    found = {}
    for name, below in disk[number].items():
        found[path + name] = None if isinstance(disk[below], dict) else tuple(disk[below])
        if isinstance(disk[below], dict):
            found.update(tree(disk, below, path + name + "/"))
    return found


def set_names(disk, names):
    for (directory, name), number in names:
        disk[directory].pop(name, None)
        if number is not None:
            disk[directory][name] = number


def write(file, offset, data):
    file[1] = file[1][:offset].ljust(offset, b"\0") + data + file[1][offset + len(data):]


class Recording:
    """The changes of updates, and the disk as the programs see it after them (`seen`).
    At the start it has all that is ever made, some without a name."""

    def __init__(self, state):
        self.start, self.seen, self.changes, self.offsets = {0: {}}, {0: {}}, [], {}
        for path, file in sorted(state.items()):
            self.make(path, {} if file is None else list(file))
        self.start, self.changes, self.first = copy.deepcopy(self.seen), [], 0

    def killed_after(self, length):
        """The same, but killed; the power is cut later."""
        other = copy.copy(self)
        other.changes, other.first = self.changes[:length], length
        other.seen = self.disk_after([(act, 1) for _, _, act in other.changes])
        return other

    def disk_after(self, acts):
        disk = copy.deepcopy(self.start)
        for act, part in acts:
            act(disk, part)
        return disk

    def record(self, from_server):
        lay_out(tree(self.seen))
        update(from_server, STRACE)
        with open(TRACE, encoding="ascii") as trace:
            for line in trace:
                self.read_call(line)
        if tree(self.seen) != read(ROOT):
            sys.exit(f"{format_name}, {situation}: the calls do not explain what is on the disk")
        return self

    def add(self, numbers, act, names=()):
        self.changes.append((numbers, {name for name, _ in names}, act))
        act(self.seen, 1)

    def sync(self, numbers):
        self.changes.append((numbers, None, lambda disk, part: None))

    def find(self, path):
        number = 0
        for name in filter(None, path.split("/")):
            number = None if number is None else self.seen[number].get(name)
        return number

    def rename(self, *names):
        names = [((self.find(os.path.dirname(path)), os.path.basename(path)), number)
                 for path, number in names]
        numbers = [directory for (directory, _), _ in names]
        self.add(numbers, lambda disk, part: set_names(disk, names), names)

    def make(self, path, contents):
        number = len(self.start)
        self.start[number], self.seen[number] = contents, copy.copy(contents)
        self.rename((path, number))

    def read_call(self, line):
        call = re.match(r"\d+ +(\w+)\((.*?(?:, 0(\d+))?)\) += \d", line)
        if call is None:
            return
        name, paths, data, directory = call[1], [], b"", ""
        for path, text in re.findall(r'<([\\x0-9a-f]*)>|"([\\x0-9a-f]*)"', call[2]):
            data = bytes.fromhex((path or text).replace("\\x", ""))
            if path:
                directory = data.decode()
            if name != "write" if text else name in ("fchmod", "fsync", "fdatasync", "ftruncate"):
                paths.append(os.path.join(directory, data.decode()))
        path = (paths or [directory])[0]
        if name in ("syncfs", "sync"):
            self.sync(self.start.keys())
        if not path.startswith(ROOT + "/") or path.split("/")[3] in NOT_KEPT:
            return
        path, mode = path[len(ROOT):], int(call[3] or "0", 8) & 0o7777
        number = self.find(path)
        if name == "openat":
            if number is None:
                self.make(path, [mode & ~0o022, b""])
            elif "O_TRUNC" in call[2]:
                self.add([number], lambda disk, part: disk[number].__setitem__(1, b""))
            self.offsets[path] = 0
        elif name == "write" and number is not None:  # else the file is removed
            offset = self.offsets[path]
            self.offsets[path] += len(data)
            self.add([number], lambda disk, part: write(disk[number], offset,
                                                        data[:int(len(data) * part)]))
        elif name in ("chmod", "fchmod", "fchmodat"):
            if isinstance(self.seen[number], list):
                self.add([number], lambda disk, part: disk[number].__setitem__(0, mode))
        elif name in ("mkdir", "mkdirat"):
            self.make(path, {})
        elif name in ("unlink", "rmdir", "unlinkat"):
            self.rename((path, None))
        elif name in ("rename", "renameat", "renameat2"):
            self.rename((path, None), (paths[1][len(ROOT):], number))
        elif name in ("fsync", "fdatasync"):
            self.sync([number])
        elif name not in ("write", "syncfs"):
            sys.exit(f"{format_name}, {situation}: a call that nobody expected: {line}")

    def draw_state(self, draw, moment):
        """What the disk may hold when the power is cut before the change `moment`: of what is
        not synced any part, the names alone, or the last ones alone."""
        share, synced, later, kept = draw.choice((0, 0.1, 0.5, 0.9, 1)), set(), set(), []
        way, newest = draw.choice(("part", "names", "last")), draw.randint(1, 9)
        for numbers, names, act in reversed(self.changes[:moment]):
            if names is None:
                synced.update(numbers)
                continue
            # What has come after a rename, at its place, is not there without it.
            is_kept = not synced.isdisjoint(numbers) or (len(names) > 1 and names & later)
            newest -= not is_kept
            luck = {"part": draw.random() < share, "names": names, "last": newest >= 0}
            if is_kept or luck[way]:
                later |= names
                is_whole = is_kept or way != "part"
                kept.append((act, 1 if is_whole else draw.choice((1, 1, draw.random()))))
        return tree(self.disk_after(reversed(kept)))


old, new = files(database + "/old"), files(database + "/new")
# Files that are to go leave a Kaspersky-format database before anything else happens.
staying = {path: file for path, file in old.items() if path in new or format_name[0] == "B"}
mended = set()


def holds(state, version):
    return all(state.get("bases/" + path) == file for path, file in version.items())


def loss(state, ended):
    """What plain updates do not mend; None when they do. `ended` is what an update had left
    before the power was cut; None when it was cut earlier."""
    if ended and not holds(state, new if holds(ended, new) else staying):
        return "what an update has ended with is not on the disk"
    lay_out(state)
    update(NO_SERVER)
    found = files(BASES)
    is_old = staying.items() <= found.items() <= old.items()
    if not is_old and found != new:
        return "neither version, without a mirror"
    if any(name.endswith(".journal") for name in os.listdir(BASES)):
        return "an open journal, without a mirror"
    after, tries = repr(sorted(read(ROOT).items())), 2
    while after not in mended and tries > 0:
        update(server)
        tries -= 1
        if files(BASES) == new:
            mended.add(after)
    return None if after in mended else "not the new version, with the mirror"


def record_update():
    start = {f"bases/{path}": file for path, file in read(database + "/old").items()}
    if os.path.isdir(database + "/old"):
        start["bases"] = None
    if old:  # and a backup of another version
        start["backup"] = None
        start.update({f"backup/{path}": file for path, file in read(database + "/new").items()})
    recording = Recording(start).record(server + "/spoiled" * (situation == "a rollback"))
    # A rollback leaves the added file, and the journal, to the next run.
    found = files(BASES)
    if not staying.items() < found.items() if situation == "a rollback" else found != new:
        sys.exit(f"{format_name}, {situation}: it fails without a power cut")
    return recording


@functools.lru_cache(None)
def record_recovery(length):
    return whole.killed_after(length).record(NO_SERVER)


whole = record_update()
# The moments among its copies at which the update is killed.
kills = [n for n, (_, names, _) in enumerate(whole.changes) if names == set()][-12:]
seed, _, first = seed.partition(":")
states, losses = set(), 0
for number in range(int(first or 1), int(first or 1) + 4 * int(count)):
    draw = random.Random(f"{seed}:{number}")
    recording = record_recovery(kills[number // 8 % 12]) if situation == "a recovery" else whole
    last = len(recording.changes)
    # Before a sync most is in doubt.
    moments = [n for n, (_, names, _) in enumerate(recording.changes)
               if names is None and n >= recording.first] or [last]
    moments = [draw.choice(moments), draw.choice(moments), draw.randint(recording.first, last)]
    moment = draw.choice((last, *moments, *moments, *moments))
    state = recording.draw_state(draw, moment)
    key = repr(sorted(state.items()))
    if len(states) == int(count) or key in states:
        continue
    states.add(key)
    reason = loss(state, tree(recording.seen) if moment == last else None)
    if reason is None:
        continue
    losses += 1
    if losses <= 5:
        print(f"{format_name}, {situation}, state {seed}:{number}: {reason}")
    for path, file in sorted(state.items()) if count == "1" else ():
        print(f"  {path}", "" if file is None else f"{file[0]:o} {len(file[1])} bytes")
print(f"{format_name}, {situation}: {len(states)} states of an unordered disk:",
      len(states) - losses, "recovered")
sys.exit(losses > 0)
