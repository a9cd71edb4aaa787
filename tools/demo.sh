#!/usr/bin/env bash
# Runs a whole update with the real programs, in a fresh folder that stands in for a Mac, and checks the outcome.
#
#   tools/demo.sh BUILD_DIR
#
# ZENTA_KEEP=1         keeps the machine folder and prints its path
# ZENTA_SIGNING_KEY=F  signs with the private key F, for a build with another signing configuration
#
# Exit status: 0 if every claim held, 1 if not.
set -euo pipefail
export LC_ALL=C.UTF-8
[[ $# == 1 && -d $1 ]] || { echo "usage: tools/demo.sh BUILD_DIR" >&2; exit 2; }
build=$(cd "$1" && pwd)
cd "$(dirname "${BASH_SOURCE[0]}")/.."
key=${ZENTA_SIGNING_KEY:-config/signing/development-private-key.pem}
update=$build/installer/zenta-update zentactl=$build/tools/zentactl/zentactl
installer=$build/tools/host_installer/zenta-host-installer
for program in "$update" "$zentactl" "$installer"; do
  [[ -x $program ]] || { echo "demo: $program is missing: build first" >&2; exit 2; }
done

work=$(mktemp -d "${TMPDIR:-/tmp}/zenta-demo.XXXXXX")
finish() { if [[ -n ${ZENTA_KEEP:-} ]]; then echo "kept: $work"; else rm -rf "$work"; fi; }
trap finish EXIT
export ZENTA_MACHINE=$work/machine  # the updater and the installer take this folder for the whole system
caches=$ZENTA_MACHINE/Library/Caches
installed=$ZENTA_MACHINE/Library/Input\ Methods/ZentaIM.app
preferences=$ZENTA_MACHINE/Users/$(id -un 2> /dev/null || id -u)/Library/Preferences
journal=$ZENTA_MACHINE/var/log/notifications.log

# --- Output -----------------------------------------------------------------------------------------------------------

bold='' dim='' green='' red='' plain=''
if [[ -t 1 ]]; then bold=$'\e[1m' dim=$'\e[2m' green=$'\e[32m' red=$'\e[31m' plain=$'\e[0m'; fi
held=0 broken=()

chapter() { printf '\n%s%s%s\n' "$bold" "$1" "$plain"; }
indent() { sed "s/^/      /"; }

# prompt COMMAND ...: prints a command line as a person would type it.
prompt() {
  local line="$*"
  line=${line//"$build/tools/zentactl/"/} line=${line//"$work/"/}
  printf '  %s$ %s%s\n' "$dim" "$line" "$plain"
}

# show COMMAND ...: prints the command, runs it and prints its output.
show() {
  prompt "$@"
  "$@" 2>&1 | sed "s|$work/||" | indent
}

# claim TEXT COMMAND ...: prints the text as a claim, which holds if the command succeeds.
claim() {
  local text=$1
  shift
  if "$@"; then
    printf '  %sok%s  %s\n' "$green" "$plain" "$text"
    held=$((held + 1))
  else
    printf '  %sNO%s  %s\n' "$red" "$plain" "$text"
    broken+=("$text")
  fi
}

# --- State of the machine ---------------------------------------------------------------------------------------------

posted() { if [[ -f $journal ]]; then grep -c "ZentaIMupdate_$1_Notification\$" "$journal" || true; else echo 0; fi; }

# Prints the counter of failed installations; nothing if there is none.
counter() {
  local list=$preferences/com.zenta.inputmethod.ZentaIM.update.plist
  [[ ! -f $list ]] || sed -n '/<key>install_fail_num</{n;s/.*<integer>\(.*\)<.*/\1/p;}' "$list"
}

# sources KEY: prints the input sources in that list of the system's preferences. The name of a dictionary is its last value.
sources() {
  local list=$preferences/com.apple.HIToolbox.plist
  [[ -f $list ]] || { echo '(none)'; return; }
  awk -v wanted="$1" -F '[<>]' '
    $2 == "key" { key = $3 }
    $2 == "array" { inside = (key == wanted) }
    $2 == "/array" { inside = 0 }
    inside && $2 == "dict" { nested = 1 }
    $2 == "string" { name = $3 }
    inside && ($2 == "/dict" || ($2 == "string" && !nested)) { names = names (names ? ", " : "") name }
    $2 == "/dict" { nested = 0 }
    END { print names ? names : "(none)" }' "$list"
}

# Prints the version that the installed program reports.
started() { "$installed/Contents/MacOS/ZentaIM" 2>&1 || true; }

show_sources() {
  printf '      registered  %s\n' "$(sources RegisteredInputMethods)"
  printf '      enabled     %s\n' "$(sources AppleEnabledInputSources)"
  printf '      selected    %s\n' "$(sources AppleSelectedInputSources)"
}

is() { [[ $1 == "$2" ]]; }
has() { [[ $1 == *"$2"* ]]; }
absent() { [[ ! -e $1 ]]; }
same_tree() { diff -r --no-dereference "$1" "$2" > /dev/null; }

# --- Steps ------------------------------------------------------------------------------------------------------------

# make_second_version BUNDLE: makes version 2 of the bundle. One file of version 1 has another name in it.
make_second_version() {
  local contents=$1/Contents
  mkdir -p "$(dirname "$1")"
  cp -R "$app" "$1"
  sed -i 's/>1\.0</>2.0</; s/>100</>200</' "$contents/Info.plist"
  mv "$contents/Resources/phrases.txt" "$contents/Resources/words.txt"
}

# flip_bit FILE COPY: makes a copy with the lowest bit of its middle byte flipped.
flip_bit() {
  local middle byte
  middle=$(($(wc -c < "$1") / 2))
  byte=$(od -An -tu1 -j "$middle" -N 1 "$1")
  cp "$1" "$2"
  # shellcheck disable=SC2059  # the format is the byte
  printf "\\$(printf %o $((byte ^ 1)))" | dd of="$2" bs=1 seek="$middle" conv=notrunc status=none
}

# stage PACKAGE DIGESTFILE: puts both where a download would.
stage() { cp "$1" "$caches/update.pkg" && cp "$2" "$caches/inputPkg.txt"; }

# Runs the updater as the system would, without arguments; its log goes to $work/log.
runs=0
run_update() {
  local status=0
  "$update" 2> "$work/log" || status=$?
  runs=$((runs + 1))
  ((status == 0)) || claim "zenta-update ends with status 0 (it was $status)" false
}

# untouched PACKAGE: true if the staged package is still there, the bundle is unchanged, and nothing was counted or logged.
untouched() {
  cmp -s "$caches/update.pkg" "$1" && same_tree "$installed" "$app" && [[ -z $(counter) && ! -s $work/log ]]
}

place_installer() { install -D -m 755 "$1" "$ZENTA_MACHINE/usr/sbin/installer"; }

app=examples/ZentaIM.app
pinyin=com.zenta.inputmethod.pinyin
mkdir -p "$caches" "$ZENTA_MACHINE/Library/Input Methods"
place_installer "$installer"
printf '%sA Mac in a folder:%s %s\n' "$bold" "$plain" "$ZENTA_MACHINE"

chapter "A release: the bundle is packed, the package signed"
mkdir "$work/v1"
show "$zentactl" pack "$app" --out "$work/v1/update.pkg"
show "$zentactl" sign "$work/v1/update.pkg" --key "$key"
show "$zentactl" verify "$work/v1/update.pkg" "$work/v1/inputPkg.txt"

chapter "The update: both files lie in Library/Caches, and the updater runs"
echo "  input sources before"
show_sources
stage "$work/v1/update.pkg" "$work/v1/inputPkg.txt"
prompt zenta-update
run_update
echo "  its log"
sed 's/^[^ ]* //; s/ zenta-update[^ ]*//' "$work/log" | indent
echo "  notifications posted"
if [[ -f $journal ]]; then sed 's/^[^ ]* //' "$journal" | indent; fi
echo "  installed"
(cd "$ZENTA_MACHINE/Library/Input Methods" && find . -type f | sort | sed 's|^\./||' | indent)
echo "  input sources after"
show_sources
count=$(counter)
echo "  failed installations counted: ${count:-none}"
claim "the installed bundle is the packed one, file by file" same_tree "$installed" "$app"
claim "its program runs" is "$(started)" "ZentaIM 1.0"
claim "the bundle is registered" is "$(sources RegisteredInputMethods)" "/Library/Input Methods/ZentaIM.app"
claim "its input mode is enabled" has "$(sources AppleEnabledInputSources)" "$pinyin"
claim "its input mode is selected" is "$(sources AppleSelectedInputSources)" "$pinyin"
claim "the log ends with the selection's success" is "$(sed -n '$s/.*] //p' "$work/log")" "did select input: 0"
claim "the package is removed" absent "$caches/update.pkg"
claim "the digest file stays" cmp -s "$caches/inputPkg.txt" "$work/v1/inputPkg.txt"
claim "no failure is counted" is "$count" ""

chapter "What the updater refuses"
make_second_version "$work/v2/ZentaIM.app"
"$zentactl" pack "$work/v2/ZentaIM.app" --out "$work/v2/update.pkg" > /dev/null
"$zentactl" sign "$work/v2/update.pkg" --key "$key" > /dev/null
tampered=$work/tampered.pkg
flip_bit "$work/v1/update.pkg" "$tampered"
stage "$tampered" "$work/v1/inputPkg.txt"
run_update
claim "a package with one bit changed: not installed, kept" untouched "$tampered"
stage "$work/v2/update.pkg" "$work/v1/inputPkg.txt"
run_update
claim "a package with the digest file of another: not installed, kept" untouched "$work/v2/update.pkg"

chapter "When the system's installer fails"
printf '#!/bin/sh\necho "installer: Error - the disk is full." >&2\nexit 1\n' > "$work/failing-installer"
place_installer "$work/failing-installer"
for attempt in 1 2 3; do
  stage "$work/v2/update.pkg" "$work/v2/inputPkg.txt"
  run_update
  ((attempt == 3)) && break
  claim "failure $attempt is counted, nobody is told, the package is removed" \
    is "$(counter) $(posted Fail) $(ls "$caches")" "$attempt 0 inputPkg.txt"
done
claim "failure 3 posts the fail notification and clears the counter" is "$(counter) $(posted Fail)" " 1"
claim "version 1 is still whole" same_tree "$installed" "$app"

chapter "Version 2 over version 1"
place_installer "$installer"
stage "$work/v2/update.pkg" "$work/v2/inputPkg.txt"
run_update
claim "version 2 is installed, file by file" same_tree "$installed" "$work/v2/ZentaIM.app"
claim "the program of version 2 runs" is "$(started)" "ZentaIM 2.0"
claim "a file that only version 1 had is gone" absent "$installed/Contents/Resources/phrases.txt"
claim "the input mode is selected again" is "$(sources AppleSelectedInputSources)" "$pinyin"
claim "each of the $runs runs announced itself" is "$(posted Run)" "$runs"

if ((${#broken[@]})); then
  printf '\n%s%d of %d claims do not hold:%s\n' "$red" "${#broken[@]}" $((held + ${#broken[@]})) "$plain"
  printf '  %s\n' "${broken[@]}"
  exit 1
fi
printf '\n%sAll %d claims hold.%s\n' "$green" "$held" "$plain"
