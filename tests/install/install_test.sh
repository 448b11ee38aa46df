#!/bin/bash
# Usage: install_test.sh BUILD_FOLDER SOURCE_FOLDER TREE PREFIX READELF
# Installs the build into one folder, moves it to PREFIX, and fails unless exactly the files that
# TREE lists are there, none of them names a folder of this machine, and every library of ours is
# looked for by a path relative to the file that needs it. PREFIX stays for the tests that use it.
set -euo pipefail
build=$1 source=$2 tree=$3 prefix=$4 readelf=$5

failed=0
complain() {
  echo "install: $*"
  failed=1
}

staging=$prefix.staging
rm -rf "$staging" "$prefix"
cmake --install "$build" --prefix "$staging" --strip >/dev/null
mv "$staging" "$prefix"

expected=$(grep -v '^#' "$tree" | LC_ALL=C sort)
found=$(find "$prefix" -type f -printf '%P\n' -o -type l -printf '%P -> %l\n' | LC_ALL=C sort)
difference=$(diff <(echo "$expected") <(echo "$found")) ||
  complain "files are missing (<) or too many (>), see tests/install/tree.txt.in:
$difference"

# The build folder may stand outside the sources; binaries are looked into as well.
named=$(grep -rlF -e "$source" -e "$build" -e "$staging" "$prefix") &&
  complain "these files name a folder of this machine:
$named"

ours='lib(dirty_seg|tessmar|onnxruntime)'
elf_count=0
while read -r file; do
  dynamic=$("$readelf" -Wd "$file" 2>/dev/null) || continue
  elf_count=$((elf_count + 1))
  # RPATH comes before LD_LIBRARY_PATH, by which a host chooses another engine; RUNPATH after it.
  ! grep -q '(RPATH)' <<<"$dynamic" || complain "$file has an RPATH, expected a RUNPATH"
  paths=$(sed -n 's/.*(RUNPATH).*\[\(.*\)\]/\1/p' <<<"$dynamic" | tr : '\n')
  if [ -z "$paths" ]; then
    ! grep -qE "NEEDED.*\[$ours" <<<"$dynamic" || complain "$file has no RUNPATH"
    continue
  fi
  foreign=$(grep -v '^[$]ORIGIN' <<<"$paths") && complain "$file looks for libraries in $foreign"
done < <(find "$prefix" -type f \( -name 'lib*.so*' -o -path '*/bin/*' \))
[ "$elf_count" -ge 4 ] || complain "$elf_count ELF files, expected three libraries and the program"

[ "$failed" -eq 0 ] || exit 1
echo "install: $(wc -l <<<"$found") files in a tree that can be moved"
