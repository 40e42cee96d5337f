#!/bin/sh
# Fetches expat's source as Debian has it, its security patches applied, for builds that can't link Debian's library.
#
#   scripts/fetch-expat.sh FOLDER      into FOLDER, unless it is there already; needs no root
set -eu

# The upstream release that Debian 12 patches.
version=2.5.0
sha256=ab00ee05c7067fd10a35c5d2a4922ebba746ddd50ff83b79c828da17bbdf1757

folder=${1:?usage: fetch-expat.sh FOLDER}
[ ! -f "$folder/lib/xmlparse.c" ] || exit 0

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/etc/sources" "$work/lists/partial" "$work/cache/archives/partial" "$work/source"
# The machine's own mirrors, asked for sources.
for list in /etc/apt/sources.list /etc/apt/sources.list.d/*.list; do
    if [ -f "$list" ]; then sed -n 's/^deb /deb-src /p' "$list" >"$work/etc/sources/$(basename "$list" .list).list"; fi
done
for list in /etc/apt/sources.list.d/*.sources; do
    if [ -f "$list" ]; then sed 's/^Types:.*/Types: deb-src/' "$list" >"$work/etc/sources/$(basename "$list")"; fi
done
apt() {
    command=$1
    shift
    "$command" -q -o Dir::Etc::SourceList=/dev/null -o Dir::Etc::SourceParts="$work/etc/sources" \
        -o Dir::State::Lists="$work/lists" -o Dir::Cache="$work/cache" -o APT::Sandbox::User=root "$@"
}
fail() {
    echo "fetch-expat.sh: $1" >&2
    exit 1
}
# The newest that a mirror really has: some announce more than they keep.
download() {
    apt apt-get update || return 1
    for wanted in $(apt apt-cache showsrc expat | sed -n 's/^Version: //p' | sort -rV); do
        ! (cd "$work/source" && apt apt-get --download-only source "expat=$wanted") || return 0
    done
    return 1
}
if ! download >"$work/log" 2>&1; then
    cat "$work/log" >&2
    fail "cannot fetch the source package expat; the lines above say why. Is there a network and a Debian 12 mirror?"
fi
original=$(ls "$work"/source/expat_*.orig.tar.gz)
[ "$(basename "$original")" = "expat_$version.orig.tar.gz" ] || fail "$(basename "$original") is not the release $version"
echo "$sha256  $original" | sha256sum --quiet --check - || fail "$(basename "$original") is not what it should be"
(cd "$work/source" && dpkg-source --extract ./*.dsc unpacked) >"$work/log" 2>&1 || {
    cat "$work/log" >&2
    fail "cannot unpack the source package expat"
}
mkdir -p "$folder"
cp -R "$work/source/unpacked/expat/." "$folder"
