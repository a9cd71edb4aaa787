#include "corelib/containers/tree.h"

namespace tstl {

template <Unit T>
Tree<T>& Tree<T>::operator=(Tree&& other) noexcept {
  Tree taken(std::move(other));
  swap(taken);
  return *this;
}

template <Unit T>
void Tree<T>::swap(Tree& other) noexcept {
  arena_.swap(other.arena_);
  std::swap(root_, other.root_);
  std::swap(item_cnt_, other.item_cnt_);
}

template <Unit T>
void Tree<T>::reset() {
  arena_.reset();
  root_ = nullptr;
  item_cnt_ = 0;
}

template <Unit T>
const typename Tree<T>::Node* Tree<T>::find(View key) const {
  const Node* node = root_;
  while (node != nullptr) {
    const auto order = key.compare(node->key());
    if (order == 0) break;
    node = order < 0 ? node->less_ : node->greater_;
  }
  return node;
}

template <Unit T>
typename Tree<T>::Node* Tree<T>::new_node(View key) {
  Node* const node = item_cnt_ == 0xFFFFFFFF ? nullptr : detail::alloc_node<Node>(arena_, key);
  if (node == nullptr) return nullptr;
  node->keyed_.init_key(key, key.len());
  ++item_cnt_;
  return node;
}

// The invariants: no lesser child has its parent's level, and no two greater children in a row have
// it. These two rotations restore them on the way back from a new leaf.
template <Unit T>
typename Tree<T>::Node* Tree<T>::skew(Node* node) {
  Node* const less = node->less_;
  if (less == nullptr || less->level_ != node->level_) return node;
  node->less_ = less->greater_;
  less->greater_ = node;
  return less;
}

template <Unit T>
typename Tree<T>::Node* Tree<T>::split(Node* node) {
  Node* const greater = node->greater_;
  if (greater == nullptr || greater->greater_ == nullptr ||
      greater->greater_->level_ != node->level_) {
    return node;
  }
  node->greater_ = greater->less_;
  greater->less_ = node;
  ++greater->level_;
  return greater;
}

// Returns the new root of the subtree at `node`; `found` receives the node of the key, or null if
// the allocation fails.
template <Unit T>
typename Tree<T>::Node* Tree<T>::insert_below(Node* node, View key, Node*& found) {
  if (node == nullptr) return found = new_node(key);
  const auto order = key.compare(node->key());
  if (order == 0) {
    found = node;
    return node;
  }
  if (order < 0) {
    node->less_ = insert_below(node->less_, key, found);
  } else {
    node->greater_ = insert_below(node->greater_, key, found);
  }
  return split(skew(node));
}

template <Unit T>
typename Tree<T>::Node* Tree<T>::insert(View key) {
  Node* found = nullptr;
  root_ = insert_below(root_, key, found);
  return found;
}

template class Tree<unsigned char>;
template class Tree<unsigned short>;

}  // namespace tstl
