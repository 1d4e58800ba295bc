#!/usr/bin/env bash
# fetch-deps.sh FOLDER: gets the source packages that are built for Windows, verified, unpacked.
#
# Works with private lists and cache, so neither /etc/apt nor apt's state is changed and no root
# is needed. apt verifies the chain from the archive's signature to every file; the upstream
# archives, which never change between package revisions, are pinned here as well.
set -euo pipefail
# shellcheck source=scripts/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

dest=$(realpath -m "${1:?usage: fetch-deps.sh FOLDER}")
state=$dest/apt
mkdir -p "$dest/archives" "$state/parts" "$state/lists/partial" "$state/cache/archives/partial"

# name, upstream version, SHA-256 of the upstream archive
sources='
libjsoncpp 1.9.5 f409856e5920c18d0c2fb85276e24ee607d2a09b5e7d5f0a371368903c275da2
expat      2.5.0 ab00ee05c7067fd10a35c5d2a4922ebba746ddd50ff83b79c828da17bbdf1757'

# The source lines are derived from the machine's own package sources, in whichever format those
# are written. The security suite is left out: its pool does not serve every source file.
keyring=/usr/share/keyrings/debian-archive-keyring.gpg
[ -r "$keyring" ] || die "$keyring is missing (package debian-archive-keyring)"
apt-get indextargets --format '$(REPO_URI) $(RELEASE) $(COMPONENT)' 'Created-By: Packages' |
    sort -u |
    awk -v key="$keyring" '$1 !~ /security/ && $3 == "main" &&
        $2 ~ /^(bookworm|oldstable|stable)(-updates)?$/ {
            print "deb-src [signed-by=" key "]", $1, $2, $3 }' >"$state/parts/source.list"
[ -s "$state/parts/source.list" ] ||
    die "no Debian 12 main archive among the package sources of this machine"

apt_options=(-q -o Dir::Etc::sourcelist=/dev/null -o Dir::Etc::sourceparts="$state/parts"
    -o Dir::State::Lists="$state/lists" -o Dir::Cache="$state/cache"
    -o APT::Sandbox::User=root -o Acquire::Retries=3)

apt-get "${apt_options[@]}" update
cd "$dest/archives"
while read -r name upstream sum; do
    [ -n "$name" ] || continue
    version=$(apt-cache "${apt_options[@]}" showsrc --only-source "$name" |
        awk '/^Version:/ {print $2}' | grep -E "^([0-9]+:)?${upstream//./\\.}-" |
        sort -rV | head -n 1)
    [ -n "$version" ] || die "the archive serves no source package $name $upstream"
    apt-get "${apt_options[@]}" --only-source source --download-only "$name=$version"
    echo "$sum  ${name}_$upstream.orig.tar.gz" | sha256sum -c -
    rm -rf "${dest:?}/$name"
    # The developers' signatures of .dsc files cannot be checked with the archive's keyring.
    dpkg-source --no-check -x "${name}_${version#*:}.dsc" "$dest/$name"
done <<<"$sources"

# expat's CMake files do not suit this build in two places: the packaged patches compare XML_DTD
# with 1 while the configuration header defines it empty, and the DLL would be named libexpat-1.
expat=$dest/expat/expat
sed -i 's/^#cmakedefine XML_DTD$/#cmakedefine XML_DTD 1/' "$expat/expat_config.h.cmake"
sed -i '/set_target_properties(expat PROPERTIES SUFFIX/s/"-[^"]*"/".dll"/' "$expat/CMakeLists.txt"
grep -q '^#cmakedefine XML_DTD 1$' "$expat/expat_config.h.cmake" ||
    die "expat_config.h.cmake is not the file this script knows"
grep -q 'PROPERTIES SUFFIX ".dll"' "$expat/CMakeLists.txt" ||
    die "expat's CMakeLists.txt is not the file this script knows"
