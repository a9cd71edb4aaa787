// Builds dictionary images from a table or from pairs in memory.
#pragma once

#include <cstdint>

#include "corelib/base/types.h"
#include "corelib/containers/buffer_hash.h"
#include "corelib/containers/dict/detail/pair_store.h"
#include "corelib/containers/dict/format.h"
#include "corelib/text/buffer.h"

namespace tstl::detail {

// Builds the image of a table: see BufferDict::open. `cut` receives the number of values with more
// than 31 bits. False, with `image` empty, if an allocation fails or the image would be longer than
// `limit` bytes. REQUIRES: `image` is empty.
template <Unit T>
bool build_dict_image(const BufferHash<T>& table, Buffer<unsigned char>& image, std::uint32_t& cut,
                      std::uint64_t limit = dict_format::kGreatestImage);

// The same for sorted pairs, whose entries it overwrites. Returns 0; ENOMEM; or EFBIG if the image
// would be longer than `limit`.
template <Unit T>
int build_dict_image(const PairStore<T>& pairs, Buffer<unsigned char>& image, std::uint32_t& cut,
                     std::uint64_t limit = dict_format::kGreatestImage);

}  // namespace tstl::detail
