#!/usr/bin/env bash
# artefacts.sh CONFIG FOLDER: makes in FOLDER what a release publishes: the sources, the Debian packages for this machine's
# architecture, a bill of materials, the Homebrew formula, and the checksums of all of them. The packaged programs trust the
# signing configuration CONFIG.
set -euo pipefail
config=$(realpath "$1") folder=$(realpath -m "$2")
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
mkdir -p "$folder"
[[ -z $(ls -A "$folder") ]] || { echo "artefacts: $folder is not empty" >&2; exit 1; }
version=$(sed -nE 's/^project\(zenta VERSION ([0-9.]+).*/\1/p' CMakeLists.txt)
SOURCE_DATE_EPOCH=$(git log -1 --format=%ct)
export SOURCE_DATE_EPOCH

git archive --prefix="zenta-$version/" HEAD | gzip -n > "$folder/zenta-$version.tar.gz"
sum=$(sha256sum < "$folder/zenta-$version.tar.gz")
sed -e "s/@VERSION@/$version/g" -e "s/@SHA256@/${sum%% *}/" packaging/homebrew/zenta.rb.in > "$folder/zenta.rb"

cmake --preset release -B build/artefacts -DCMAKE_INSTALL_PREFIX=/usr -DZENTA_SIGNING_CONFIG="$config" > /dev/null
cmake --build build/artefacts -j "${ZENTA_JOBS:-$(nproc)}"
cpack --config build/artefacts/CPackConfig.cmake -B build/artefacts/packages > /dev/null
mv build/artefacts/packages/*.deb "$folder/"
python3 tools/release/sbom.py "$folder"/*.deb > "$folder/zenta-$version-$(dpkg --print-architecture).spdx.json"
cd "$folder"
sha256sum -- * > "SHA256SUMS.$(dpkg --print-architecture)"
