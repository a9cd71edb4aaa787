// KeyedTraversal: for_each and for_each_bk of the containers of keyed nodes, which derive from it. A
// container's own header tells the order.
#pragma once

#include <cstdint>
#include <type_traits>

#include "corelib/base/types.h"
#include "corelib/text/buffer_ref.h"

namespace tstl {

// `Container` has a member walk(fn), const, which calls fn(Node&) for its nodes in order until that
// returns false, and returns false then, else true.
template <class Container>
class KeyedTraversal {
 public:
  // Call fn(BufferRef const& key, u64& value) for every node. If `fn` changes `value`, a container that
  // is not const keeps the change; otherwise the node keeps what it has, also what `fn` stored there
  // by another way. `fn` must not add or remove nodes, or resize the container. for_each_bk stops at
  // the first call that returns false and returns false then, else true.
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

  // A node is packed, so its value is handed over in an aligned copy. A copy that `fn` changed is stored
  // back, unless the node is const.
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
