#!/usr/bin/env bash
# make-sample-tree.sh FOLDER: fills a new folder with something to find for every search.
#
# Big files are sparse: they have their size but take no room on the disk. The content of all
# others is the same in every run.
set -euo pipefail
# shellcheck source=scripts/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

root=${1:?usage: make-sample-tree.sh FOLDER}
[ ! -e "$root" ] || die "$root exists already"
mkdir -p "$root"
cd "$root"

# filled FILE BYTES WORD: a file of exactly so many bytes, made of one word.
filled() {
    mkdir -p "$(dirname "$1")"
    # yes is ended by the closing pipe, which is no failure here.
    { yes "$3" || true; } 2>/dev/null | head -c "$2" >"$1"
}

# sparse FILE BYTES
sparse() {
    mkdir -p "$(dirname "$1")"
    truncate -s "$2" "$1"
}

sparse 'Videos/holiday 2023.mp4' 734003200
sparse 'Videos/raw/interview.mov' 1288490188
sparse 'Backups/disk.iso' 2147483648
sparse 'Backups/mail.zip' 367001600

filled 'Pictures/2023/sunset.jpg' 3145728 sunset
filled 'Pictures/2023/copy of sunset.jpg' 3145728 sunset
filled 'Pictures/favourites/sunset.jpg' 3145728 sunset
filled 'Pictures/2023/harbour.jpg' 3145728 harbour
filled 'Downloads/setup.exe' 1048576 setup
filled 'Downloads/setup (1).exe' 1048576 setup
filled 'Music/Übung €.mp3' 2097152 music

for level in 1/one.txt 1/2/two.txt 1/2/3/three.txt 1/2/3/4/four.txt; do
    filled "Projects/$level" 4000 "$level"
done
for number in 01 02 03 04 05 06 07 08 09 10 11 12; do
    filled "Documents/report-$number.txt" "$((10#$number * 1500))" "report $number"
done

filled 'Documents/~report.doc' 20000 draft
filled 'Temp/install.tmp' 262144 unpacked
filled 'Temp/session.temp' 65536 session
filled 'Pictures/Thumbs.db' 40000 thumb
