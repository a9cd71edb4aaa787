#!/bin/bash -eu
# Builds the fuzz targets of corelib/ and engine/ for OSS-Fuzz, with seeds, dictionaries and options.
#
# The builder image sets CC, CXX, CFLAGS, CXXFLAGS (sanitizer and coverage among them), LIB_FUZZING_ENGINE, SRC, WORK and OUT.
# The project's Dockerfile has to put this repository into $SRC/zenta and the sources of marisa-trie into $SRC/marisa-trie, and to
# install cmake, ninja-build, zip and rapidjson-dev. marisa-trie is built here, because the runners have no library but the C
# library, and so that it takes the same C++ library as the rest.
#
# It has not run in OSS-Fuzz's own builder image yet, only with clang 14 and these variables set by hand.
cmake -S "$SRC/marisa-trie" -B "$WORK/marisa" -G Ninja -DBUILD_SHARED_LIBS=OFF -DBUILD_TESTING=OFF -DENABLE_TOOLS=OFF
cmake --build "$WORK/marisa"
export CPLUS_INCLUDE_PATH=$SRC/marisa-trie/include

cmake -S "$SRC/zenta" -B "$WORK/zenta" -G Ninja -DCMAKE_BUILD_TYPE=None -DZENTA_FUZZ=ON \
  -DZENTA_FUZZING_ENGINE="$LIB_FUZZING_ENGINE" -DZENTA_MARISA="$WORK/marisa/libmarisa.a" \
  -DZENTA_BUILD_TOOLS=OFF -DZENTA_BUILD_EXAMPLES=OFF -DZENTA_INSTALL=OFF
cmake --build "$WORK/zenta"

while read -r program option; do
  name=${program##*/}
  cp "$program" "$OUT/"
  (cd "$SRC/zenta/fuzz/corpus/$name" && zip -q -r "$OUT/${name}_seed_corpus.zip" .)
  {
    echo '[libfuzzer]'
    [[ -z $option ]] || echo "${option#-}"  # -max_len=512
    echo 'timeout = 20'
    if [[ -e $SRC/zenta/fuzz/dictionaries/$name.dict ]]; then
      cp "$SRC/zenta/fuzz/dictionaries/$name.dict" "$OUT/"
      echo "dict = $name.dict"
    fi
  } > "$OUT/$name.options"
done < "$WORK/zenta/fuzzers.txt"
