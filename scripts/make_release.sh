#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# make_release.sh [--draft] VERSION: writes build/quorivex-VERSION.tar.xz, the sources of the last
# commit with the plotting library of qvx's pages, so that they build without a network. The same
# commit makes the same bytes. A draft holds the files as they are now, whether committed or not.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."

draft=false
if [ "${1:-}" = --draft ]; then
  draft=true
  shift
fi
[ $# -eq 1 ] || { echo "Usage: scripts/make_release.sh [--draft] VERSION" >&2; exit 2; }
version=$1
name=quorivex-$version
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

# expect FILE TEXT: the file has a line that begins with the text.
expect() {
  awk -v text="$2" 'index($0, text) == 1 { found = 1 } END { exit !found }' "$1" ||
    { echo "$1: no line begins with \"$2\"." >&2; exit 1; }
}
expect VERSION "$version"
expect CITATION.cff "version: $version"
expect CHANGELOG.md "## [$version] - $($draft || echo 2)"  # a date
expect packaging/debian/changelog "quorivex ($version-"

# The commit to pack. A draft is one of a repository of its own, dated as the Debian changelog.
if $draft; then
  GIT_DIR=$scratch/git
  GIT_AUTHOR_DATE=$(dpkg-parsechangelog -l packaging/debian/changelog -S Date)
  export GIT_DIR GIT_WORK_TREE=$PWD GIT_AUTHOR_DATE GIT_COMMITTER_DATE=$GIT_AUTHOR_DATE
  export GIT_AUTHOR_NAME=draft GIT_AUTHOR_EMAIL=draft GIT_COMMITTER_NAME=draft GIT_COMMITTER_EMAIL=draft
  git init -q
  git add --all
  git commit -q -m "Draft of $version"
elif [ -n "$(git status --porcelain)" ]; then
  echo "There are changes that are not committed: commit them, or make a draft with --draft." >&2
  exit 1
fi
git archive --prefix="$name/" HEAD | tar -x -C "$scratch"
date=$(git log -1 --format=%ct HEAD)

web=src/workbench/page/web
cp $web/package.json $web/package-lock.json "$scratch"
(cd "$scratch" && npm ci --omit=dev --ignore-scripts --no-audit --no-fund --loglevel=error >/dev/null)
mkdir "$scratch/$name/plotly"
cp "$scratch"/node_modules/plotly.js-cartesian-dist-min/{plotly-cartesian.min.js,LICENSE} \
  "$scratch/$name/plotly"

mkdir -p build
tar -c -C "$scratch" --format=gnu --sort=name --mtime="@$date" --owner=0 --group=0 --numeric-owner \
  --mode=u=rwX,go=rX "$name" | xz -T1 >"build/$name.tar.xz.part"
mv "build/$name.tar.xz.part" "build/$name.tar.xz"
(cd build && sha256sum "$name.tar.xz")
