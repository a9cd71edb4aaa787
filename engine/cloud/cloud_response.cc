#include "engine/cloud/cloud_response.h"

template struct zenta::records::MessageCodec<zenta::cloud::CloudResponse>;
