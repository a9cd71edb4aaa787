// Linked into every benchmark program: names the level of the processor that our code ran at, in the
// console's head and as `zenta_cpu` in the context of a JSON report.
#include <benchmark/benchmark.h>

#include <cstdlib>

#include "corelib/base/cpu.h"

namespace {

using tstl::base::cpu_level_name;
using tstl::base::cpu_level_named;

// By ZENTA_CPU's value: cpu_level() may not be set yet while constructors run.
[[maybe_unused]] const bool added =
    (benchmark::AddCustomContext("zenta_cpu",
                                 cpu_level_name(cpu_level_named(std::getenv("ZENTA_CPU")))),
     true);

}  // namespace
