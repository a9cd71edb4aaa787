#include "corelib/text/buffer_ref.h"

namespace tstl {

template class BufferRef<unsigned char>;
template class BufferRef<unsigned short>;
template class BufferRefMutable<unsigned char>;
template class BufferRefMutable<unsigned short>;

}  // namespace tstl
