#!/usr/bin/python3 -BES
# Usage: cases.py BUILD [TEST]
#
# Runs a test of the tables in tests/cases; without one, prints the names of all. A paragraph
# "== NAME" is about a function: its last cell is what comes of the others. Any other is a whole
# update: the real program, the real wget. The head of cases/updates.txt says how it is written.
# Belongs into a private root, whose installation it uses up.
import functools
import os
import pathlib
import re
import socket
import subprocess
import sys
import time

HERE = pathlib.Path(__file__).resolve().parent
sys.path.append(str(HERE.parent / "scripts/lib"))
from bases import (configure, files_of, index_of, install, mirror_of, outcome_of, read, stand_in,
                   state_of, write, write_tree)
from installation import BACKUP, BASES, ETC, INDEX, LOCK, LOG, TEMP
from tables import cells_of, expand, read_table

BUILD, MIRROR = pathlib.Path(sys.argv[1]).resolve(), "/opt/Quorvex/mirror"
failures = []


def expect(what, found, due):
    if found != due:
        failures.append(f"{what} is\n    {found!r}\nand not\n    {due!r}")


# Does something with the cells of each row, and shows the rows that fail.
def try_rows(rows, words, act):
    for place, row in rows:
        count = len(failures)
        try:
            act(*cells_of(row, words))
        except (subprocess.CalledProcessError, OSError, LookupError, TypeError,
                ValueError) as error:
            failures.append(repr(error))
        if failures[count:]:
            print(f"{place}: {row}", *failures[count:], sep="\n")


# Starts a mirror on loopback, which serves the files in MIRROR. Returns its address. The mirror
# ends with this program.
@functools.cache
def mirror():
    command = ["setpriv", "--pdeathsig", "KILL", BUILD / "tests/mirror_server", MIRROR]
    program = subprocess.Popen(command, stdout=subprocess.PIPE, text=True)
    return "127.0.0.1:" + program.stdout.readline().strip()


# With words for the process number and the time of now.
def masked(text):
    for ago in range(60):
        text = text.replace(time.ctime(time.time() - ago), "TIME")
    return re.sub("updatenow:[0-9]+", "updatenow:PID", text)


class Update:
    def __init__(self, form, variant, words):
        self.form, self.index, self.left, self.status = form, INDEX[form], {}, 0
        # Takes connections and never answers.
        self.silent = socket.create_server(("127.0.0.1", 0))
        self.words = {word: (text.split(" | ") * 2)[form == "bd"] for word, text in words.items()}
        self.words.update(variant=variant, mirror=mirror(), build=str(BUILD),
                          port=mirror().partition(":")[2],
                          silent=f"127.0.0.1:{self.silent.getsockname()[1]}")
        # For the next run alone: what stands before the program in its command.
        self.before = "exec"
        self.installed("a:a,b:b,c:c")
        self.published("a:x,b:y,c:z")

    def step(self, name, text="", *rest):
        if name in self.left:
            if rest:
                self.tell("backup", *rest)
            return self.tell(name, text)
        self.settle()
        steps = {"installed": self.installed, "published": self.published, "mirror": self.answer,
                 "mirror mends": lambda _: write_tree(MIRROR, self.on_mirror),
                 "settings": lambda lines: configure("ServerList=" + self.words["mirror"], lines),
                 "shell": lambda line: subprocess.run(os.fsencode(line), shell=True, check=True,
                                                      cwd="/var/Quorvex"),
                 "stand-in": stand_in, "with": self.begin_with, "command": self.command,
                 "run": self.run, "killed": self.killed, "away": self.away,
                 "updates": self.updates, "settle": lambda _: None}
        return steps[name](text, *rest)

    # Another installation that holds the files; so does the mirror.
    def installed(self, files):
        install(self.form)
        configure("ServerList=" + self.words["mirror"])
        self.published(files, 1)
        if files:
            write_tree(BASES, files_of(self.form, files))
            write(BASES / self.index, self.on_mirror[self.index])
            (BASES / "Plugins").mkdir(exist_ok=True)

    def published(self, files, number=2):
        self.on_mirror = mirror_of(self.form, files, number)
        write_tree(MIRROR, self.on_mirror)

    def begin_with(self, command):
        self.before = command

    # A command that ends with the status and says this, or nothing.
    @staticmethod
    def command(status, line, said=""):
        output, ended = outcome_of(line)
        output = said if said and said in output else output
        expect(line, f"{ended} {output}", f"{status} {said}")

    def updates(self, changed="", state=""):
        files, log = changed or "a,b,c", "{begun}{got F}{saving}{put F}{ended}"
        console = f"{{start}}{{bars{len(files.split(','))}}}{{downloaded}}{{done}}"
        self.run(expand(console, self.words), expand(log.replace("F", files), self.words),
                 state if changed else "a:x,b:y,c:z,index:2")

    # A mirror that does not answer.
    def away(self, log="", state=""):
        configure("ServerList=127.0.0.1:1")
        begun, end = expand("{begun}", self.words), expand("{toldaway}", self.words)
        self.run(expand("{away}", self.words), begun + log + end, state)
        self.left["temp"] = "*"

    def killed(self, *texts):
        self.run(*texts)
        self.left.update(status="-9", temp="*", lock="updatenow:PID")

    def answer(self, file, how=""):
        name = f"avx/{file}.gzip" if self.form == "bd" else file
        name = self.index if file == "index" else name
        body, answers = self.on_mirror.get(name, b""), dict(self.on_mirror)
        other = mirror_of(self.form, file + ":w", 0).get(name)
        answers[name] = {"half": body[:len(body) // 2], "other": other, "empty": b""}.get(how, how)
        if how == "missing":
            del answers[name]
        write_tree(MIRROR, answers)

    # Runs an update that shows and logs this. What follows in the paragraph tells what it
    # has left; what is not told of must be as before, or as it always is.
    def run(self, console, log, state=""):
        old = self.now("bases")
        self.left = {"bases": state or old, "backup": self.now("backup"), "temp": "nothing",
                     "lock": "", "status": "0", "asked for": "*"}
        LOG.unlink(missing_ok=True)
        write(MIRROR + ".requests", "")
        output, self.status = outcome_of(f"{self.before} setsid {BUILD}/updatenow")
        self.before = "exec"
        # Newer versions of wget say that of a proxy without a scheme, wherever their messages go.
        expect("the console", re.sub("Prepended http://.*\n", "", output), console)
        self.tell("log", log)
        if f"av database at {BACKUP}\n" in read(LOG):
            self.left["backup"] = old

    def tell(self, what, text):
        if text != "*":
            expect(what, self.now(what), text)
        self.left.pop(what, None)

    def settle(self):
        for what, text in sorted(self.left.items()):
            self.tell(what, text)

    def now(self, what):
        if what == "status":
            return str(self.status)
        if what == "asked for":
            return read(MIRROR + ".requests").strip()
        if what in ("log", "lock"):
            return masked(read(LOG if what == "log" else LOCK))
        return state_of(self.form, {"bases": BASES, "temp": TEMP, "backup": BACKUP}[what])


# Calls a function of functions.h.
def call(name, *cells):
    command = [BUILD / "tests/updatenow_tests", name, *map(os.fsencode, cells)]
    return os.fsdecode(subprocess.run(command, stdout=subprocess.PIPE, check=True).stdout)


# The file comes as it is, since an argument cannot hold each byte.
def ini(text, keys):
    write("test.conf", text)
    return call("ini", keys)


# What an update to a:x,b:y from two mirrors tells its watcher, and what is installed then.
def events(form, at, files=""):
    install(form)
    write_tree(BASES, files_of(form, files))
    write_tree(MIRROR, mirror_of(form, "a:x,b:y", 2))
    configure(f"ServerList={mirror()},{mirror()}")
    told = call("events", at).replace(f"http://{mirror()}", "M")
    return f"{told} {state_of(form, BASES)}"


# The files and indexes are there, so the function is told of their paths.
def changes(form, old, new, files):
    write_tree(BASES, files_of(form, files))
    write("old", index_of(form, old.split(";")))
    write("new", index_of(form, new.split(";") if new else []))
    return call("changes", form, old and "old", "cancelled" if "cancelled" in old else "")


# The call of wget, or what is shown and logged when there is none.
def settings(form, lines):
    install(form)
    configure("ServerList=m", lines)
    variables = "env | grep -E '_proxy=|^LC_ALL|^GZIP|^POSIX' | sort"
    stand_in("wget", f"""{{ printf '<%s> ' "$@"; {variables}; }} >calls""")
    shown, _ = outcome_of(f"export GZIP=-k POSIXLY_CORRECT=1 LC_ALL=de; exec {BUILD}/updatenow")
    log = read(LOG)
    return read("calls") or shown + log[log.find("\n"):]


# The tests: names and functions.
def all_tests():
    for path in (HERE / "cases").glob("*.txt"):
        words, paragraphs = read_table(path)
        for header, rows in paragraphs:
            form, *names = header.split()
            if not names:
                yield f"Function.{form}", functools.partial(try_function, form, words, rows)
            for one in ["kav", "bd"] if form == "both" else [form]:
                for variant in names[1:] or [""] * len(names):
                    name = f"{one.title()}.{names[0]}" + f"/{variant}" * bool(variant)
                    yield name, functools.partial(try_update, one, variant, words, rows)


def try_function(name, words, rows):
    install("kav")
    bodies = {"changes": changes, "events": events, "ini": ini, "settings": settings}
    body = bodies.get(name, functools.partial(call, name))
    try_rows(rows, words, lambda *cells: expect("it", body(*cells[:-1]), cells[-1]))


def try_update(form, variant, words, rows):
    update = Update(form, variant, words)
    try_rows([*rows, ("the end", "settle")], update.words, update.step)


if len(sys.argv) == 2:
    print(";".join(name for name, _ in all_tests()), end="")
elif "UPDATENOW_PRIVATE" not in os.environ:
    sys.exit("run this by scripts/private-root")
else:
    dict(all_tests())[sys.argv[2]]()
    sys.exit(bool(failures))
