#include "engine/cloud/cloud_request.h"

namespace zenta {

template struct MessageCodec<CloudRequest>;

}  // namespace zenta
