#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# bare_debian.sh DEBS_FOLDER [TREE]: installs the packages of a folder in a bare Debian 12 and does
# there, as an ordinary user, what README.md describes. What was typed and what came out goes to
# standard output in the form of docs/install-trial.md; the status is 1 where anything fails. TREE,
# made anew, is kept; without it the tree is removed at the end. As root on Debian 12 with
# debootstrap; packages come from where this machine has them from.
set -euo pipefail

[ $# -ge 1 ] || { echo "Usage: $0 DEBS_FOLDER [TREE]" >&2; exit 1; }
debs=$(readlink -f "$1")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
tree=$(readlink -m "${2:-$work/tree}")
log=$work/log

# inside COMMAND...: in the tree, with processes, devices and mounts that end with the command.
inside() {
  # shellcheck disable=SC2016
  unshare --mount --pid --fork -- bash -c '
    mount -t proc proc "$1/proc"
    mount --rbind /sys "$1/sys"
    mount --rbind /dev "$1/dev"
    exec chroot "$1" /usr/bin/env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 \
      DEBIAN_FRONTEND=noninteractive "${@:2}"' - "$tree" "$@"
}

# as_user [COMMAND...]: runs the shell script of standard input as an ordinary user; with the command
# before it, if there is one.
as_user() {
  cat >"$tree/tmp/commands"
  inside "$@" runuser --login user --command 'bash -e /tmp/commands' </dev/null 2>&1
}

# quietly COMMAND...: its output only where it fails.
quietly() { "$@" >"$log" 2>&1 || { tail -n 30 "$log" >&2; return 1; }; }

# The sources and proxies of this machine for the tree.
make_tree() {
  local sources mirror
  # shellcheck disable=SC2016
  sources=$(apt-get indextargets --format 'deb $(REPO_URI) $(RELEASE) $(COMPONENT)' \
    'Identifier: Packages' 'Origin: Debian' | grep -E ' bookworm(-updates|-security)? ' | sort -u)
  mirror=$(awk '$3 == "bookworm" { print $2; exit }' <<<"$sources")
  [ -n "$mirror" ] || { echo "This machine's apt knows no source of Debian 12." >&2; return 1; }
  [ ! -e "$tree" ] || { echo "$tree exists already." >&2; return 1; }
  quietly debootstrap --variant=minbase --include=ca-certificates bookworm "$tree" "$mirror"
  printf '%s\n' "$sources" >"$tree/etc/apt/sources.list"
  apt-config dump | grep -iE '^Acquire::(https?::)?proxy' >"$tree/etc/apt/apt.conf.d/proxy" || true
  echo force-unsafe-io >"$tree/etc/dpkg/dpkg.cfg.d/fast"
  quietly inside sh -c 'apt-get update && apt-get dist-upgrade -y'
  inside useradd --create-home --shell /bin/bash user
  cp "$debs"/*.deb "$tree/home/user/"
}

# commands_of SECTION: the commands of a section of the README on standard input, or of what stands
# before the first one, as a shell script that shows each before it runs. Commands stand in indented
# blocks and begin with a letter; all else there is output. What wants sudo has been done.
commands_of() {
  awk -v heading="${1:+## $1}" '
    BEGIN { wanted = heading == "" }
    /^## / { wanted = $0 == heading }
    !wanted || /^ +sudo / { next }
    continued || /^    +[a-z]/ {
      if (!continued) { command = ""; match($0, /^ +/); margin = RLENGTH }
      command = command substr($0, margin + 1) "\n"
      continued = /\\$/
      if (!continued) printf "cat <<\"END\"\n$ %sEND\n%s", command, command
    }'
}

# typed FOLDER COMMAND...: shows and runs commands in a folder of the user.
typed() {
  local command
  printf 'cd %s\n' "$1"
  for command in "${@:2}"; do
    printf 'cat <<"END"\n$ %s\nEND\n%s\n' "$command" "$command"
  done
}

block() { sed -E 's/[[:space:]]+$//; s/^(.)/    \1/'; echo; }

install() {
  printf '# Trial of an installation\n\n'
  printf 'Written by packaging/bare_debian.sh: Debian %s for %s, minimal, with %s packages.\n\n' \
    "$(cat "$tree/etc/debian_version")" "$(inside dpkg --print-architecture)" \
    "$(inside dpkg-query -W | wc -l)"
  printf '## Install\n\nAs root, in the folder with the packages:\n\n'
  {
    echo '$ apt-get install ./*.deb'
    quietly inside sh -c 'cd /home/user && apt-get install -y ./*.deb'
    grep -E 'newly installed|^Need to get|disk space|^Setting up .*quorivex' "$log"
  } | block
}

# walk TITLE SECTION: the commands of a section of the README that is installed. A network of their
# own has no way out.
walk() {
  printf '## %s\n\n' "$1"
  commands_of "$2" <"$work/README.md" | as_user unshare --net | block
}

# What README.md says about the result against the result.
compare() {
  local said found folder=$tree/home/user/osborne
  said=$(tr '\n' ' ' <"$work/README.md" |
    sed -nE 's/.*takes ([0-9]+) iterations to a misfit of ([0-9]+) .*largest value, ([0-9.]+) SI.*/\1 \2 \3/p')
  found=$(awk '/^ *[0-9]/ { iteration = $1; misfit = $3 } END { printf "%d %.0f", iteration, misfit }' \
    "$folder/quorivex.out")
  found+=$(printf ' %.3f' "$(sort -g "$folder/$(printf 'quorivex_%03d.sus' "${found%% *}")" | tail -n 1)")
  printf 'Iterations, misfit and largest susceptibility (SI): README.md says %s, this run %s.\n\n' \
    "${said:-nothing}" "$found"
  [ "$said" = "$found" ]
}

extras() {
  printf '## Several processes, Python\n\n'
  typed osborne 'mkdir two && cp survey.* two' \
    'cd two; OMP_NUM_THREADS=1 mpiexec -n 2 quorivex-mpi survey.inp | tail -n 5; cd ..' \
    'cmp quorivex_013.sus two/quorivex_013.sus && echo the same' \
    "python3 -c 'import quorivex; print(quorivex.__version__)'" | as_user | block
  printf '## Manual pages and completion\n\nWith the packages man-db and bash-completion:\n\n'
  quietly inside apt-get install -y --no-install-recommends man-db bash-completion
  typed . 'man quorivex | head -n 8' 'man -w qvx-survey' | as_user | block
  printf 'What the Tab key offers after "qvx s" and "qvx survey --ta":\n\n'
  as_user <<'END' | block
. /usr/share/bash-completion/bash_completion
_completion_loader qvx || true
offered() {
  COMP_WORDS=("$@") COMP_CWORD=$(($# - 1)) COMP_LINE="$*"
  COMP_POINT=${#COMP_LINE} COMPREPLY=()
  "$(complete -p qvx | sed 's/.*-F \([^ ]*\).*/\1/')" qvx "${!#}" "${@: -2:1}" || true
  [ ${#COMPREPLY[@]} -gt 0 ] && echo "${COMPREPLY[@]}"
}
offered qvx s
offered qvx survey --ta
END
}

make_tree
install
zcat --force "$tree"/usr/share/doc/quorivex/README.md* >"$work/README.md"
printf 'The commands of the next two sections are those of README.md, as an ordinary user without a\n'
printf 'network.\n\n'
walk "The example" ""
walk "From a table to a model" "From a table to a model"
compare
extras
echo "Everything went as README.md says." >&2
