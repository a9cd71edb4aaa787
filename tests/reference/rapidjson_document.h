// RapidJSON's tree of values, an independent reader of JSON, fit for clang's sanitizer.
#pragma once

// RapidJSON's own stack adds to null pointers, which the sanitizer would stop at.
#if defined(__clang__)
#pragma clang attribute push(__attribute__((no_sanitize("pointer-overflow"))), apply_to = function)
#endif
#include <rapidjson/document.h>
#if defined(__clang__)
#pragma clang attribute pop
#endif
