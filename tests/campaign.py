# Called by faults, which tells of the classes: campaign.py UPDATENOW PORT FORMATS CLASS...
import collections
import contextlib
import functools
import gzip
import itertools
import random
import re
import shutil
import sys

from installation import (BACKUP, BASES, CONSOLE, FAULTS, LOCK, LOG, TEMP, TITLE, VAR,
                          Installation, check, empty_disk, files, unmount_disk)
from judge import judged_run, look

updatenow, port, formats, fault_class, *arguments = sys.argv[1:]
install, TRACE = functools.partial(Installation, updatenow, port), FAULTS / "trace"
KINDS = ["none-killed", "half-killed", "all-killed", "none-0", "half-0", "none-1", "half-1",
         "all-1", "interrupted"]


# Runs from mirrors, with plans; then updates without a fault. After faults that pretend
# success, one of these may not be enough.
def attempt(one, runs, tight=None):
    for mirror, plan in runs:
        if mirror != "damage":
            judged_run(one, mirror, plan, tight)
        elif (BASES / "kept").exists():
            with contextlib.suppress(OSError):
                (BASES / "kept").write_text("damaged\n")
    empty_disk()
    for _ in range(3):
        judged_run(one)
        if files(BASES) == one.new:
            return
    check(False, "still not up to date")


# A campaign yields its attempts: a place, a function, its arguments.
def sweep(form):
    one = install(form, "mixed")
    attempt(one, [])
    for number in range(len((FAULTS / "calls").read_text().splitlines())):
        one.restore()
        runs = [("new", ["fine"] * number + [fault_class]), ("away", ())]
        yield f"command {number + 1}", attempt, one, runs


# Faults come together, and the world joins in.
def random_installation(draw, form, kind, disks):
    one = install(form, kind, backs_up=draw.randrange(3) > 0)
    mirrors = ["new", "new", "short"] + ["old"] * bool(one.old)
    disk, directory = draw.choice(disks if one.old else [("", None)])
    free = 4 * draw.randrange(2 * (directory != BASES), 12)
    check(not disk or one.fill_disk(disk, directory, free), "no disk")
    # Of an index that does not fit into a full disk nobody knows what half of it is.
    kinds = [kind for kind in KINDS if directory != TEMP or kind[-2:] != "-0"]

    def plan():
        often, length = 3 ** draw.randrange(3), draw.randrange(64)
        faults = [draw.choice(kinds + ["fine"] * len(kinds) * (often - 1)) for _ in range(length)]
        return ["fine"] * draw.randrange(20) + faults

    runs = [(draw.choice(mirrors), plan())]
    runs += [("away", draw.choice([(), plan()]))] * (draw.randrange(3) > 0)
    runs += [("damage", ())] * (draw.randrange(3) == 0)
    attempt(one, [*runs, (draw.choice(mirrors), plan())], directory)


def random_installations(_, count, seed):
    disks = [("", None)] * 3 + [("overlay", BASES)]
    disks += [("tmpfs", directory) for directory in (BASES, BASES, TEMP, BACKUP)]
    if install("kav", "mixed").fill_disk("ext4", TEMP, 0):
        disks.append(("ext4", BASES))
    else:
        print("No full ext4 disks: they need root, loop devices and mkfs.ext4.", file=sys.stderr)
    unmount_disk()
    seed, _, first = seed.partition(":")
    for number in range(int(first or 1), int(first or 1) + int(count)):
        kind = ["mixed", "changed", "added", "first"][number // 2 % 4]
        draw, form = random.Random(f"{seed}:{number}"), ["bd", "kav"][number % 2]
        yield f"{seed}:{number}", random_installation, draw, form, kind, disks
        unmount_disk()


# The program's own calls at files of an update, and those that start its commands.
CALLS = """trace=openat,open,creat,read,write,fsync,syncfs,/rename,/unlink,/mkdir,rmdir,/link,
ftruncate,/stat,/access,/readlink,getdents64,/fork,/clone,pipe2,wait4,getgid""".replace("\n", "")
STARTS = {"pipe2": ["EMFILE"], "wait4": ["EINTR", "KILL"], "clone": ["EAGAIN", "KILL"]}


# The faults of a traced run, with the number of the call among those of its name and path.
# The same question is asked once, unless something was changed in between.
def faults_of_calls(trace):
    counts, begun, asked = collections.Counter(), False, set()
    for line in trace.splitlines():
        name, _, rest = line.rpartition(" = ")[0].partition("(")
        begun = begun or name == "getgid"
        paths = re.findall(r'["<](/(?:var|opt)/Quorvex[^">]*)[">]', rest) or [""]
        counts.update((name, path) for path in set(paths))
        starts = re.match("pipe2|wait4|clone|v?fork", name)
        if not begun or (name, rest) in asked or not paths[0] and not starts:
            continue
        creates = re.search("O_CREAT|^write|^mkdir|^rename", line)
        changes = creates or re.search("unlink|rmdir|sync|truncate", name)
        faults = ["EIO"] + ["ENOSPC"] * bool(creates) + ["KILL"] * bool(changes)
        faults += ["EPERM"] * bool(re.match("(sym)?link", name))
        if starts:
            faults = STARTS.get(name, STARTS["clone"])
        elif re.search("stat|access|readlink", name):
            asked.add((name, rest))
        elif paths[0] == str(LOG):
            faults = faults[:2]
        elif changes:
            asked.clear()
        for fault in faults:
            yield name, paths[0], counts[name, paths[0]], fault


def calls(form, situation, kind, mirror, numbers):
    one, mended, plan = install(form, kind, situation != "a rollback"), set(), ()
    if situation == "a rollback":  # from the backup that the engine makes by itself
        shutil.copytree(one.folder / "new-mirror", one.folder / "bad-mirror")
        (one.folder / "bad-mirror/avx/new.gzip").write_bytes(gzip.compress(b"other"))
    if mirror == "away":  # the index alone is missing
        one.run()
        made = [line.split()[-3] for line in (FAULTS / "calls").read_text().splitlines()]
        plan = ["fine"] * made.index(str(BASES / one.index)) + ["none-killed"]

    def trace(*options):
        one.restore()
        if plan:
            one.run(plan=plan)
        return one.run(mirror, tracer=["strace", "-qqq", "-o", TRACE, *options])

    def fail_call(name, path, number, fault):
        effect = "signal=KILL" if fault == "KILL" else f"error={fault}"
        status = trace("-e", f"trace={name}", "-e", f"inject={name}:{effect}:when={number}",
                       *["-P", path] * bool(path))
        check(re.search("INJECTED|killed by", TRACE.read_text()), "the call did not come")
        check(status == -9 if fault == "KILL" else status in (0, 1), f"ended with {status}")
        log = LOG.read_text() if LOG.exists() else ""
        is_told = re.search("rror|ERR|mismatch|cancelled", log + CONSOLE.read_text())
        check(fault == "KILL" or is_told or look(one.index)[0] == one.new, "says nothing")
        # Kaspersky-format updates go on without a file that cannot be copied or removed.
        is_mixture = form == "kav" and re.search("Installing .* error!|Error removing", log)
        if "Error removing" in log:
            (BASES / "removed").unlink()
        state = repr([(path, path.is_file() and path.read_bytes())
                      for path in sorted(VAR.rglob("*")) if path != LOG])
        state += str((LOCK.exists(), bool(is_mixture)))
        if state in mended:
            return
        judged_run(one, "away")
        found = files(BASES)
        old = {name: data for name, data in one.old.items()
               if name in found or name in one.new or form == "bd"}
        check(is_mixture or found in (old, one.new), "no version, without a mirror")
        attempt(one, [])
        mended.add(state)

    trace("-y", "-s", "0", "-e", CALLS)
    for fault in list(faults_of_calls(TRACE.read_text())):
        if next(numbers) == 0:
            yield f"{situation}, {fault}", fail_call, *fault


def all_calls(form, step=1):
    numbers = itertools.cycle(range(int(step)))
    situations = [("an update", "few", "new"), ("a first installation", "first", "new"),
                  ("a recovery without a mirror", "few", "away"), ("a rollback", "few", "bad")]
    for situation in situations[:3 + (form == "bd")]:
        yield from calls(form, *situation, numbers)


# Makes the attempts and prints how many there were. Returns how many were lost.
def run_campaign(form, attempts, what):
    tried = losses = 0
    for place, act, *values in attempts:
        tried += 1
        try:
            act(*values)
        except AssertionError as loss:
            losses += 1
            print(f"{form}, {place}: {loss}")
            if arguments[:1] == ["1"]:
                print((FAULTS / "calls").read_text(), CONSOLE.read_text(), LOG.read_text())
    print(f"{what.format(tried)}: {tried - losses} recovered", flush=True)
    return losses


if fault_class == "random":
    campaigns = [("random", random_installations, "{} installations with faults in company")]
else:
    is_calls = fault_class == "calls"
    what = "a fault at each of {} calls" if is_calls else f"{fault_class} at each of {{}} commands"
    campaigns = [(form, all_calls if is_calls else sweep, f"{TITLE[form]}: {what}")
                 for form in formats.split()]
sys.exit(sum(run_campaign(form, campaign(form, *arguments), what)
             for form, campaign, what in campaigns) > 0)
