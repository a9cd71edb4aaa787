// Pads: the layouts of the on-screen keyboard, each with a name and a code.
//
// Names are 8-bit text in static storage. Nothing here fails: a name in no table has the code 0,
// and a code in no table the empty name.
#pragma once

#include <cstdint>

#include "corelib/text/buffer_ref.h"

namespace zenta::trace {

//   PY9 10, PY26 11          pinyin, 9 and 26 keys
//   WB9 2, WB26 3            five-stroke, 9 and 26 keys
//   BH 1                     stroke
//   HW 12                    handwriting
//   SYM 14                   symbols
//   123_T9 8, 123_26 9       digits, on 9 keys and on the layout of 26
//   EN9 4                    English, 9 keys
//   EN26_UPPER 7, EN26_LOWER 6   English, 26 keys, upper and lower case
//   ZY 16                    zhuyin
//   CJ 17, SC 17             cangjie; the second name shares the code of the first on purpose
//
// The code of the pad whose name is `name`, byte for byte; 0 for every other text.
[[nodiscard]] std::uint32_t pad_code(tstl::BufferRef<unsigned char> name) noexcept;

// The name of the pad with this code: "CJ" for 17. Empty for codes without a name, which are 0, 5,
// 13, 15 and everything above 17.
[[nodiscard]] tstl::BufferRef<unsigned char> pad_name(std::uint32_t code) noexcept;

}  // namespace zenta::trace
