#!/bin/sh
# Usage: media_elf_test.sh NM READELF PROGRAM LIBRARY
# Fails unless the program starts without OpenCV's libraries for pictures and videos in files, which
# its media library is linked with, and that exports its one function and nothing else.
set -eu
nm=$1 readelf=$2 program=$3 library=$4

failed=0
complain() {
  echo "media: $*"
  failed=1
}

needed_by() { "$readelf" -d "$1" | sed -n 's/.*(NEEDED).*\[lib\(.*\)\.so.*/\1/p'; }

needed=$(needed_by "$program")
echo "$needed" | grep -qx opencv_core || complain "$program needs no opencv_core: $needed"
for part in opencv_imgcodecs opencv_videoio; do
  ! echo "$needed" | grep -qx "$part" || complain "$program needs $part"
  needed_by "$library" | grep -qx "$part" || complain "$library does not need $part"
done

exported=$("$nm" -D --defined-only "$library" | cut -d ' ' -f 3)
[ "$exported" = DirtySegMedia ] || complain "$library exports $exported, expected DirtySegMedia"
exit "$failed"
