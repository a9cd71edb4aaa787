// What the shims answer. They record their calls on standard error, where NSLog writes too, so that
// one transcript has everything in order.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "installer/platform.h"

struct ShimMac {
  struct Source {
    std::optional<std::string> id{}, mode{};
  };
  std::string folder;  // the prefix of every standardized path

  std::vector<Source> sources;
  bool has_source_list = true;  // otherwise the list is NULL
  bool makes_urls = true;       // otherwise creating a URL fails
  std::int32_t status = 0;      // of every call, except those with a NULL source

  zenta::installer::ScriptOutcome script{.succeeded = true};  // the outcome of every script
  bool script_raises = false;
  bool gives_error_dictionary = true;

  bool takes_keys = true;
  bool encrypts = true;
};

// The machine that the running test sees.
ShimMac& TheShimMac();
