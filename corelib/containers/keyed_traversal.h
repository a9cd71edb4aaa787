// KeyedTraversal: for_each and for_each_bk of the containers of keyed nodes, which derive from it.
// A container's own header states the order.
#pragma once

#include <cstdint>
#include <type_traits>

#include "corelib/base/types.h"
#include "corelib/text/buffer_ref.h"

namespace tstl {

// `Container` has a const member walk(fn). It calls fn(Node&) for its nodes in order until a call
// returns false; it then returns false, else true.
template <class Container>
class KeyedTraversal {
 public:
  // Call fn(BufferRef const& key, u64& value) for every node. If `fn` changes `value` and the
  // container is not const, the node's value is set to it. If `fn` leaves `value` alone, the node's
  // value is not written: `fn` may have set it by other means. `fn` must not add or remove nodes,
  // or resize the container. for_each_bk stops at the first call that returns false and then
  // returns false, else true.
  template <class Fn>
  void for_each(Fn&& fn) {
    self().walk([&](auto& node) { return visit(node, fn), true; });
  }
  template <class Fn>
  void for_each(Fn&& fn) const {
    self().walk([&](const auto& node) { return visit(node, fn), true; });
  }
  template <class Fn>
  bool for_each_bk(Fn&& fn) {
    return self().walk([&](auto& node) { return visit(node, fn); });
  }
  template <class Fn>
  bool for_each_bk(Fn&& fn) const {
    return self().walk([&](const auto& node) { return visit(node, fn); });
  }

 private:
  const Container& self() const { return static_cast<const Container&>(*this); }

  // A node is packed, so `fn` gets an aligned copy of the value. If `fn` changes the copy, it is
  // stored back, unless the node is const.
  template <class Node, class Fn>
  static decltype(auto) visit(Node& node, Fn& fn) {
    struct Copy {
      Node& node;
      const std::uint64_t before = node.value();
      std::uint64_t value = before;
      ~Copy() {
        if constexpr (!std::is_const_v<Node>) {
          if (value != before) node.set_value(value);
        }
      }
    } copy{node};
    const auto key = node.key();
    return fn(key, copy.value);
  }
};

}  // namespace tstl
