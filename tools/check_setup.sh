#!/bin/sh
# Usage: check_setup.sh BASES TEMP BACKUP FOLDER
#
# The questions of updatenow-check --setup that a shell can answer. updatenow-check holds this
# script and runs it. It prints a line for each question: what was found, a tab, and what to do.
# Nothing stands behind the tab when all is well. FOLDER is the folder that the database must
# have. Without it, the directory of the database itself must exist. The configuration may lack
# any of the directories, which are empty then.
set -u
bases=$1 temp=$2 backup=$3 folder=$4
etc=/opt/Quorvex/etc run=/opt/Quorvex/var/run var=/var/Quorvex/var timer=quorvex-updatenow.timer

say() { printf '%s\t%s\n' "$1" "$2"; }

# Usage: ask WHAT TODO COMMAND... The command prints what is wrong, if anything is.
ask() {
  what=$1 todo=$2
  shift 2
  wrong=$("$@" 2>/dev/null | tr '\n\t' '  ')
  if [ -z "$wrong" ]; then say "$what" ''; else say "$what: ${wrong% }" "$todo"; fi
}

other_wget() { wget --version 2>&1 | sed -n '/^GNU Wget 1[.]/q;p;q'; }
idle_timer() {
  # Without systemd or the package there is no timer. cron may take its place.
  systemctl show -p LoadState --value "$timer" | grep -qx 'loaded\|masked' || return
  systemctl -q is-enabled "$timer" && systemctl -q is-active "$timer" && return
  grep -rqs '^[^#]*updatenow-run' /etc/cron* /var/spool/cron || echo "$timer is off"
}
# Prints the directories that the unit, if there is one, may not write to.
closed_directories() {
  writable=$(systemctl show -p ReadWritePaths --value quorvex-updatenow.service) || return
  for directory in "$bases" "$temp" "$backup"; do
    # systemd allows "-" and "+" before a path.
    for path in $writable; do
      case $directory/ in / | "/${path#*/}"/*) continue 2 ;; esac
    done
    [ -z "$writable" ] || echo "may not write to $directory"
  done
}
plain_hooks() { find -L "$etc/updated.d" -maxdepth 1 -type f ! -name '.*' ! -perm -100; }
foreign_lock() {
  pid=$(sed 's/.*://;q' "$run/checkupdate") && [ "$pid" -gt 0 ] && name=$(cat "/proc/$pid/comm") &&
    [ "$name" != updatenow ] && echo "$run/checkupdate names process $pid, which is $name"
}
no_file() { find "$1" ! -type f; }
open_password() {
  grep -q '^[[:space:]]*ProxyPass' "$1" && find "$1" -perm /004 -o -perm /040 ! -gid 0
}
ask wget 'GNU Wget 1.x is the one that works' other_wget
ask 'the timer' "systemctl enable --now $timer" idle_timer
ask 'the service' 'add it to ReadWritePaths: systemctl edit quorvex-updatenow' closed_directories
ask 'the hooks' 'chmod +x it, or it never runs' plain_hooks
ask 'the lock' 'remove that file; no update runs while it is there' foreign_lock
ask 'the log' 'remove it; it must be a file and no link' no_file "$var/log/updates.log"
ask 'the state' 'remove it; updatenow-run makes a file there' no_file "$var/state/updatenow.prom"
ask 'the password' 'others can read it: chown root:root, chmod 600' open_password "$etc/updates.conf"

# Usage: loose DIRECTORY TYPES. Prints what others than root may write to: the directory, what
# is in it, and the directories above it. With the sticky bit, a directory above is safe.
loose() {
  # In a user namespace the machine's root has another number, which is that of "/".
  root=$(stat -c %u /)
  find -L "$1" -maxdepth 2 -type "$2" \( ! -uid 0 ! -uid "$root" -o -perm /022 \)
  # The directories above a link count, and those above its target.
  for path in "$(realpath -s "$1")" "$(realpath "$1")"; do
    while path=$(dirname "$path") && [ "$path" != / ]; do
      find -L "$path" -maxdepth 0 \( ! -uid 0 ! -uid "$root" -o -perm /022 ! -perm -1000 \)
    done
  done
}
# Usage: directory WHAT PATH TYPES [must]. With "must" the directory has to exist.
directory() {
  place=$2 todo=''
  while [ ! -e "$place" ]; do place=$(dirname "$place"); done
  others=$(loose "$place" "$3" 2>/dev/null | head -n 1)
  # The directories that are asked for their files are the program's own. They take some KiB,
  # and the others a database.
  needed=$(if [ "$3" = d ]; then du -sk "$bases" 2>/dev/null | cut -f 1; else echo 1; fi)
  free=$(df --output=avail -k "$place" | sed 1d)
  # The last one counts. No run writes to $etc, so that may lie on a full or read-only disk.
  [ "$place" = "$etc" ] || ! [ "$free" -lt "$needed" ] 2>/dev/null ||
    todo="less than $needed KiB is free there; make space"
  [ -z "$others" ] || todo="others than root may write to $others; chown it to root, chmod it go-w"
  [ "$place" = "$etc" ] || [ -w "$place" ] || todo='it cannot be written to; look how it is mounted'
  [ "${4-}" != must ] || [ "$place" = "$2" ] || todo='make it; it must exist'
  [ -d "$place" ] || todo='it cannot be made; look at the directories above it'
  say "$1 $2" "$todo"
}
for own in "$etc" "$run" "$var/log" "$var/state"; do directory 'the directory' "$own" d,f must; done
[ -z "$bases" ] || directory BasesPath "$bases" d "$([ -n "$folder" ] || echo must)"
[ -z "$temp" ] || directory TempPath "$temp" d
[ -z "$backup" ] || directory BackUpPath "$backup" d
[ -z "$folder" ] || [ ! -d "$bases" ] || directory "the database's folder" "$bases/$folder" d must
