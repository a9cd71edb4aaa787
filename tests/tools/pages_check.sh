#!/usr/bin/env bash
# pages_check.sh PAGES PAGE...: checks that the man pages PAGES/man and PAGE are well-formed, and what the completions in PAGES
# offer. zsh and fish are checked where they are installed.
set -euo pipefail
pages=$1 faults=0
export LC_ALL=C.UTF-8

complain() { echo "$*"; faults=$((faults + 1)); }

# expect OFFERED LINE WANTED: complains unless the completions OFFERED for a command line are WANTED; both are sorted words.
expect() { [[ $1 == "$3" ]] || complain "'$2' is completed with '$1', not with '$3'"; }

for page in "$pages/man" "${@:2}"; do
  said=$(man --warnings -E UTF-8 -l "$page" 2>&1 > /dev/null)
  [[ -z $said ]] || complain "$page: $said"
done
text=$(MANWIDTH=120 man -E UTF-8 -l "$pages/man" | col -bx)
for part in '^   zentactl message decode$' '^ +--type request|response$' '^SEE ALSO$' 'zenta-update\(8\)'; do
  grep -qE -- "${part//|/\\|}" <<< "$text" || complain "the man page has no line $part"
done

# The completions that bash offers for a line whose words are separated by single blanks.
bash_offers() {
  IFS=' ' read -ra COMP_WORDS <<< "$1"
  [[ $1 != *' ' ]] || COMP_WORDS+=('')
  COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
  _zentactl 2> /dev/null
  printf '%s\n' "${COMPREPLY[@]}" | sort | xargs
}
fish_offers() { fish --no-config -c "source '$pages/fish'; complete -C '$1'" | cut -f 1 | sort | xargs; }

# shellcheck disable=SC1091
source "$pages/bash"
zsh=$(command -v zsh || true) fish=$(command -v fish || true)
[[ -z $zsh ]] || "$zsh" -n "$pages/zsh" || complain "zsh does not read its completion"
while IFS=: read -r line wanted; do
  expect "$(bash_offers "$line")" "$line" "$wanted"
  [[ -z $fish ]] || expect "$(fish_offers "$line")" "$line" "$wanted"
done << 'LINES'
zentactl mes:message
zentactl pages:
zentactl message :check decode diff encode
zentactl message decode --t:--type
zentactl message decode --type re:request response
zentactl message decode --quiet --type res:response
zentactl dump --bits :32 64
zentactl key show --j:--json
LINES
((faults == 0))
