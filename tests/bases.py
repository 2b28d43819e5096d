# Bases in short, and an installation for them at its fixed paths.
#
# "a:x,Plugins/b:y" are two files, each 1 KiB of its letter (with the signature line, in
# the format that has one); "a:" is an empty one. An index is written by its number, as
# "index:2", an open journal by the indexes of before (if any) and to come, and "+"
# when it names a backup, as "journal:12+". The formats are "kav" and "bd".
import gzip
import hashlib
import os
import pathlib
import shutil
import subprocess

from installation import BACKUP, BASES, ETC, INDEX, TEMP


# The contents of a file, as text whose odd characters stand for single bytes.
def read(path):
    try:
        return os.fsdecode(pathlib.Path(path).read_bytes())
    except OSError:
        return ""


def write(path, data):
    path = pathlib.Path(path)
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_bytes(os.fsencode(data))


# Replaces the directory. A tree: path -> contents.
def write_tree(directory, tree):
    shutil.rmtree(directory, ignore_errors=True)
    os.makedirs(directory)
    for name, data in tree.items():
        write(f"{directory}/{name}", data)


def contents_of(form, letter):
    end = "" if form == "bd" else "\r\n"
    return os.fsencode((1024 - len(end)) * letter + end if letter else "")


def last_line(number):
    return f";{57 * str(number)}\r\n"


# The files as they lie in a database.
def files_of(form, files):
    names = [file.rpartition(":") for file in files.split(",") if file]
    return {name: contents_of(form, letter) for name, _, letter in names}


# The text of an index that lists the files; one without a colon is a line as it is.
def index_of(form, files):
    text = "" if form == "bd" else "[bases]\r\n"
    for file in files:
        name, colon, letter = file.rpartition(":")
        if not colon:
            text += file + "\r\n"
        elif form == "bd":
            digest = hashlib.md5(contents_of(form, letter)).hexdigest()
            text += f"+ {digest} {name} 1024\n"
        else:
            text += f"B={name},{58 * file[-1]},1024,\r\n"
    return text


# The files and their index as they lie on a mirror.
def mirror_of(form, files, number):
    tree = files_of(form, files)
    if form == "bd":
        tree = {f"avx/{name}.gzip": gzip.compress(data) for name, data in tree.items()}
    index = index_of(form, files.split(",") if files else []) + last_line(number)
    return {**tree, INDEX[form]: os.fsencode(index)}


# What a directory holds, in short: "?" for contents of no other kind, "nothing" also
# for a directory that is not there, and directories that are empty, but for Plugins.
def state_of(form, directory):
    index, journal, labels = INDEX[form], f".{INDEX[form]}.journal/", {}

    def label(name):
        data = read(f"{directory}/{name}")
        numbers = [number for number in "12" if data.endswith(last_line(number))]
        is_plain = os.fsencode(data) == contents_of(form, data[:1])
        return (numbers + [data[:1] if is_plain else "?"])[0]

    for path in pathlib.Path(directory).rglob("*"):
        name = str(path.relative_to(directory))
        if name == journal + "paths":
            backup = "+" if (path.parent / "backup").exists() else ""
            labels["journal"] = ":" + label(journal + "before") + label(journal + "coming") + backup
        elif path.is_file() and not name.startswith(journal):
            labels["index" if name == index else name] = ":" + label(name)
        elif path.is_dir() and name != "Plugins" and not any(path.iterdir()):
            labels[name] = "/"
    return ",".join(name + labels[name] for name in sorted(labels)) or "nothing"


# Makes a new installation without bases, and a scratch directory, the current one.
def install(form):
    os.chdir("/")
    subprocess.run(f"""umount {BACKUP} 2>&-; rm -rf /opt/Quorvex/* /var/Quorvex/*; cd /var/Quorvex
        mkdir -p {ETC} /opt/Quorvex/var/run var/log scratch bases""", shell=True, check=True)
    os.chdir("/var/Quorvex/scratch")
    write(ETC / "qxav-ver", "3\n" if form == "bd" else "2\n")


# Writes both configuration files; lines "Key = value" come after the defaults.
def configure(*lines):
    paths = ["[path]", f"BasesPath={BASES}", f"TempPath={TEMP}", f"BackUpPath={BACKUP}"]
    settings = ["[Update]", "TimeOut=5", "NoOfRetries=2"]
    for line in "\n".join(lines).split("\n"):
        (paths if "Path=" in line else settings).append(line)
    write(ETC / "qxav.conf", "\n".join(paths) + "\n")
    write(ETC / "updates.conf", "\n".join(settings) + "\n")


def stand_in(command, script):
    write(f"bin/{command}", f"#!/bin/sh\n{script}\n")
    os.chmod(f"bin/{command}", 0o755)


# Runs a shell command, for which alone stand-ins are first on PATH. Returns what it shows, and
# its exit status or the negative signal.
def outcome_of(command):
    line = f"export PATH=$PWD/bin:$PATH; {command}"
    done = subprocess.run(os.fsencode(line), shell=True, check=False, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT)
    shutil.rmtree("bin", ignore_errors=True)
    return os.fsdecode(done.stdout), done.returncode
