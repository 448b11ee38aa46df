#!/bin/bash
# Usage: program_test.sh PREFIX
# Fails unless the installed program, with the sample configuration, finds on the demo's frame what
# found.txt lists, says so where its media library is missing, writes files to start from that name
# the installed schemas, and its man page has the commands and options of its help, all and no other.
# EMULATOR in the environment stands before the program.
set -euo pipefail
prefix=$1
expected=$(dirname "$(realpath "$0")")/found.txt
# shellcheck disable=SC2206  # the emulator has arguments
program=(${EMULATOR-} "$prefix/bin/dirty_seg")

cd "$prefix/share/dirty_seg"
result=$("${program[@]}" detect --model demo/dirt-seg.onnx --config sample.yaml \
  --fece-model demo/fece-check.onnx --fece-class-ids 5 demo/planks.jpg)
diff "$expected" <(python3 -c '
import json, sys
record = json.load(sys.stdin)
for label, box in zip(record["labels"], record["bboxes"]):
    print("label", label, "box", *(f"{side:.0f}" for side in box))' <<<"$result" | LC_ALL=C sort) || {
  echo "program: expected what stands left (<), found what stands right (>)"
  exit 1
}

# The same without the media library.
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp -rs "$prefix/." "$work"
cp --remove-destination "$prefix/bin/dirty_seg" "$work/bin"
find "$work" -name libdirty_seg_media.so -delete
status=0
# shellcheck disable=SC2086  # the emulator has arguments
words=$(${EMULATOR-} "$work/bin/dirty_seg" check sample.yaml --frame demo/planks.jpg \
  --output "$work/drawn.png" 2>&1 >/dev/null) || status=$?
[[ $status -eq 2 && $words == *": libdirty_seg_media.so: cannot open shared object file: No such "* ]] || {
  echo "program: without its media library, it says '$words' with exit status $status"
  exit 1
}

"${program[@]}" init demo/dirt-seg.onnx --output "$work/made" 2>/dev/null
for name in config host; do
  schema=$(sed -n '1s|^# yaml-language-server: [$]schema=file://||p' "$work/made/$name.yaml")
  [[ -f $schema && $schema -ef schema/$name.schema.json ]] || {
    echo "program: init's $name.yaml names the schema '$schema'"
    exit 1
  }
done

help() { "${program[@]}" "$@" --help; }
commands=$(help | sed -n '/^Subcommands:/,$s/^  \([a-z-]*\) .*/\1/p')
options=$({ help; for command in $commands; do help "$command"; done; } |
  grep -E '^ +-' | grep -oE '(^|[ ,])--?[a-z][-a-z]*' | tr -d ' ,' | sort -u)
[ "$(wc -l <<<"$options")" -ge 10 ] || {
  echo "program: the help names only these options: $options"
  exit 1
}
page=$(zcat "$prefix/share/man/man1/dirty_seg.1.gz" | sed 's/\\-/-/g')
for command in $commands; do
  grep -q "dirty_seg $command" <<<"$page" || {
    echo "program: the man page has no command $command"
    exit 1
  }
done
diff <(echo "$options") <(grep -oE '(^|[ "])--?[a-z][-a-z]*' <<<"$page" | tr -d ' "' | sort -u) || {
  echo "program: the help has the options that stand left (<), the man page those right (>)"
  exit 1
}
for shell_file in bash-completion/completions/dirty_seg zsh/vendor-completions/_dirty_seg; do
  grep -q -- --fece-class-ids "$prefix/share/$shell_file" || {
    echo "program: share/$shell_file completes no option of detect"
    exit 1
  }
done
echo "program: finds what the demo finds; $(wc -w <<<"$options") options in the man page"
