#include "engine/cloud/cloud_request.h"

template struct zenta::records::MessageCodec<zenta::cloud::CloudRequest>;
