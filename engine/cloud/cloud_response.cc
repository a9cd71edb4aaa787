#include "engine/cloud/cloud_response.h"

namespace zenta {

template struct MessageCodec<CloudResponse>;

}  // namespace zenta
