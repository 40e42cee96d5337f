#!/bin/sh
# Fetches expat's source as Debian has it, its security patches applied, for builds that can't link Debian's library.
#
#   scripts/fetch-expat.sh FOLDER      into FOLDER, unless this release is there already; needs no root
set -eu

# The upstream release that Debian 12 patches.
version=2.5.0
sha256=ab00ee05c7067fd10a35c5d2a4922ebba746ddd50ff83b79c828da17bbdf1757

folder=${1:?usage: fetch-expat.sh FOLDER}
# What the folder was made from: the digest and Debian's revision.
made_from="$folder/made-from"
if [ -f "$made_from" ]; then
    read -r made_digest made_revision <"$made_from"
    if [ "$made_digest" = "$sha256" ]; then
        echo "expat $made_revision is in $folder"
        exit 0
    fi
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/etc/sources" "$work/lists/partial" "$work/cache/archives/partial"
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
# The newest revision of this release that a mirror really has: some announce more than they keep.
download() {
    apt apt-get update || return 1
    for revision in $(apt apt-cache showsrc expat | sed -n "s/^Version: \($version-.*\)/\1/p" | sort -ruV); do
        rm -rf "$work/source"
        mkdir "$work/source"
        ! (cd "$work/source" && apt apt-get --download-only source "expat=$revision") || return 0
    done
    echo "no mirror has a source package of expat $version"
    return 1
}
if ! download >"$work/log" 2>&1; then
    cat "$work/log" >&2
    fail "cannot fetch the source package expat; the lines above say why. Is there a network and a Debian 12 mirror?"
fi
archive="expat_$version.orig.tar.gz"
echo "$sha256  $work/source/$archive" | sha256sum --quiet --check - || fail "$archive is not what it should be"
(cd "$work/source" && dpkg-source --extract ./*.dsc unpacked) >"$work/log" 2>&1 || {
    cat "$work/log" >&2
    fail "cannot unpack the source package expat"
}
# Whole or not at all: a copy that was cut short is no folder of that name.
rm -rf "$folder" "$folder.part"
mkdir -p "$(dirname "$folder")"
cp -R "$work/source/unpacked/expat" "$folder.part"
echo "$sha256 $revision" >"$folder.part/made-from"
mv "$folder.part" "$folder"
echo "expat $revision, fetched into $folder"
