# An installation of updatenow in a private root, its databases and runs, for campaigns in
# Python. The script that starts them has sourced scripts/lib/installation, which has made the
# databases and serves the mirror.
import os
import pathlib
import select
import shutil
import signal
import subprocess

FAULTS = pathlib.Path(os.environ.get("FAULTS", "."))
VAR, ETC = pathlib.Path("/var/Quorvex"), pathlib.Path("/opt/Quorvex/etc")
BASES, TEMP, BACKUP, LOG = VAR / "bases", VAR / "tmp", VAR / "backup", VAR / "var/log/updates.log"
LOCK, CONSOLE = pathlib.Path("/opt/Quorvex/var/run/checkupdate"), FAULTS / "console"
INDEX = {"kav": "avp.klb", "bd": "versions.dat"}
TITLE = {"kav": "Kaspersky-format", "bd": "BitDefender-format"}
NOWHERE = "127.0.0.1:9"


def check(holds, what):
    if not holds:
        raise AssertionError(what)


# Path -> contents.
def files(top):
    paths = [path for path in pathlib.Path(top).rglob("*") if path.is_file()]
    return {str(path.relative_to(top)): path.read_bytes() for path in paths}


# A database to be updated. KIND as in make_database, `port` is the mirror's.
class Installation:
    def __init__(self, updatenow, port, form, kind, backs_up=True):
        self.updatenow, self.port, self.form, self.backs_up = updatenow, port, form, backs_up
        self.index, self.folder = INDEX[form], FAULTS / f"{form}-{kind}"
        self.old, self.new = files(self.folder / "old"), files(self.folder / "new")
        self.restore()

    # The old database, and nothing that a run has left.
    def restore(self):
        (ETC / "qxav-ver").write_text("2" if self.form == "kav" else "3")
        backup = f"BackUpPath={BACKUP}\n" if self.backs_up else ""
        (ETC / "qxav.conf").write_text(f"[path]\nBasesPath={BASES}\nTempPath={TEMP}\n{backup}")
        for folder in BASES, TEMP, BACKUP:
            shutil.rmtree(folder, ignore_errors=True)
        LOCK.unlink(missing_ok=True)
        if (self.folder / "old").exists():
            shutil.copytree(self.folder / "old", BASES)

    def address(self, mirror):
        return NOWHERE if mirror == "away" else f"127.0.0.1:{self.port}"

    # Runs updatenow and returns its status. The commands that it runs are those in
    # $FAULTS/bin, which find the plan on their standard input, a line for each. With a tracer,
    # for instance strace, they are the real ones. MIRROR: new, away or another of the database.
    def run(self, mirror="new", plan=(), tracer=()):
        (ETC / "updates.conf").write_text(f"[Update]\nServerList={self.address(mirror)}\n")
        if mirror != "away":
            source = self.folder / f"{mirror}-mirror"
            subprocess.run(["ln", "-sfn", source, FAULTS / "mirror"], check=True)
        (FAULTS / "plan").write_text("".join(fault + "\n" for fault in plan))
        (FAULTS / "calls").write_text("")
        LOG.unlink(missing_ok=True)
        # Leaks cannot be looked for in a traced program.
        settings = {"ASAN_OPTIONS": "detect_leaks=0", "PATH": os.environ["REAL_PATH"]}
        if not tracer:
            settings = {"PATH": f"{FAULTS}/bin:{os.environ['REAL_PATH']}"}
        end, held = os.pipe()
        with open(FAULTS / "plan", "rb") as commands, open(CONSOLE, "wb") as console:
            program = subprocess.Popen(
                [*tracer, self.updatenow], stdin=commands, stdout=console, stderr=console,
                env={**os.environ, **settings}, pass_fds=[held], start_new_session=True)
        os.close(held)
        # All its commands must have ended, too.
        hangs = not select.select([end], [], [], 30)[0]
        os.close(end)
        if hangs:
            os.killpg(program.pid, signal.SIGKILL)
        status = program.wait()
        check(not hangs, "it hangs")
        return status

    # Gives the directory a disk with so many KiB free (fill-disk). Returns whether that works.
    def fill_disk(self, kind, directory, free):
        command = [pathlib.Path(__file__).parent / "fill-disk", kind, directory, str(free)]
        done = subprocess.run([*command, self.folder / "old"], capture_output=True, check=False)
        return done.returncode == 0


def empty_disk():
    (FAULTS / "disk/filler").unlink(missing_ok=True)


def unmount_disk():
    empty_disk()
    subprocess.run(["umount", "-lq", BASES, TEMP, BACKUP, FAULTS / "disk"],
                   stderr=subprocess.DEVNULL, check=False)
