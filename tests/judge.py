# Judges a run of an update by naive means, whatever faults it had. What it had to do follows
# from the database, the mirror and what became of each command, which fault-stand-in has
# written down. What it did is in the database, its temp directory, its log and its console.
import collections
import gzip
import hashlib
import os
import pathlib
import re

from installation import BASES, CONSOLE, FAULTS, LOCK, LOG, NOWHERE, TEMP, check, files

DOWNLOADED = re.compile(f"{TEMP}/(avdowndir|[^/]*$)")
Call = collections.namedtuple("Call", "name fault args did told is_ending")


# The database as it is once its journal is closed; whether that undoes something.
def look(index):
    journal = files(BASES / f".{index}.journal")
    found = {path: data for path, data in files(BASES).items() if ".journal/" not in path}
    before, coming = journal.get("before"), journal.get("coming")
    if "paths" not in journal or before != coming == found.get(index):
        return found, False
    for line in journal["paths"].decode().splitlines()[:-1]:
        kind, name = line.split(" ", 1)
        if kind == "created":
            found.pop(name, None)
        elif name == index:
            found[name] = before
        elif "backup" in journal:
            copy = pathlib.Path(journal["backup"].decode().strip(), name)
            check(copy.exists(), f"its backup has no {name}")
            found[name] = copy.read_bytes()
    return found, True


# The full disk, if any, is that of the directory `tight`.
def judged_run(one, mirror="new", plan=(), tight=None):
    judge = Judge(one, mirror, tight)
    one.run(mirror, plan)
    judge.judge()


class Judge:
    def __init__(self, one, mirror, tight):
        self.is_kav, self.index, self.tight = one.form == "kav", one.index, tight
        self.mirror, self.address = FAULTS / "mirror", one.address(mirror)
        self.was, self.was_open = look(self.index)
        self.rest = set(os.listdir(TEMP)) if TEMP.exists() else set()
        self.has_backup = one.backs_up if self.is_kav else BASES.exists()

    # What proves a file: the first line of its last 60 bytes, or its digest.
    def proof(self, data):
        if self.is_kav:
            return (data[-60:].decode().splitlines() or [""])[0]
        return hashlib.md5(data).hexdigest()

    # Name -> proof of what an index lists; None for the proof of an entry that is cut.
    def listed(self, index):
        lines = index.decode().splitlines()
        if not self.is_kav:
            return {line.split()[2]: line.split()[1] for line in lines if line[:1] == "+"}
        entries = [line.split("=")[1].split(",") for line in lines if re.search("=.*,", line)]
        return {entry[0]: entry[1] if len(entry) > 3 else None for entry in entries}

    # The names that are wanted and those that are dropped; whether the index comes.
    def compare(self, new):
        old, listed = self.was.get(self.index, b""), self.listed(new)
        before, wanted = self.listed(old), []
        by_index = old and self.proof(old) != self.proof(new) if self.is_kav else before
        for name, proof in listed.items():
            here = self.was.get(name)
            is_asked = not by_index or not self.is_kav and name in before
            if (here is None or by_index and before.get(name, proof) != proof
                    or is_asked and self.proof(here) != proof):
                wanted.append(name)
        is_dropping = self.is_kav and by_index and wanted
        # An index that has forgotten a name does not come alone.
        comes = wanted or new != old and listed and set(before) <= set(listed)
        return wanted, set(before) - set(listed) if is_dropping else set(), comes

    # What the program takes a fetch for. Of a cut base its digest tells later, of a cut avp.klb
    # nothing.
    def outcome(self, call, name):
        is_late = (name == self.index) == self.is_kav
        if call.told == "killed" or call.is_ending:
            return "killed" if call.told == "killed" else "cancelled"
        if not self.is_kav and is_late and call.did not in ("0", "none", "half"):
            return "done" if f"{name}.gzip done!" in self.log else "error"
        is_taken = call.did == "0" or call.did == "half" and is_late and self.address != NOWHERE
        is_trusted = call.told == "0" or is_late and not self.is_kav
        return "done" if is_taken and is_trusted else "error"

    def judge(self):
        index, calls, is_ending = self.index, [], False
        for line in (FAULTS / "calls").read_text().splitlines():
            name, fault, *args, did, told = line.split()
            is_ending = is_ending or fault == "interrupted"
            calls.append(Call(name, fault, args, did, told, is_ending))
        ended = "killed" not in [call.told for call in calls]
        self.log = log = LOG.read_text()
        console, (after, is_open) = CONSOLE.read_text(), look(index)

        # What it asked for.
        fetches = [call for call in calls if call.name == "wget"]
        new, wanted, dropped, comes = (self.mirror / index).read_bytes(), [], set(), False
        new = new[:len(new) // 2] if fetches and fetches[0].did == "half" else new
        has_index = (len(fetches) > 0 and self.outcome(fetches[0], index) == "done" and
                     None not in self.listed(new).values())
        if has_index:
            wanted, dropped, comes = self.compare(new)
        names = [index] + wanted
        path_of = {name: name if self.is_kav or name == index else f"avx/{name}.gzip"
                   for name in names}
        asked = [f"http://{self.address}/{path_of[name]}" for name in names]
        urls = [call.args[-3] for call in fetches]
        check(urls == asked[:len(urls)], f"it asked for {urls}, not {asked}")
        outcomes = [self.outcome(call, name) for call, name in zip(fetches, names)]
        check(set(outcomes[:-1]) <= {"done"}, "it went on after a failed fetch")
        has_all = outcomes == ["done"] * len(names)
        check(not ended or has_all or outcomes[-1:] not in ([], ["done"]) or
              not fetches and "Error undoing" in log, f"it should ask for {asked}")

        # What the commands made of the database, and of which files nobody knows that.
        is_refused = "Error writing" in log
        check(not is_refused or self.tight or any(call.did != "0" for call in calls), "no journal")
        gone = dropped if has_all and not is_refused else set()
        left = {name: data for name, data in self.was.items() if name not in gone}
        undone, doubt, whole = dict(left), set(), {}
        told = list(zip(wanted, outcomes[1:]))
        if has_all and is_refused and self.is_kav and wanted:
            told += [(name, "error") for name in wanted + ["Index"]]
        for call in calls[calls.index(fetches[-1]) + 1:] if has_all else ():
            name = os.path.relpath(call.args[-1], BASES).removesuffix(".gzip")
            if name not in names or call.name == "cp" and not DOWNLOADED.match(call.args[-2]):
                continue
            whole[name] = whole.get(name, True) and call.did == "0"
            if call.name == "cp" and path_of[name].endswith("gzip"):
                whole[name] = whole[name] and fetches[names.index(name)].did == "0"
                continue
            data = new if name == index else (self.mirror / path_of[name]).read_bytes()
            data = gzip.decompress(data) if path_of[name].endswith("gzip") else data
            is_there = call.name == "cp" and call.did == "none" or f"Installed {name}.gz" in log
            whole[name] = whole[name] or left.get(name) == data and is_there
            if whole[name]:
                left[name] = data
            else:
                doubt.add(name)
            is_ok = call.told == "0" if self.is_kav else whole[name]
            # A failed index is told of when the one of before is back.
            if name != index or self.is_kav and wanted and (ended or whole[name]):
                outcome = "killed" if call.told == "killed" else "ok" if is_ok else "error"
                told.append(("Index" if name == index else name, outcome))
        is_complete = comes and whole.get(index, False)

        # What it said.
        told = [(name, outcome) for name, outcome in told if outcome != "killed"]
        said = re.sub(r"Installed (.*)\.gzip", r"Installing \1 ok!", log)
        said = re.sub(f"md5sum mismatch for {BASES}/(.*)", r"Installing \1 error!", said)
        said = re.sub("Download error.*\n", "", said)
        said = re.findall(r"(?:file|Installing|AV) (\S+?)(?:\.gzip)? (\w+)!", said)
        check(said == told, f"it said {said}, not {told}")
        check(console.count("%") >= outcomes[1:].count("done"), "its bar lacks a download")
        is_closed = "Unfinished installation undone" in log
        check(is_closed == self.was_open or not fetches, "its journal was not closed first")

        # What it wrote. When a killed run or a full disk dropped files, nobody knows.
        can_be = [(left, doubt)]
        if not is_complete:
            can_be = [(undone, set())] * self.has_backup
            partial = {name: data for name, data in left.items() if name in self.was}
            partial.update({index: self.was[index]} if index in self.was else {})
            saved = [call.did for call in calls if call.args[0] == "-prf" and
                     call.args[1].startswith(str(BASES))] == ["0"]
            if not saved and not (BASES / f".{index}.journal/backup").exists():
                can_be.append((partial, doubt - {index}))
        unsure = set() if ended and not self.tight else dropped
        differ = [{name for name in {**after, **state} if after.get(name) != state.get(name)}
                  - free - unsure for state, free in can_be]
        check(set() in differ, f"it should not have changed {differ}")
        if not ended:
            return

        # How it ended, and what else it left.
        check(("No update found" in log) == (has_index and not wanted), "is there an update?")
        is_told, fails = f"Error installing {index}" in log, not whole.get(index, not is_refused)
        check(is_told == fails or fails and ("Index", "error") in told, "its index is told wrongly")
        end = "Virus Database updated successfully" if has_index else "***Error updating virus"
        end = "***Update cancelled before finish" if is_ending else end
        check(console.splitlines()[-1] == end, f"it should end with {end}")
        is_clean = not self.tight and not any("-" in call.fault for call in calls)
        check(not is_open or not is_complete and not is_clean, "its journal is open")
        check(not LOCK.exists(), "the lock is held")
        rest = set(os.listdir(TEMP)) - self.rest if TEMP.exists() else set()
        rest -= {index} if self.is_kav and not wanted and not is_ending else set()
        if not is_open and "rm" not in [call.name for call in calls if call.did != "0"]:
            check(not rest, f"left in the temp directory: {rest}")
