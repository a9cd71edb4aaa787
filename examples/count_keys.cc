// Counts how often each key was touched in a trace of the on-screen keyboard: count_keys TRACE
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>

#include "corelib/containers/chunk.h"
#include "corelib/text/buffer.h"
#include "engine/trace/trace_file.h"

using zenta::trace::KeyRect;
using zenta::trace::ScreenPoint;
using zenta::trace::TraceKind;
using zenta::trace::TraceReader;
using zenta::trace::TraceRecord;

constexpr std::uint32_t kNoKey = 0;

// The id of the key under a touch. A rectangle is left, top, right, bottom; the last two are
// exclusive.
std::uint32_t key_at(const zenta::records::List<KeyRect>& keys, ScreenPoint point) {
  const auto [x, y] = point;
  for (const KeyRect& key : keys) {
    const auto [left, top, right, bottom] = key.rect;
    if (left <= x && x < right && top <= y && y < bottom) return key.id;
  }
  return kNoKey;
}

int main(int argc, char** argv) {
  TraceReader trace;
  if (argc != 2 || !trace.Open(argv[1])) {
    std::fprintf(stderr, "count_keys: %s\n",
                 argc != 2 ? "usage: count_keys TRACE" : std::strerror(trace.error()));
    return 2;
  }
  std::map<std::uint32_t, unsigned> touches;
  tstl::Chunk arena, layout_arena;
  zenta::records::List<KeyRect> keys;  // of the last layout; in the memory of `layout_arena`
  for (TraceRecord record; trace.Next(record, arena); arena.rewind()) {
    if (record.kind == TraceKind::kLayout) {
      keys = record.keys;
      arena.swap(layout_arena);  // rewind() takes back the memory of the layout before
    }
    for (const ScreenPoint point : record.points) ++touches[key_at(keys, point)];
  }
  if (trace.error() != 0 || trace.bad_lines() != 0) {
    std::fprintf(stderr, "count_keys: %s; bad lines: %llu\n", std::strerror(trace.error()),
                 static_cast<unsigned long long>(trace.bad_lines()));
  }
  for (const auto& [id, count] : touches) {
    tstl::Buffer<unsigned char> name;
    if (id > ' ') {
      name.append_chr(static_cast<char32_t>(id));
    } else {
      name.append_num(id);
    }
    std::printf("%s\t%u\n", reinterpret_cast<const char*>(name.c_str()), count);
  }
}
