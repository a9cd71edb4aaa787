#!/usr/bin/env bash
# packages.sh FOLDER: checks that the Debian packages in FOLDER have the right dependencies and files, and that their programs
# are stripped. Unpacks all of them into FOLDER/root.
set -euo pipefail
cd "$1"
faults=0
complain() { echo "install-check: $*" >&2; faults=$((faults + 1)); }

# package NAME DEPENDENCIES FILE ...: complains of each dependency and file that the package does not have.
package() {
  local deb depends word file
  deb=$(find . -maxdepth 1 -name "$1_*.deb")
  depends=", $(dpkg-deb -f "$deb" Depends),"
  dpkg-deb -x "$deb" root
  for word in $2; do [[ $depends == *", $word"[\ ,]* ]] || complain "$1 does not depend on $word, but on ${depends//, ,/}"; done
  for file in "usr/share/doc/$1/copyright" "${@:3}"; do [[ -e root/$file ]] || complain "$1 has no $file"; done
}

package libzenta-dev libmarisa-dev usr/include/zenta/corelib/text/buffer.h usr/share/zenta/cloud.proto usr/share/doc/libzenta-dev/docs/cookbook.md
package zenta-update 'libc6 libstdc++6 libmarisa0' usr/bin/zenta-update usr/share/man/man8/zenta-update.8
package zenta-tools 'libc6 libstdc++6 libxml2' usr/bin/zentactl usr/bin/zenta-host-installer usr/share/man/man1/zentactl.1 \
  usr/share/bash-completion/completions/zentactl usr/share/zsh/vendor-completions/_zentactl usr/share/fish/vendor_completions.d/zentactl.fish
for program in root/usr/bin/*; do
  [[ $(file "$program") == *', stripped' ]] || complain "$program is not stripped"
done
((faults == 0))
