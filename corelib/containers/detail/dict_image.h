// The builder of dictionary images.
#pragma once

#include "corelib/containers/buffer_hash.h"
#include "corelib/text/buffer.h"
#include "corelib/text/types.h"

namespace tstl::detail {

// Makes `image`, which is empty, the image of a table: see BufferDict::open. False, and `image`
// empty, when memory is short or offsets would not fit into 32 bits.
template <Unit T>
bool build_dict_image(const BufferHash<T>& table, Buffer<unsigned char>& image);

}  // namespace tstl::detail
