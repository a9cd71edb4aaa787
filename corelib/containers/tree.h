// Tree: keys with 64-bit values, in the order of their units, each key once.
//
// A balanced tree (A. Andersson, "Balanced Search Trees Made Simple", 1993) whose nodes lie in an
// arena that the tree owns. Whatever the order of insertion, it is at most 2 log2(n + 1) levels
// deep. Nodes never move and live until reset() or the tree's end. If an allocation fails, insert()
// returns null and the tree stays as it was. Keys of any length are stored and compared whole. One
// thread at a time.
#pragma once

#include <array>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "corelib/base/types.h"
#include "corelib/containers/chunk.h"
#include "corelib/containers/keyed_node.h"
#include "corelib/containers/keyed_traversal.h"
#include "corelib/text/buffer_ref.h"

namespace tstl {

template <Unit T>
class Tree;

#pragma pack(push, 4)
template <Unit T>
class TreeNode {
 public:
  using unit_type = T;

  std::uint64_t value() const { return keyed_.value(); }
  void set_value(std::uint64_t value) { keyed_.set_value(value); }
  BufferRef<T> key() const { return keyed_.key(); }
  const T* str() const { return keyed_.str(); }
  std::uint32_t len() const { return keyed_.len(); }

 private:
  friend class Tree<T>;

  TreeNode* less_ = nullptr;
  TreeNode* greater_ = nullptr;
  std::uint32_t level_ = 1;
  KeyedNode<T> keyed_;
};
#pragma pack(pop)
static_assert(sizeof(TreeNode<unsigned char>) == 32);

// for_each() and for_each_bk() go in ascending order of keys.
template <Unit T>
class Tree : public KeyedTraversal<Tree<T>> {
 public:
  using Node = TreeNode<T>;
  using View = BufferRef<T>;

  Tree() = default;
  Tree(Tree&& other) noexcept { swap(other); }
  Tree& operator=(Tree&& other) noexcept;
  void swap(Tree& other) noexcept;

  // Releases all nodes.
  void reset();

  std::uint32_t itemcnt() const { return item_cnt_; }
  bool is_empty() const { return root_ == nullptr; }

  // The node of the key, made with value 0 if there is none; null if the allocation fails.
  Node* insert(View key);
  Node* operator[](View key) { return insert(key); }

  // The node of the key or null.
  Node* find(View key) { return const_cast<Node*>(std::as_const(*this).find(key)); }
  const Node* find(View key) const;

 private:
  friend class KeyedTraversal<Tree>;

  // Enough for as many nodes as 32 bits can count.
  static constexpr std::size_t kMaxDepth = 64;

  static Node* skew(Node* node);
  static Node* split(Node* node);
  Node* insert_below(Node* node, View key, Node*& found);
  Node* new_node(View key);
  template <class Fn>
  bool walk(Fn fn) const;

  Chunk arena_;
  Node* root_ = nullptr;
  std::uint32_t item_cnt_ = 0;
};

// ---------------------------------------------------------------------------------------------------------------------

template <Unit T>
template <class Fn>
bool Tree<T>::walk(Fn fn) const {
  std::array<Node*, kMaxDepth> waiting;
  std::size_t cnt = 0;
  for (Node* node = root_; node != nullptr || cnt != 0;) {
    for (; node != nullptr; node = node->less_) {
      assert(cnt < kMaxDepth);
      waiting[cnt++] = node;
    }
    node = waiting[--cnt];
    if (!fn(*node)) return false;
    node = node->greater_;
  }
  return true;
}

extern template class Tree<unsigned char>;
extern template class Tree<unsigned short>;

}  // namespace tstl
