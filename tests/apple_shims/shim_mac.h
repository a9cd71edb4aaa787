// What the shims answer. Their calls are told on standard error, where NSLog writes too, so that
// one transcript has all in order.
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
  std::string folder;  // stands in front of every standardized path

  std::vector<Source> sources;
  bool has_source_list = true;  // else the list is NULL
  bool makes_urls = true;       // else a path makes none
  std::int32_t status = 0;      // of every service that is given a source

  zenta::installer::ScriptOutcome script{.succeeded = true};  // what every script comes to
  bool script_raises = false;
  bool gives_error_dictionary = true;

  bool takes_keys = true;
  bool encrypts = true;
};

// The machine that the running test sees.
ShimMac& TheShimMac();
