// The builder of dictionary images: a table's, and that of pairs in memory.
#pragma once

#include <cstdint>

#include "corelib/base/types.h"
#include "corelib/containers/buffer_hash.h"
#include "corelib/containers/dict/detail/pair_store.h"
#include "corelib/containers/dict/format.h"
#include "corelib/text/buffer.h"

namespace tstl::detail {

// Makes `image`, which is empty, the image of a table: see BufferDict::open. `cut` receives the number of
// values that do not fit. False, and `image` empty, when memory is short or the image would be longer
// than `limit` bytes.
template <Unit T>
bool build_dict_image(const BufferHash<T>& table, Buffer<unsigned char>& image, std::uint32_t& cut,
                      std::uint64_t limit = dict_format::kGreatestImage);

// The same for sorted pairs, whose entries it uses up. Returns 0; or ENOMEM, or EFBIG for an image that
// would be longer.
template <Unit T>
int build_dict_image(const PairStore<T>& pairs, Buffer<unsigned char>& image, std::uint32_t& cut,
                     std::uint64_t limit = dict_format::kGreatestImage);

}  // namespace tstl::detail
